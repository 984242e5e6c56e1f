// Pattern search on wide strings with a fallback table, exact and ASCII
// case-folding. Positions and table entries are 16-bit and wrap at 65536.
//
// The table and the search differ from the textbook form: the table does not
// raise j after a successful fallback, and the search moves the text forward
// on every fallback step. The two are built on each other and kept as they
// are; the search may report a position a plain scan would not.
#include "base/LHString.h"

namespace {

struct Exact {
    static bool eq(wchar_t a, wchar_t b) { return a == b; }
};

struct Folded {
    static bool letter(wchar_t c) { return (c >= L'A' && c <= L'Z') || (c >= L'a' && c <= L'z'); }
    static bool eq(wchar_t a, wchar_t b)
    {
        return a == b || (letter(a) && letter(b) && (a - b == 32 || b - a == 32));
    }
};

template <class Cmp>
void buildTable(const wchar_t *pattern, unsigned short *nexts)
{
    // An empty pattern has no table, and its terminator is the last unit read.
    if (!pattern[0])
        return;
    nexts[0] = 0;
    unsigned short j = 0;
    unsigned short i = 1;
    wchar_t c = pattern[1];
    while (c) {
        if (Cmp::eq(pattern[j], c)) {
            nexts[i] = j;
            ++j;
        } else {
            while (j) {
                j = nexts[j];
                if (Cmp::eq(pattern[j], c))
                    break;
            }
            nexts[i] = j;
        }
        ++i;
        c = pattern[i];
    }
}

// `recheck`: the folded search first compares the next text unit with the
// current pattern unit before consulting the table.
template <class Cmp, bool recheck>
int search(const wchar_t *text, const wchar_t *pattern, const unsigned short *nexts, unsigned short n)
{
    unsigned short i = 0;
    unsigned short j = 0;
    for (;;) {
        while (Cmp::eq(text[i], pattern[j])) {
            if (j >= n)
                return i - j;
            ++i;
            ++j;
        }
        if (j >= n)
            return i - j;
        if (!text[i])
            return -1;
        for (;;) {
            if (recheck && Cmp::eq(text[i + 1], pattern[j]))
                break;
            j = nexts[j];
            if (Cmp::eq(text[i + 1], pattern[j]))
                break;
            if (!text[i + 1])
                return -1;
            ++i;
        }
        if (!text[i + 1])
            return -1;
        ++i;
    }
}

} // namespace

extern "C" {

void ucs_getnexts_kmp(const wchar_t *pattern, unsigned short *nexts, unsigned short n)
{
    (void)n;
    buildTable<Exact>(pattern, nexts);
}

int ucs_find_kmp(const wchar_t *text, const wchar_t *pattern, unsigned short *nexts, unsigned short n)
{
    return search<Exact, false>(text, pattern, nexts, n);
}

void ucs_getnextsi_kmp(const wchar_t *pattern, unsigned short *nexts, unsigned short n)
{
    (void)n;
    buildTable<Folded>(pattern, nexts);
}

int ucs_findi_kmp(const wchar_t *text, const wchar_t *pattern, unsigned short *nexts, unsigned short n)
{
    return search<Folded, true>(text, pattern, nexts, n);
}

} // extern "C"
