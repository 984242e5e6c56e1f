// 8-bit and wide string functions and the table-driven search, against
// values worked out by hand step by step.
#include "base/LHHeap.h"
#include "base/LHString.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <tuple>
#include <vector>

TEST(Ansi, Numbers)
{
    char u32[16], u64[24], i32[16], f64[32];
    ansi_from_u32(u32, 4294967295u);
    ansi_from_u64(u64, 99999999999ull);
    ansi_from_i32(i32, INT_MIN);
    EXPECT_EQ(ansi_from_f64(f64, -0.125), 11); // eight decimals; the count is the length
    const std::pair<const char *, const char *> cases[] = {
        {u32, "4294967295"}, {u64, "99999999999"}, {i32, "-2147483648"}, {f64, "-0.12500000"},
    };
    for (auto [got, want] : cases)
        EXPECT_STREQ(got, want);
    for (auto [v, m] : {std::pair<int, unsigned>{-5, 5}, {5, 5}, {INT_MIN, 2147483648u}})
        EXPECT_EQ(absolute32(v), m);

    // Hex: each step is (v << 4) | digit, letters counting 10..35 ('x' 33); no prefix.
    const std::pair<const char *, unsigned> hex[] = {
        {"ff", 255}, {"FF", 255}, {"7fffffff", 0x7FFFFFFF}, {"", 0}, {"12 34", 0x12}, {"-1", 0},
        {"FG", 240}, {"1Z", 0x10 | 35}, {"0x10", 0x2110},
    };
    for (auto [s, v] : hex)
        EXPECT_EQ(ansi_to_u32_hex(s), v) << s;
    // Decimal wraps modulo 2^32.
    const std::pair<const char *, int> dec[] = {
        {"-42", -42}, {"+7", 7}, {"", 0}, {"-", 0}, {"abc", 0}, {"12abc", 12}, {"2147483648", INT_MIN}, {"4294967297", 1},
    };
    for (auto [s, v] : dec)
        EXPECT_EQ(ansi_to_i32(s), v) << s;
}

TEST(Ansi, ComparesSearchesAndCopies)
{
    // Lower case is raised, so '[' sorts after 'a'.
    const std::tuple<const char *, const char *, int> cmpi[] = {
        {"abc", "ABC", 0}, {"", "", 0}, {"a", "B", -1}, {"abd", "ABC", 1}, {"ab", "a", 'B'}, {"[", "a", '[' - 'A'},
    };
    for (auto [a, b, r] : cmpi)
        EXPECT_EQ(ansi_cmpi(a, b), r) << a << " / " << b;
    // text, unit, ansi_find, ansi_chr and ansi_rchr as offsets (-1: null);
    // kept: a match in ansi_rchr returns the string itself.
    const std::tuple<const char *, char, int, int, int> finds[] = {
        {"abca", 'a', 0, 0, 0}, {"abca", 'c', 2, 2, 0}, {"abca", 'z', -1, -1, -1}, {"abca", '\0', -1, -1, -1}, {"", 'a', -1, -1, -1},
    };
    auto at = [](const char *s, const char *p) { return p ? int(p - s) : -1; };
    for (auto [s, c, find, chr, rchr] : finds)
        EXPECT_EQ(std::make_tuple(ansi_find(s, c), at(s, ansi_chr(s, c)), at(s, ansi_rchr(s, c))),
                  std::make_tuple(find, chr, rchr)) << s << " " << c;
    EXPECT_TRUE(ansi_chr(nullptr, 'a') == nullptr && ansi_rchr(nullptr, 'a') == nullptr);
    char *copy = ansi_dup("dup");
    EXPECT_STREQ(copy, "dup");
    LHFree(copy);
}

