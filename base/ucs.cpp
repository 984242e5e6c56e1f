// Comparison, copying, search and parsing on wide strings.
#include "base/LHString.h"

#include <cstdint>

namespace {

// Difference of two units as 32-bit values, without signed overflow.
int diff(wchar_t a, wchar_t b)
{
    return static_cast<int>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}

bool isLetter(wchar_t c) { return (c >= L'A' && c <= L'Z') || (c >= L'a' && c <= L'z'); }

// Equal, or the same ASCII letter in the other case.
bool sameFolded(wchar_t a, wchar_t b)
{
    return a == b || (isLetter(a) && isLetter(b) && (a - b == 32 || b - a == 32));
}

} // namespace

extern "C" {

int ucs_cmp(const wchar_t *a, const wchar_t *b)
{
    while (*a == *b && *a) {
        ++a;
        ++b;
    }
    return diff(*a, *b);
}

int ucs_ncmp(const wchar_t *a, const wchar_t *b, int n)
{
    for (int i = 0; i < n; ++i) {
        if (a[i] != b[i])
            return diff(a[i], b[i]);
        if (!a[i])
            break;
    }
    return 0;
}

int ucs_cmpi(const wchar_t *a, const wchar_t *b)
{
    while (sameFolded(*a, *b) && *a) {
        ++a;
        ++b;
    }
    return diff(*a, *b);
}

int ucs_len(const wchar_t *s)
{
    if (!s)
        return 0;
    int n = 0;
    while (s[n])
        ++n;
    return n;
}

void ucs_cpy(wchar_t *dst, const wchar_t *src)
{
    while ((*dst++ = *src++))
        ;
}

void ucs_ncpy(wchar_t *dst, const wchar_t *src, int n)
{
    for (int i = 0; i < n && src[i]; ++i)
        dst[i] = src[i];
}

void ucs_cat(wchar_t *dst, const wchar_t *src)
{
    ucs_cpy(dst + ucs_len(dst), src);
}

int ucs_find(const wchar_t *s, wchar_t c)
{
    for (int i = 0; s[i]; ++i) {
        if (s[i] == c)
            return i;
    }
    return -1;
}

int ucs_to_i32(const wchar_t *s)
{
    bool negative = false;
    if (*s == L'-') {
        negative = true;
        ++s;
    }
    unsigned int v = 0;
    for (; *s >= L'0' && *s <= L'9'; ++s)
        v = v * 10u + static_cast<unsigned int>(*s - L'0');
    return static_cast<int>(negative ? 0u - v : v);
}

bool ucs_valid_filename(const wchar_t *s)
{
    for (; *s; ++s) {
        switch (*s) {
        case L'*': case L':': case L'<': case L'>':
        case L'?': case L'|': case L'/': case L'\\':
            return false;
        default:
            break;
        }
    }
    return true;
}

} // extern "C"
