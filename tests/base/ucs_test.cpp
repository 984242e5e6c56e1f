// Wide string functions and the table-driven pattern search, against values
// worked out by hand from the stated rules.
#include "base/LHString.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

TEST(Ucs, Compares)
{
    const struct { const wchar_t *a, *b; int cmp, cmpi; } cases[] = {
        {L"abc", L"abc", 0, 0},
        {L"abc", L"abd", -1, -1},
        {L"abc", L"ab", 'c', 'c'},
        {L"Hello", L"hELLO", 'H' - 'h', 0},
        {L"a", L"C", 'a' - 'C', 'a' - 'C'}, // folded compare still answers unfolded
        {L"[", L"{", '[' - '{', '[' - '{'}, // 32 apart but not letters
        {L"\x10000", L"\x41", 0x10000 - 0x41, 0x10000 - 0x41},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(ucs_cmp(c.a, c.b), c.cmp) << c.a << " / " << c.b;
        EXPECT_EQ(ucs_cmpi(c.a, c.b), c.cmpi) << c.a << " / " << c.b;
    }
    EXPECT_EQ(ucs_ncmp(L"abX", L"abY", 2), 0);
    EXPECT_EQ(ucs_ncmp(L"abX", L"abY", 3), 'X' - 'Y');
    EXPECT_EQ(ucs_ncmp(L"a", L"b", 0), 0);
    EXPECT_EQ(ucs_ncmp(L"a", L"b", -4), 0);
    EXPECT_EQ(ucs_ncmp(L"ab", L"ab", 10), 0); // stops at the common terminator
}

TEST(Ucs, CopiesAndMeasures)
{
    EXPECT_EQ(ucs_len(nullptr), 0);
    EXPECT_EQ(ucs_len(L""), 0);
    EXPECT_EQ(ucs_len(L"h\x00e9llo"), 5);

    wchar_t buf[16];
    ucs_cpy(buf, L"ab");
    EXPECT_EQ(std::wstring(buf), L"ab");
    ucs_cat(buf, L"cd");
    EXPECT_EQ(std::wstring(buf), L"abcd");

    // ucs_ncpy writes no terminator and stops at the source's.
    std::wstring(L"xxxxxx").copy(buf, 6);
    ucs_ncpy(buf, L"abc", 2);
    EXPECT_EQ(std::wstring(buf, 6), L"abxxxx");
    ucs_ncpy(buf, L"q", 4);
    EXPECT_EQ(std::wstring(buf, 6), L"qbxxxx");

    EXPECT_EQ(ucs_find(L"abca", L'a'), 0);
    EXPECT_EQ(ucs_find(L"abca", L'c'), 2);
    EXPECT_EQ(ucs_find(L"abca", L'\0'), -1);
    EXPECT_EQ(ucs_find(L"", L'a'), -1);
}

TEST(Ucs, ParsesAndChecksNames)
{
    const struct { const wchar_t *s; int v; } numbers[] = {
        {L"123", 123}, {L"-12", -12}, {L"+12", 0}, {L"7a", 7}, {L"", 0}, {L"-", 0},
    };
    for (const auto &c : numbers)
        EXPECT_EQ(ucs_to_i32(c.s), c.v) << c.s;

    const struct { const wchar_t *s; bool valid; } names[] = {
        {L"", true}, {L"report.txt", true}, {L"\"", true}, {L"a b-c_(1)", true},
        {L"a?b", false}, {L"*", false}, {L"c:", false}, {L"<", false}, {L">", false},
        {L"a|b", false}, {L"dir/x", false}, {L"dir\\x", false},
    };
    for (const auto &c : names)
        EXPECT_EQ(ucs_valid_filename(c.s), c.valid) << c.s;
}

std::vector<unsigned short> table(const wchar_t *pattern, bool folded)
{
    std::vector<unsigned short> nexts(ucs_len(pattern));
    const auto n = static_cast<unsigned short>(nexts.size());
    if (folded)
        ucs_getnextsi_kmp(pattern, nexts.data(), n);
    else
        ucs_getnexts_kmp(pattern, nexts.data(), n);
    return nexts;
}

int find(const wchar_t *text, const wchar_t *pattern, bool folded)
{
    auto nexts = table(pattern, folded);
    const auto n = static_cast<unsigned short>(nexts.size());
    return folded ? ucs_findi_kmp(text, pattern, nexts.data(), n)
                  : ucs_find_kmp(text, pattern, nexts.data(), n);
}

TEST(Kmp, Tables)
{
    using T = std::vector<unsigned short>;
    EXPECT_EQ(table(L"abab", false), (T{0, 0, 0, 1}));
    EXPECT_EQ(table(L"aaab", false), (T{0, 0, 1, 0}));
    // After the fallback at index 3 finds 'a', j stays 0 instead of rising
    // to 1, so the last entry is 0 where the textbook table has 1.
    EXPECT_EQ(table(L"abaab", false), (T{0, 0, 0, 0, 0}));
    EXPECT_EQ(table(L"aBAb", true), (T{0, 0, 0, 1}));
    EXPECT_EQ(table(L"aBAb", false), (T{0, 0, 0, 0}));
    EXPECT_EQ(table(L"x", false), (T{0}));
}

TEST(Kmp, Searches)
{
    const struct { const wchar_t *text, *pattern; int exact, folded; } cases[] = {
        {L"xxabab", L"abab", 2, 2},
        {L"abab", L"abab", 0, 0},
        {L"", L"a", -1, -1},
        {L"abc", L"", 0, 0},
        {L"abc", L"abcd", -1, -1},
        {L"xAb", L"ab", -1, 1},
        {L"a[", L"{", -1, -1},   // '[' and '{' are 32 apart but not letters
        // The unit that failed is skipped on the fallback: "ab" in "aab" is
        // missed, while the folded search compares that next unit with the
        // current pattern unit first and lands on 1.
        {L"aab", L"ab", -1, 1},
        // After "aba" the fallback to j = 1 accepts 'b' at 4 without looking
        // at 3: a position a plain scan would not report. The folded search
        // accepts that 'b' as the fourth unit straight away.
        {L"abaxbab", L"abab", 3, 1},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(find(c.text, c.pattern, false), c.exact) << c.text << " / " << c.pattern;
        EXPECT_EQ(find(c.text, c.pattern, true), c.folded) << c.text << " / " << c.pattern;
    }
}

} // namespace
