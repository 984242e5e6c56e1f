// UTF-8 <-> wide text, UTF-16 helpers and the XML and URL escapers.
#include "base/LHConvert.h"

#include <cstdint>
#include <cstring>

namespace {

// Lowest value that no longer fits in 1..6 UTF-8 bytes, and the lead marks.
constexpr unsigned int kLimits[6] = {0x80, 0x800, 0x10000, 0x200000, 0x4000000, 0x80000000u};
constexpr unsigned char kMarks[6] = {0x00, 0xC0, 0xE0, 0xF0, 0xF8, 0xFC};

typedef int (*DecodeFn)(const unsigned char *, unsigned int &);

// Shared walk of the UTF-8 readers; srcBytes < 0 means no byte bound.
int decodeText(DecodeFn decode, const char *src, int srcBytes, wchar_t *dst, int limit)
{
    int count = 0;
    if (limit >= 1) {
        const unsigned char *p = reinterpret_cast<const unsigned char *>(src);
        const unsigned char *start = p;
        while (count < limit && (srcBytes < 0 || p - start < srcBytes) && *p) {
            unsigned int v;
            const int used = decode(p, v);
            if (!used)
                break;
            dst[count++] = static_cast<wchar_t>(v);
            p += used;
        }
    }
    dst[count] = 0;
    return count;
}

// Shared walk of the UTF-8 writers; srcCount < 0 means no character bound.
int encodeText(const wchar_t *src, int srcCount, char *dst, int limit)
{
    unsigned char *out = reinterpret_cast<unsigned char *>(dst);
    int n = 0;
    for (int k = 0; (srcCount < 0 || k < srcCount) && src[k]; ++k) {
        const int used = cvt_char_UCS4_To_UTF8(static_cast<unsigned int>(src[k]), out + n);
        if (!used)
            break;
        n += used;
        if (n >= limit)
            break;
    }
    out[n] = 0;
    return n;
}

typedef const char *(*EscapeFn)(wchar_t c);

const char *xmlEscape(wchar_t c)
{
    switch (c) {
    case L'<': return "&lt;";
    case L'>': return "&gt;";
    case L'&': return "&amp;";
    case L'"': return "&quot;";
    case L'\'': return "&apos;";
    case L'\r': return "&#x000D;";
    case L'\n': return "&#x000A;";
    default: return nullptr;
    }
}

const char *urlEscape(wchar_t c)
{
    switch (c) {
    case L'&': return "%26";
    case L' ': return "%20";
    case L'+': return "%2B";
    case L'/': return "%2F";
    case L'?': return "%3F";
    case L'%': return "%25";
    case L'#': return "%23";
    case L'=': return "%3D";
    default: return nullptr;
    }
}

// The escapers' frame. The count is tested after each whole entry, so the
// output may pass the limit by one entry. Unencodable characters are skipped.
int escapeText(EscapeFn escape, const wchar_t *src, char *dst, int limit)
{
    int n = 0;
    if (limit > 0) {
        for (; *src; ++src) {
            if (const char *e = escape(*src)) {
                const size_t len = std::strlen(e);
                std::memcpy(dst + n, e, len);
                n += static_cast<int>(len);
            } else {
                n += cvt_char_UCS4_To_UTF8(static_cast<unsigned int>(*src),
                                           reinterpret_cast<unsigned char *>(dst + n));
            }
            if (n >= limit)
                break;
        }
    }
    dst[n] = 0;
    return n;
}

} // namespace

extern "C" {

int cvt_char_UTF8_To_UCS4(const unsigned char *src, unsigned int &out)
{
    const unsigned char lead = src[0];
    if (lead < 0x80) {
        out = lead;
        return 1;
    }
    if (lead < 0xC0 || lead >= 0xFE)
        return 0;
    int len;
    unsigned int v;
    if (lead < 0xE0) {
        len = 2;
        v = lead & 31;
    } else if (lead < 0xF0) {
        len = 3;
        v = lead & 15;
    } else if (lead < 0xF8) {
        len = 4;
        v = lead & 7;
    } else if (lead < 0xFC) {
        len = 5;
        v = lead & 3;
    } else {
        len = 6;
        v = lead & 1;
    }
    // Overlong forms, surrogates and values past U+10FFFF pass: old data
    // written by lax encoders must still read.
    for (int k = 1; k < len; ++k) {
        if (src[k] < 0x80 || src[k] > 0xBF)
            return 0;
        v = (v << 6) | (src[k] & 63u);
    }
    out = v;
    return len;
}

int cvt_char_UTF8_To_UCS4_inner(const unsigned char *src, unsigned int &out)
{
    // Legacy text stores the apostrophe of "'s" as the byte 0x90; the 's'
    // is then read as a character of its own.
    if (src[0] == 0x90) {
        if (src[1] != 's')
            return 0;
        out = 0x2019;
        return 1;
    }
    return cvt_char_UTF8_To_UCS4(src, out);
}

int cvt_char_UCS4_To_UTF8(unsigned int ucs, unsigned char *dst)
{
    int len = 0;
    while (len < 6 && ucs >= kLimits[len])
        ++len;
    if (len == 6)
        return 0;
    ++len;
    if (dst) {
        for (int k = len - 1; k > 0; --k) {
            dst[k] = static_cast<unsigned char>(0x80 | (ucs & 63));
            ucs >>= 6;
        }
        dst[0] = static_cast<unsigned char>(kMarks[len - 1] | ucs);
    }
    return len;
}

const unsigned short *cvt_utf16_ucs4(const unsigned short *src, unsigned int *out)
{
    *out = *src;
    return src + 1;
}

void cvt_ucs4_utf16(unsigned int ucs, unsigned short *out)
{
    if (ucs < 0x10000) {
        out[0] = static_cast<unsigned short>(ucs);
        out[1] = 0;
    } else if (ucs < 0xF0000) {
        out[0] = static_cast<unsigned short>(0xD7C0 + (ucs >> 10));
        out[1] = static_cast<unsigned short>(0xDC00 + (ucs & 0x3FF));
    } else {
        // kept: the last two planes (private use) are left out.
        out[0] = 0;
        out[1] = 0;
    }
}

int cvt_ltou(const char *src, wchar_t *dst, int limit)
{
    return decodeText(cvt_char_UTF8_To_UCS4, src, -1, dst, limit);
}

int cvt_ltou_inner(const char *src, wchar_t *dst, int limit)
{
    return decodeText(cvt_char_UTF8_To_UCS4_inner, src, -1, dst, limit);
}

int cvt_ltou2(const char *src, int srcBytes, wchar_t *dst, int limit)
{
    return decodeText(cvt_char_UTF8_To_UCS4, src, srcBytes, dst, limit);
}

int cvt_utol(const wchar_t *src, char *dst, int limit)
{
    return encodeText(src, -1, dst, limit);
}

int cvt_utol2(const wchar_t *src, int srcCount, char *dst, int limit)
{
    return encodeText(src, srcCount, dst, limit);
}

int cvt_utoxml(const wchar_t *src, char *dst, int limit)
{
    return escapeText(xmlEscape, src, dst, limit);
}

int cvt_utourl(const wchar_t *src, char *dst, int limit)
{
    return escapeText(urlEscape, src, dst, limit);
}

void cvt_ending_ws(wchar_t *s)
{
    for (; *s; ++s) {
        const uint32_t u = static_cast<uint32_t>(*s);
        *s = static_cast<wchar_t>(((u & 0xFF) << 8) | ((u >> 8) & 0xFF));
    }
}

} // extern "C"
