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
    const struct { unsigned int v; const char *text; } u32[] = {
        {0, "0"}, {7, "7"}, {10, "10"}, {4294967295u, "4294967295"},
    };
    for (const auto &c : u32) {
        ansi_from_u32(buf, c.v);
        EXPECT_STREQ(buf, c.text) << c.v;
    }
    const struct { unsigned long long v; const char *text; } u64[] = {
        {0, "0"}, {4294967296ull, "4294967296"}, {99999999999ull, "99999999999"},
    };
    for (const auto &c : u64) {
        ansi_from_u64(buf, c.v);
        EXPECT_STREQ(buf, c.text) << c.v;
    }
    const struct { int v; const char *text; } i32[] = {
        {0, "0"}, {-1, "-1"}, {2147483647, "2147483647"}, {INT_MIN, "-2147483648"},
    };
    for (const auto &c : i32) {
        ansi_from_i32(buf, c.v);
        EXPECT_STREQ(buf, c.text) << c.v;
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
    // Hex: each step is (v << 4) | digit, letters counting 10..35.
    const struct { const char *s; unsigned int v; } hex[] = {
        {"ff", 255}, {"FF", 255}, {"7fffffff", 0x7FFFFFFF}, {"", 0},
        {"FG", 240},     // 0xF0 | 16: bit 4 is set already
        {"1Z", 51},      // 0x10 | 35
        {"0x10", 8464},  // no prefix: '0', 'x' = 33, '1', '0' -> 0x2110
        {"12 34", 0x12}, {"-1", 0},
    };
    for (const auto &c : hex)
        EXPECT_EQ(ansi_to_u32_hex(c.s), c.v) << c.s;

    const struct { const char *s; int v; } dec[] = {
        {"42", 42}, {"-42", -42}, {"+7", 7}, {"", 0}, {"-", 0}, {"abc", 0},
        {"12abc", 12}, {"2147483648", INT_MIN}, {"4294967297", 1},
    };
    for (const auto &c : dec)
        EXPECT_EQ(ansi_to_i32(c.s), c.v) << c.s;
}

TEST(Ansi, ComparesIgnoringCase)
{
    const struct { const char *a, *b; int result; } cases[] = {
        {"abc", "ABC", 0}, {"", "", 0},
        {"a", "B", -1}, {"abd", "ABC", 1},
        {"ab", "a", 'B'},      // against the terminator
        {"[", "a", '[' - 'A'}, // lower case is raised, so '[' sorts after 'a'
    };
    for (const auto &c : cases)
        EXPECT_EQ(ansi_cmpi(c.a, c.b), c.result) << c.a << " / " << c.b;
}

TEST(Ansi, Searches)
{
    const char *s = "abca";
    EXPECT_EQ(ansi_find(s, 'a'), 0);
    EXPECT_EQ(ansi_find(s, 'c'), 2);
    EXPECT_EQ(ansi_find(s, 'z'), -1);
    EXPECT_EQ(ansi_find(s, '\0'), -1);
    EXPECT_EQ(ansi_find("", 'a'), -1);

    EXPECT_EQ(ansi_chr(s, 'c'), s + 2);
    EXPECT_EQ(ansi_chr(s, 'z'), nullptr);
    EXPECT_EQ(ansi_chr(s, '\0'), nullptr);
    EXPECT_EQ(ansi_chr("", 'a'), nullptr);
    EXPECT_EQ(ansi_chr(nullptr, 'a'), nullptr);

    // A match returns the string itself, not the place of the match.
    const char *t = "abc";
    EXPECT_EQ(ansi_rchr(t, 'b'), t);
    EXPECT_EQ(ansi_rchr(t, 'c'), t);
    EXPECT_EQ(ansi_rchr(t, 'z'), nullptr);
    EXPECT_EQ(ansi_rchr("", 'a'), nullptr);
    EXPECT_EQ(ansi_rchr(nullptr, 'a'), nullptr);
}

TEST(Ansi, DuplicatesAndMagnitude)
{
    const std::string longText(1000, 'q');
    for (const char *s : {"", "x", longText.c_str()}) {
        char *copy = ansi_dup(s);
        ASSERT_NE(copy, nullptr);
        EXPECT_NE(copy, s);
        EXPECT_STREQ(copy, s);
        LHFree(copy);
    }
    EXPECT_EQ(absolute32(0), 0u);
    EXPECT_EQ(absolute32(-5), 5u);
    EXPECT_EQ(absolute32(5), 5u);
    EXPECT_EQ(absolute32(INT_MIN), 2147483648u);
}

} // namespace
