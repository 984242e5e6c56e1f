// Context start-up and the two bus listings: HID interfaces, and devices of
// the classes the fingerprint scanners use.
#include <locale.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "sphid_internal.h"

libusb_context *usb_context = nullptr;

int hid_init(void)
{
    if (usb_context != nullptr)
        return 0;
    if (libusb_init(&usb_context) != 0) {
        usb_context = nullptr;
        return -1;
    }
    // The string getters convert with iconv, which needs a locale.
    if (setlocale(LC_CTYPE, nullptr) == nullptr)
        setlocale(LC_CTYPE, "");
    return 0;
}

int hid_exit(void)
{
    if (usb_context != nullptr) {
        libusb_exit(usb_context);
        usb_context = nullptr;
    }
    return 0;
}

char *make_path(libusb_device *dev, int interface_number)
{
    char text[64];
    snprintf(text, sizeof text, "%04x:%04x:%02x", libusb_get_bus_number(dev),
             libusb_get_device_address(dev), interface_number);
    return strdup(text);
}

// The active configuration, or configuration 0 when there is none active.
static int config_of(libusb_device *dev, struct libusb_config_descriptor **conf)
{
    if (libusb_get_active_config_descriptor(dev, conf) >= 0)
        return 0;
    return libusb_get_config_descriptor(dev, 0, conf);
}

struct hid_device_info *hid_enumerate(unsigned short vendor_id, unsigned short product_id)
{
    if (hid_init() < 0)
        return nullptr;
    libusb_device **devs = nullptr;
    if (libusb_get_device_list(usb_context, &devs) < 0)
        return nullptr;

    struct hid_device_info *root = nullptr;
    struct hid_device_info *last = nullptr;
    for (int i = 0; devs[i] != nullptr; ++i) {
        libusb_device *dev = devs[i];
        struct libusb_device_descriptor desc;
        if (libusb_get_device_descriptor(dev, &desc) < 0)
            continue;
        struct libusb_config_descriptor *conf = nullptr;
        if (config_of(dev, &conf) < 0)
            continue;

        bool wanted = (vendor_id == 0 || vendor_id == desc.idVendor) &&
                      (product_id == 0 || product_id == desc.idProduct);
        for (int j = 0; j < conf->bNumInterfaces; ++j) {
            const struct libusb_interface *intf = &conf->interface[j];
            for (int k = 0; k < intf->num_altsetting; ++k) {
                const struct libusb_interface_descriptor *alt = &intf->altsetting[k];
                if (alt->bInterfaceClass != LIBUSB_CLASS_HID || !wanted)
                    continue;
                auto *node = static_cast<struct hid_device_info *>(
                    calloc(1, sizeof(struct hid_device_info)));
                node->path = make_path(dev, alt->bInterfaceNumber);
                node->vendor_id = desc.idVendor;
                node->product_id = desc.idProduct;
                node->release_number = desc.bcdDevice;
                node->interface_number = alt->bInterfaceNumber;
                if (last != nullptr)
                    last->next = node;
                else
                    root = node;
                last = node;
            }
        }
        libusb_free_config_descriptor(conf);
    }
    libusb_free_device_list(devs, 1);
    return root;
}

void hid_free_enumeration(struct hid_device_info *devs)
{
    while (devs != nullptr) {
        struct hid_device_info *next = devs->next;
        free(devs->path);
        free(devs->serial_number);
        free(devs->manufacturer_string);
        free(devs->product_string);
        free(devs);
        devs = next;
    }
}

struct usb_device_info *usb_enumerate(void)
{
    if (hid_init() < 0)
        return nullptr;
    libusb_device **devs = nullptr;
    if (libusb_get_device_list(usb_context, &devs) < 0)
        return nullptr;

    struct usb_device_info *root = nullptr;
    struct usb_device_info *last = nullptr;
    for (int i = 0; devs[i] != nullptr; ++i) {
        libusb_device *dev = devs[i];
        struct libusb_device_descriptor desc;
        if (libusb_get_device_descriptor(dev, &desc) < 0)
            continue;
        struct libusb_config_descriptor *conf = nullptr;
        if (config_of(dev, &conf) < 0)
            continue;

        // One node per alternate setting: a scanner may appear many times.
        for (int j = 0; j < conf->bNumInterfaces; ++j) {
            const struct libusb_interface *intf = &conf->interface[j];
            for (int k = 0; k < intf->num_altsetting; ++k) {
                unsigned char cls = desc.bDeviceClass;
                if (cls == 0)
                    cls = intf->altsetting[k].bInterfaceClass;
                if (cls != 0 && cls != 8 && cls != 220)
                    continue;
                auto *node = static_cast<struct usb_device_info *>(
                    calloc(1, sizeof(struct usb_device_info)));
                node->vendor_id = desc.idVendor;
                node->product_id = desc.idProduct;
                node->release_number = desc.bcdDevice;
                node->device_class = cls;
                if (last != nullptr)
                    last->next = node;
                else
                    root = node;
                last = node;
            }
        }
        libusb_free_config_descriptor(conf);
    }
    libusb_free_device_list(devs, 1);
    return root;
}

void usb_free_enumeration(struct usb_device_info *devs)
{
    while (devs != nullptr) {
        struct usb_device_info *next = devs->next;
        free(devs);
        devs = next;
    }
}
