// Wide string functions and the table-driven search, against values worked
// out by hand step by step.
#include "base/LHString.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

namespace {

TEST(Ucs, Compares)
{
    // a, b, ucs_cmp, ucs_cmpi
    const std::tuple<const wchar_t *, const wchar_t *, int, int> cases[] = {
        {L"abc", L"abc", 0, 0}, {L"abc", L"abd", -1, -1}, {L"abc", L"ab", 'c', 'c'},
        {L"Hello", L"hELLO", 'H' - 'h', 0},
        {L"a", L"C", 'a' - 'C', 'a' - 'C'}, // the folded compare answers unfolded
        {L"[", L"{", '[' - '{', '[' - '{'}, // 32 apart but not letters
        {L"\x10000", L"A", 0x10000 - 'A', 0x10000 - 'A'},
    };
    for (auto [a, b, cmp, cmpi] : cases) {
        EXPECT_EQ(ucs_cmp(a, b), cmp) << a << " / " << b;
        EXPECT_EQ(ucs_cmpi(a, b), cmpi) << a << " / " << b;
    }
    EXPECT_EQ(ucs_ncmp(L"abX", L"abY", 2), 0);
    EXPECT_EQ(ucs_ncmp(L"abX", L"abY", 3), 'X' - 'Y');
    EXPECT_EQ(ucs_ncmp(L"a", L"b", 0), 0);
    EXPECT_EQ(ucs_ncmp(L"a", L"b", -4), 0);
    EXPECT_EQ(ucs_ncmp(L"ab", L"ab", 10), 0);
}

TEST(Ucs, CopiesSearchesParses)
{
    EXPECT_EQ(ucs_len(nullptr), 0);
    EXPECT_EQ(ucs_len(L"h\x00e9llo"), 5);
    wchar_t buf[16];
    ucs_cpy(buf, L"ab");
    ucs_cat(buf, L"cd");
    EXPECT_EQ(std::wstring(buf), L"abcd");
    // ucs_ncpy writes no terminator and stops at the source's.
    ucs_ncpy(buf, L"xyz", 2);
    EXPECT_EQ(std::wstring(buf), L"xycd");
    ucs_ncpy(buf, L"q", 4);
    EXPECT_EQ(std::wstring(buf), L"qycd");

    EXPECT_EQ(ucs_find(L"abca", L'c'), 2);
    EXPECT_EQ(ucs_find(L"abca", L'\0'), -1);
    EXPECT_EQ(ucs_find(L"", L'a'), -1);

    for (auto [s, v] : {std::pair<const wchar_t *, int>{L"-12", -12}, {L"+12", 0}, {L"7a", 7}, {L"", 0}, {L"-", 0}})
        EXPECT_EQ(ucs_to_i32(s), v) << s;
    for (const wchar_t *s : {L"", L"report.txt", L"\"", L"a b-c_(1)"})
        EXPECT_TRUE(ucs_valid_filename(s)) << s;
    for (const wchar_t *s : {L"a?b", L"*", L"c:", L"<", L">", L"a|b", L"dir/x", L"dir\\x"})
        EXPECT_FALSE(ucs_valid_filename(s)) << s;
}

std::vector<unsigned short> table(const wchar_t *pattern, bool folded)
{
    std::vector<unsigned short> nexts(ucs_len(pattern));
    (folded ? ucs_getnextsi_kmp : ucs_getnexts_kmp)(pattern, nexts.data(), static_cast<unsigned short>(nexts.size()));
    return nexts;
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
}

TEST(Kmp, Searches)
{
    // text, pattern, exact result, folded result
    const std::tuple<const wchar_t *, const wchar_t *, int, int> cases[] = {
        {L"xxabab", L"abab", 2, 2}, {L"abab", L"abab", 0, 0}, {L"", L"a", -1, -1},
        {L"abc", L"", 0, 0}, {L"abc", L"abcd", -1, -1}, {L"xAb", L"ab", -1, 1}, {L"a[", L"{", -1, -1},
        // The unit that failed is skipped on the fallback, so "ab" in "aab"
        // is missed; the folded search first compares the next unit with the
        // current pattern unit and lands on 1.
        {L"aab", L"ab", -1, 1},
        // After "aba" the fallback to j = 1 takes the 'b' at 4 without
        // looking at 3: a place a plain scan would not report. The folded
        // search takes that 'b' as the fourth unit straight away.
        {L"abaxbab", L"abab", 3, 1},
    };
    for (auto [text, pattern, exact, folded] : cases) {
        const auto n = static_cast<unsigned short>(ucs_len(pattern));
        EXPECT_EQ(ucs_find_kmp(text, pattern, table(pattern, false).data(), n), exact) << text << " / " << pattern;
        EXPECT_EQ(ucs_findi_kmp(text, pattern, table(pattern, true).data(), n), folded) << text << " / " << pattern;
    }
}

} // namespace
