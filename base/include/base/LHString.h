// String functions on raw, caller-sized buffers: `ansi_*` on 8-bit strings and
// `ucs_*` on wide strings (32-bit wchar_t units). A string ends at a zero unit.
#pragma once

#include <cwchar>

extern "C" {

// Decimal text of v; 0 gives "0".
void ansi_from_u32(char *dst, unsigned int v);
// Decimal text of v, for values of up to 11 digits.
void ansi_from_u64(char *dst, unsigned long long v);
// Decimal text of v, with a leading '-' when negative.
void ansi_from_i32(char *dst, int v);
// v as "%0.8lf"; returns the characters written.
int ansi_from_f64(char *dst, double v);
// v as "%0.8f"; returns the characters written.
int ansi_from_f32(char *dst, float v);
// Hexadecimal digits up to the first character that is neither digit nor ASCII
// letter. Letters past F count on (G = 16 ... Z = 35) and spill by OR.
unsigned int ansi_to_u32_hex(const char *s);
// Optional sign, then decimal digits; no digit gives 0; overflow wraps.
int ansi_to_i32(const char *s);
// Case-insensitive compare; the difference of the first unequal characters
// after raising lower case to upper case, or 0.
int ansi_cmpi(const char *a, const char *b);
// Index of the first c, or -1. The terminator is never found.
int ansi_find(const char *s, char c);
// Pointer to the first c, or null (also for a null or empty s).
const char *ansi_chr(const char *s, char c);
// s itself when c occurs in it, otherwise null: a membership test.
const char *ansi_rchr(const char *s, char c);
// Copy of s in memory from LHAlloc; release it with LHFree.
char *ansi_dup(const char *s);
// Magnitude of v.
unsigned int absolute32(int v);

// Zero if equal, else the 32-bit difference of the first unequal units.
int ucs_cmp(const wchar_t *a, const wchar_t *b);
// As ucs_cmp over at most n units; n < 1 gives 0.
int ucs_ncmp(const wchar_t *a, const wchar_t *b, int n);
// As ucs_cmp with ASCII letters matching across case; the result is the raw
// difference of the first units that do not match.
int ucs_cmpi(const wchar_t *a, const wchar_t *b);
// Length in units; a null s gives 0.
int ucs_len(const wchar_t *s);
// Copies src with its terminator.
void ucs_cpy(wchar_t *dst, const wchar_t *src);
// Copies up to n units, stopping at the terminator; writes no terminator.
void ucs_ncpy(wchar_t *dst, const wchar_t *src, int n);
// Appends src to dst, with terminator.
void ucs_cat(wchar_t *dst, const wchar_t *src);
// Index of the first c, or -1. The terminator is never found.
int ucs_find(const wchar_t *s, wchar_t c);
// Builds the fallback table of ucs_find_kmp: one entry per pattern unit.
// `n` is not used; the table runs to the pattern's terminator.
void ucs_getnexts_kmp(const wchar_t *pattern, unsigned short *nexts, unsigned short n);
// Position of pattern (n units, table from ucs_getnexts_kmp) in text, or -1.
int ucs_find_kmp(const wchar_t *text, const wchar_t *pattern, unsigned short *nexts, unsigned short n);
// ucs_getnexts_kmp with ASCII letters matching across case.
void ucs_getnextsi_kmp(const wchar_t *pattern, unsigned short *nexts, unsigned short n);
// ucs_find_kmp with ASCII letters matching across case.
int ucs_findi_kmp(const wchar_t *text, const wchar_t *pattern, unsigned short *nexts, unsigned short n);
// Optional '-', then decimal digits; no digit gives 0.
int ucs_to_i32(const wchar_t *s);
// False when s holds any of * : < > ? | / backslash; true otherwise.
bool ucs_valid_filename(const wchar_t *s);

}
