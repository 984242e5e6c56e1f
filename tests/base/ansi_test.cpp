// 8-bit string functions against hand-worked values.
#include "base/LHHeap.h"
#include "base/LHString.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>

namespace {

TEST(Ansi, FormatsNumbers)
{
    char buf[64];
    for (auto [v, text] : {std::pair<unsigned, const char *>{0, "0"}, {10, "10"}, {4294967295u, "4294967295"}}) {
        ansi_from_u32(buf, v);
        EXPECT_STREQ(buf, text);
    }
    for (auto [v, text] : {std::pair<unsigned long long, const char *>{0, "0"}, {99999999999ull, "99999999999"}}) {
        ansi_from_u64(buf, v);
        EXPECT_STREQ(buf, text);
    }
    for (auto [v, text] : {std::pair<int, const char *>{0, "0"}, {-1, "-1"}, {INT_MAX, "2147483647"}, {INT_MIN, "-2147483648"}}) {
        ansi_from_i32(buf, v);
        EXPECT_STREQ(buf, text);
    }
    EXPECT_EQ(ansi_from_f64(buf, 1.5), 10);
    EXPECT_STREQ(buf, "1.50000000");
    EXPECT_EQ(ansi_from_f64(buf, -0.125), 11);
    EXPECT_STREQ(buf, "-0.12500000");
    EXPECT_EQ(ansi_from_f32(buf, 0.25f), 10);
    EXPECT_STREQ(buf, "0.25000000");
}

TEST(Ansi, ParsesNumbers)
{
    // Hex: each step is (v << 4) | digit, letters counting 10..35; no prefix.
    const std::pair<const char *, unsigned> hex[] = {
        {"ff", 255}, {"FF", 255}, {"7fffffff", 0x7FFFFFFF}, {"", 0}, {"12 34", 0x12}, {"-1", 0},
        {"FG", 240}, {"1Z", 0x10 | 35}, {"0x10", 0x2110}, // 'x' counts 33
    };
    for (auto [s, v] : hex)
        EXPECT_EQ(ansi_to_u32_hex(s), v) << s;
    const std::pair<const char *, int> dec[] = {
        {"-42", -42}, {"+7", 7}, {"", 0}, {"-", 0}, {"abc", 0}, {"12abc", 12},
        {"2147483648", INT_MIN}, {"4294967297", 1}, // wraps modulo 2^32
    };
    for (auto [s, v] : dec)
        EXPECT_EQ(ansi_to_i32(s), v) << s;
}

TEST(Ansi, ComparesAndSearches)
{
    const std::tuple<const char *, const char *, int> cmpi[] = {
        {"abc", "ABC", 0}, {"", "", 0}, {"a", "B", -1}, {"abd", "ABC", 1}, {"ab", "a", 'B'},
        {"[", "a", '[' - 'A'}, // lower case is raised, so '[' sorts after 'a'
    };
    for (auto [a, b, r] : cmpi)
        EXPECT_EQ(ansi_cmpi(a, b), r) << a << " / " << b;

    const char *s = "abca";
    EXPECT_EQ(ansi_find(s, 'a'), 0);
    EXPECT_EQ(ansi_find(s, 'c'), 2);
    EXPECT_EQ(ansi_find(s, 'z'), -1);
    EXPECT_EQ(ansi_find(s, '\0'), -1);
    EXPECT_EQ(ansi_find("", 'a'), -1);
    EXPECT_EQ(ansi_chr(s, 'c'), s + 2);
    for (const char *miss : {ansi_chr(s, 'z'), ansi_chr(s, '\0'), ansi_chr("", 'a'), ansi_chr(nullptr, 'a')})
        EXPECT_EQ(miss, nullptr);
    // A match returns the string itself, not the place of the match.
    EXPECT_EQ(ansi_rchr(s, 'b'), s);
    EXPECT_EQ(ansi_rchr(s, 'c'), s);
    for (const char *miss : {ansi_rchr(s, 'z'), ansi_rchr("", 'a'), ansi_rchr(nullptr, 'a')})
        EXPECT_EQ(miss, nullptr);
}

TEST(Ansi, DuplicatesAndMagnitude)
{
    const std::string longText(1000, 'q');
    for (const char *s : {"", "x", longText.c_str()}) {
        char *copy = ansi_dup(s);
        EXPECT_NE(copy, s);
        EXPECT_STREQ(copy, s);
        LHFree(copy);
    }
    EXPECT_EQ(absolute32(-5), 5u);
    EXPECT_EQ(absolute32(5), 5u);
    EXPECT_EQ(absolute32(INT_MIN), 2147483648u);
}

} // namespace
