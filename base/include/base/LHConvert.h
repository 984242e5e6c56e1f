// Conversions between UTF-8 and wide text (32-bit units), and the UTF-16 and
// escaping helpers. Buffers are the caller's to size; invalid input ends a
// conversion silently and the count tells how far it went.
#pragma once

#include <cwchar>

extern "C" {

// Decodes one UTF-8 character into out; returns the bytes used, 0 if invalid.
// Overlong forms, surrogates and values past U+10FFFF are accepted.
int cvt_char_UTF8_To_UCS4(const unsigned char *src, unsigned int &out);
// As cvt_char_UTF8_To_UCS4, but 0x90 before 's' reads as U+2019 (one byte).
int cvt_char_UTF8_To_UCS4_inner(const unsigned char *src, unsigned int &out);
// Encodes one character (up to six bytes, no terminator); returns the byte
// count, 0 if not encodable. A null dst only measures.
int cvt_char_UCS4_To_UTF8(unsigned int ucs, unsigned char *dst);
// Takes one UTF-16 unit as it stands; returns src + 1.
const unsigned short *cvt_utf16_ucs4(const unsigned short *src, unsigned int *out);
// Two UTF-16 units for ucs; both 0 from U+F0000 upward.
void cvt_ucs4_utf16(unsigned int ucs, unsigned short *out);
// UTF-8 to wide, at most limit characters plus a terminator; returns the count.
int cvt_ltou(const char *src, wchar_t *dst, int limit);
// cvt_ltou through cvt_char_UTF8_To_UCS4_inner.
int cvt_ltou_inner(const char *src, wchar_t *dst, int limit);
// cvt_ltou that also stops once srcBytes bytes are consumed (srcBytes < 0: no bound).
int cvt_ltou2(const char *src, int srcBytes, wchar_t *dst, int limit);
// Wide to UTF-8 with terminator; returns the bytes written. The limit is
// tested after each character, so up to five bytes more may be written.
int cvt_utol(const wchar_t *src, char *dst, int limit);
// cvt_utol over at most srcCount characters (srcCount < 0: no bound).
int cvt_utol2(const wchar_t *src, int srcCount, char *dst, int limit);
// Wide to UTF-8 with XML escapes; may pass limit by one entry.
int cvt_utoxml(const wchar_t *src, char *dst, int limit);
// Wide to UTF-8 with URL escapes; may pass limit by one entry.
int cvt_utourl(const wchar_t *src, char *dst, int limit);
// Swaps the two low bytes of each unit in place, dropping the high 16 bits.
void cvt_ending_ws(wchar_t *s);

}
