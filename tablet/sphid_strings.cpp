// String descriptors in the language of the current locale.
#include <ctype.h>
#include <iconv.h>
#include <locale.h>
#include <stdlib.h>
#include <string.h>
#include <wchar.h>

#include "sphid_internal.h"

unsigned short get_usb_code_for_current_locale(void)
{
    const char *locale = setlocale(LC_CTYPE, nullptr);
    if (locale == nullptr)
        return 0;

    char search_string[64];
    strncpy(search_string, locale, sizeof search_string - 1);
    search_string[sizeof search_string - 1] = '\0';
    for (char *p = search_string; *p != '\0'; ++p)
        *p = (char)tolower((unsigned char)*p);
    char *dot = strchr(search_string, '.');
    if (dot != nullptr)
        *dot = '\0';

    for (const struct lang_map_entry *lang = lang_map; lang->string_code != nullptr; ++lang) {
        if (strcmp(lang->string_code, search_string) == 0)
            return lang->usb_code;
    }
    // Kept: a second pass on the language alone (cut at "_") never compared
    // anything, so "de" from "de_xx" finds no row and the first language of
    // the device is used.
    return 0;
}

// The language list's entry for the current locale, else its first entry,
// else 0.
static uint16_t pick_language(libusb_device_handle *handle)
{
    uint16_t buf[32];
    int len = libusb_get_string_descriptor(handle, 0, 0, reinterpret_cast<unsigned char *>(buf),
                                           sizeof buf);
    if (len < 4)
        return 0;
    uint16_t wanted = get_usb_code_for_current_locale();
    int count = len / 2;
    for (int i = 1; i < count; ++i) {
        if (buf[i] == wanted)
            return wanted;
    }
    return buf[1];
}

// String descriptor `index` as newly allocated wide text, or null.
static wchar_t *get_usb_string(libusb_device_handle *handle, int index)
{
    uint16_t lang = pick_language(handle);

    unsigned char buf[512];
    int len = libusb_get_string_descriptor(handle, (uint8_t)index, lang, buf, sizeof buf);
    if (len < 0)
        return nullptr;

    iconv_t ic = iconv_open("WCHAR_T", "UTF-16LE");
    if (ic == (iconv_t)-1)
        return nullptr;

    wchar_t wbuf[256];
    char *inptr = reinterpret_cast<char *>(buf) + 2;  // after length and type
    size_t inbytes = len >= 2 ? (size_t)len - 2 : 0;
    char *outptr = reinterpret_cast<char *>(wbuf);
    size_t outbytes = sizeof wbuf;
    wchar_t *result = nullptr;
    size_t res = iconv(ic, &inptr, &inbytes, &outptr, &outbytes);
    if (res != (size_t)-1) {
        size_t chars = (sizeof wbuf - outbytes) / sizeof(wchar_t);
        if (chars >= 256)
            chars = 255;
        wbuf[chars] = L'\0';
        result = wcsdup(wbuf);
    }
    iconv_close(ic);
    return result;
}

int hid_get_indexed_string(hid_device *dev, int string_index, wchar_t *string, size_t maxlen)
{
    wchar_t *text = get_usb_string(dev->device_handle, string_index);
    if (text == nullptr)
        return -1;
    wcsncpy(string, text, maxlen);
    string[maxlen - 1] = L'\0';
    free(text);
    return 0;
}

int hid_get_manufacturer_string(hid_device *dev, wchar_t *string, size_t maxlen)
{
    return hid_get_indexed_string(dev, dev->manufacturer_index, string, maxlen);
}

int hid_get_product_string(hid_device *dev, wchar_t *string, size_t maxlen)
{
    return hid_get_indexed_string(dev, dev->product_index, string, maxlen);
}

int hid_get_serial_number_string(hid_device *dev, wchar_t *string, size_t maxlen)
{
    return hid_get_indexed_string(dev, dev->serial_index, string, maxlen);
}