TEST(Ucs, Compares)
{
    // a, b, ucs_cmp, ucs_cmpi, n, ucs_ncmp over n units (n < 1 gives 0)
    const std::tuple<const wchar_t *, const wchar_t *, int, int, int, int> cases[] = {
        {L"abc", L"abc", 0, 0, 10, 0}, {L"abc", L"abd", -1, -1, 2, 0}, {L"abc", L"ab", 'c', 'c', 3, 'c'},
        {L"Hello", L"hELLO", 'H' - 'h', 0, 0, 0}, {L"\x10000", L"A", 0x10000 - 'A', 0x10000 - 'A', 1, 0x10000 - 'A'},
        {L"a", L"C", 'a' - 'C', 'a' - 'C', -4, 0}, // the folded compare answers unfolded
        {L"[", L"{", '[' - '{', '[' - '{', 1, '[' - '{'}, // 32 apart but not letters
        {L"Zz", L"zZ", 'Z' - 'z', 0, 2, 'Z' - 'z'}, // the last letters of both ranges fold too
    };
    for (auto [a, b, cmp, cmpi, n, ncmp] : cases)
        EXPECT_EQ(std::make_tuple(ucs_cmp(a, b), ucs_cmpi(a, b), ucs_ncmp(a, b, n)), std::make_tuple(cmp, cmpi, ncmp))
            << a << " / " << b << " " << n;
}

TEST(Ucs, CopiesSearchesParses)
{
    EXPECT_TRUE(ucs_len(nullptr) == 0 && ucs_len(L"h\x00e9llo") == 5);
    // ucs_ncpy writes no terminator and stops at the source's.
    wchar_t buf[16];
    ucs_cpy(buf, L"ab");
    ucs_cat(buf, L"cd");
    ucs_ncpy(buf, L"xyz", 2);
    ucs_ncpy(buf, L"q", 4);
    EXPECT_EQ(std::wstring(buf), L"qycd");
    for (auto [s, c, at] : {std::tuple<const wchar_t *, wchar_t, int>{L"abca", L'c', 2}, {L"abca", L'\0', -1}, {L"", L'a', -1}})
        EXPECT_EQ(ucs_find(s, c), at) << s;
    for (auto [s, v] : {std::pair<const wchar_t *, int>{L"-12", -12}, {L"90", 90}, {L"+12", 0}, {L"7a", 7}, {L"", 0}, {L"-", 0}})
        EXPECT_EQ(ucs_to_i32(s), v) << s;
    for (auto [s, ok] : {std::pair<const wchar_t *, bool>{L"a b-c_(1).txt", true}, {L"a?b", false}, {L"dir\\x", false}})
        EXPECT_EQ(ucs_valid_filename(s), ok) << s;
}

static std::vector<unsigned short> table(const wchar_t *pattern, bool folded)
{
    std::vector<unsigned short> nexts(ucs_len(pattern));
    (folded ? ucs_getnextsi_kmp : ucs_getnexts_kmp)(pattern, nexts.data(), static_cast<unsigned short>(nexts.size()));
    return nexts;
}

TEST(Kmp, TablesAndSearches)
{
    // pattern, folded, table. In "abaab", after the fallback at index 3 finds
    // 'a', j stays 0 instead of rising to 1: the textbook table ends in 1.
    const std::tuple<const wchar_t *, bool, std::vector<unsigned short>> tables[] = {
        {L"abab", false, {0, 0, 0, 1}}, {L"abaab", false, {0, 0, 0, 0, 0}}, {L"aBAb", true, {0, 0, 0, 1}}, {L"aBAb", false, {0, 0, 0, 0}},
    };
    for (const auto &[pattern, folded, want] : tables)
        EXPECT_EQ(table(pattern, folded), want) << pattern;
    // text, pattern, exact result, folded result
    const std::tuple<const wchar_t *, const wchar_t *, int, int> cases[] = {
        {L"xxabab", L"abab", 2, 2}, {L"abab", L"abab", 0, 0}, {L"", L"a", -1, -1}, {L"abc", L"", 0, 0},
        {L"abc", L"abcd", -1, -1}, {L"xAb", L"ab", -1, 1}, {L"a[", L"{", -1, -1},
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
        EXPECT_EQ(std::make_pair(ucs_find_kmp(text, pattern, table(pattern, false).data(), n),
                                 ucs_findi_kmp(text, pattern, table(pattern, true).data(), n)),
                  std::make_pair(exact, folded)) << text << " / " << pattern;
    }
}
