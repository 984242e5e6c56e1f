// UTF-8, UTF-16 and escaping conversions against hand-encoded byte tables,
// plus a round-trip property over the whole encodable range.
#include "base/LHConvert.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

TEST(Utf8, DecodesOneCharacter)
{
    const struct { Bytes in; int used; unsigned int value; } cases[] = {
        {{'A', 0}, 1, 0x41},
        {{0xC3, 0xA9, 0}, 2, 0xE9},
        {{0xE2, 0x82, 0xAC, 0}, 3, 0x20AC},
        {{0xF0, 0x9F, 0x98, 0x80, 0}, 4, 0x1F600},
        {{0xC0, 0x80, 0}, 2, 0},                 // overlong, accepted
        {{0xED, 0xA0, 0x80, 0}, 3, 0xD800},      // surrogate, accepted
        {{0xF4, 0x90, 0x80, 0x80, 0}, 4, 0x110000},
        {{0xF8, 0x88, 0x80, 0x80, 0x80, 0}, 5, 0x200000},
        {{0xFD, 0xBF, 0xBF, 0xBF, 0xBF, 0xBF, 0}, 6, 0x7FFFFFFF},
        {{0x80, 0}, 0, 0}, {{0xBF, 0}, 0, 0}, {{0xFE, 0}, 0, 0}, {{0xFF, 0}, 0, 0},
        {{0xE4, 0x80, 'a', 0}, 0, 0},            // continuation missing
        {{0xC3, 0}, 0, 0},                       // cut by the terminator
        {{0x90, 's', 0}, 0, 0},                  // the legacy pair is for the inner reader only
    };
    for (const auto &c : cases) {
        unsigned int v = 0xDEAD;
        EXPECT_EQ(cvt_char_UTF8_To_UCS4(c.in.data(), v), c.used) << std::hex << int(c.in[0]);
        if (c.used) {
            EXPECT_EQ(v, c.value) << std::hex << int(c.in[0]);
        }
    }

    const struct { Bytes in; int used; unsigned int value; } inner[] = {
        {{0x90, 's', 0}, 1, 0x2019}, {{0x90, 'x', 0}, 0, 0}, {{0x90, 0}, 0, 0},
        {{'s', 0}, 1, 's'}, {{0xC3, 0xA9, 0}, 2, 0xE9},
    };
    for (const auto &c : inner) {
        unsigned int v = 0;
        EXPECT_EQ(cvt_char_UTF8_To_UCS4_inner(c.in.data(), v), c.used) << std::hex << int(c.in[0]);
        if (c.used) {
            EXPECT_EQ(v, c.value);
        }
    }
}

TEST(Utf8, EncodesOneCharacter)
{
    const struct { unsigned int v; Bytes out; } cases[] = {
        {0x00, {0x00}}, {0x7F, {0x7F}},
        {0x80, {0xC2, 0x80}}, {0x7FF, {0xDF, 0xBF}},
        {0x800, {0xE0, 0xA0, 0x80}}, {0xFFFF, {0xEF, 0xBF, 0xBF}},
        {0x10000, {0xF0, 0x90, 0x80, 0x80}}, {0x1FFFFF, {0xF7, 0xBF, 0xBF, 0xBF}},
        {0x200000, {0xF8, 0x88, 0x80, 0x80, 0x80}},
        {0x3FFFFFF, {0xFB, 0xBF, 0xBF, 0xBF, 0xBF}},
        {0x4000000, {0xFC, 0x84, 0x80, 0x80, 0x80, 0x80}},
        {0x7FFFFFFF, {0xFD, 0xBF, 0xBF, 0xBF, 0xBF, 0xBF}},
    };
    for (const auto &c : cases) {
        unsigned char buf[8] = {0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE};
        const int n = cvt_char_UCS4_To_UTF8(c.v, buf);
        EXPECT_EQ(cvt_char_UCS4_To_UTF8(c.v, nullptr), n);
        ASSERT_EQ(n, static_cast<int>(c.out.size())) << std::hex << c.v;
        EXPECT_EQ(Bytes(buf, buf + n), c.out) << std::hex << c.v;
        EXPECT_EQ(buf[n], 0xEE); // no terminator
    }
    unsigned char buf[8] = {0xEE};
    EXPECT_EQ(cvt_char_UCS4_To_UTF8(0x80000000u, buf), 0);
    EXPECT_EQ(cvt_char_UCS4_To_UTF8(0xFFFFFFFFu, nullptr), 0);
    EXPECT_EQ(buf[0], 0xEE);
}

// Property: every encodable value decodes back to itself from its encoding.
TEST(Utf8, RoundTripsEveryLength)
{
    for (unsigned long long v = 0; v < 0x80000000ull; v += v / 64 + 1) {
        unsigned char buf[8] = {};
        const int n = cvt_char_UCS4_To_UTF8(static_cast<unsigned int>(v), buf);
        ASSERT_GT(n, 0);
        unsigned int back = 0;
        ASSERT_EQ(cvt_char_UTF8_To_UCS4(buf, back), n);
        ASSERT_EQ(back, v);
    }
}

TEST(Utf16, SplitsAndTakesUnits)
{
    const struct { unsigned int v; unsigned short hi, lo; } cases[] = {
        {0x41, 0x41, 0}, {0xFFFF, 0xFFFF, 0},
        {0x10000, 0xD800, 0xDC00}, {0x1F600, 0xD83D, 0xDE00}, {0xEFFFF, 0xDB7F, 0xDFFF},
        {0xF0000, 0, 0}, {0x10FFFF, 0, 0}, // the last two planes are left out
    };
    for (const auto &c : cases) {
        unsigned short out[2] = {0xEEEE, 0xEEEE};
        cvt_ucs4_utf16(c.v, out);
        EXPECT_EQ(out[0], c.hi) << std::hex << c.v;
        EXPECT_EQ(out[1], c.lo) << std::hex << c.v;
    }
    const unsigned short pair[] = {0xD83D, 0xDE00};
    unsigned int v = 0;
    EXPECT_EQ(cvt_utf16_ucs4(pair, &v), pair + 1);
    EXPECT_EQ(v, 0xD83Du);

    wchar_t units[] = {0x1234, 0x12345678, 0xFF, 0};
    cvt_ending_ws(units);
    EXPECT_EQ(units[0], 0x3412);
    EXPECT_EQ(units[1], 0x7856);
    EXPECT_EQ(units[2], 0xFF00);
}

TEST(Utf8, ReadsText)
{
    wchar_t out[16];
    const char *hello = "h\xC3\xA9llo"; // h é l l o
    const struct { int limit; int count; std::wstring text; } limits[] = {
        {3, 3, L"h\x00e9l"}, {10, 5, L"h\x00e9llo"}, {0, 0, L""}, {-1, 0, L""},
    };
    for (const auto &c : limits) {
        std::fill(out, out + 16, L'#');
        EXPECT_EQ(cvt_ltou(hello, out, c.limit), c.count) << c.limit;
        EXPECT_EQ(out[c.count], 0) << c.limit;
        EXPECT_EQ(std::wstring(out), c.text) << c.limit;
    }

    EXPECT_EQ(cvt_ltou("ab\x80" "cd", out, 10), 2);
    EXPECT_EQ(std::wstring(out), L"ab");

    // A byte bound stops after the character that crosses it.
    EXPECT_EQ(cvt_ltou2(hello, 2, out, 10), 2);
    EXPECT_EQ(std::wstring(out), L"h\x00e9");
    EXPECT_EQ(cvt_ltou2(hello, 1, out, 10), 1);
    EXPECT_EQ(cvt_ltou2(hello, 0, out, 10), 0);
    EXPECT_EQ(cvt_ltou2(hello, -1, out, 10), 5);

    // The legacy apostrophe pair: two characters from the inner reader, a
    // stop for the plain one.
    EXPECT_EQ(cvt_ltou_inner("it\x90s", out, 10), 4);
    EXPECT_EQ(std::wstring(out), L"it\x2019s");
    EXPECT_EQ(cvt_ltou("it\x90s", out, 10), 2);
}

TEST(Utf8, WritesText)
{
    char out[32];
    const wchar_t mixed[] = {L'a', 0xE9, 0x20AC, 0};  // 1 + 2 + 3 bytes
    EXPECT_EQ(cvt_utol(mixed, out, 100), 6);
    EXPECT_STREQ(out, "a\xC3\xA9\xE2\x82\xAC");
    EXPECT_EQ(cvt_utol(mixed, out, 1), 1);
    EXPECT_STREQ(out, "a");
    // The limit is looked at after each character: 2 is passed by the euro.
    const wchar_t euros[] = {0x20AC, 0x20AC, 0};
    EXPECT_EQ(cvt_utol(euros, out, 2), 3);
    EXPECT_STREQ(out, "\xE2\x82\xAC");
    EXPECT_EQ(cvt_utol(L"", out, 10), 0);
    EXPECT_STREQ(out, "");

    // An unencodable unit ends the text.
    const wchar_t bad[] = {L'a', static_cast<wchar_t>(0x80000000u), L'b', 0};
    EXPECT_EQ(cvt_utol(bad, out, 10), 1);
    EXPECT_STREQ(out, "a");

    EXPECT_EQ(cvt_utol2(mixed, 2, out, 100), 3);
    EXPECT_STREQ(out, "a\xC3\xA9");
    EXPECT_EQ(cvt_utol2(mixed, 0, out, 100), 0);
    EXPECT_EQ(cvt_utol2(mixed, -1, out, 100), 6);
}

TEST(Escapes, XmlAndUrl)
{
    char out[128];
    const wchar_t bad[] = {L'a', static_cast<wchar_t>(0x80000000u), L'b', 0};
    const struct { const wchar_t *in; int limit; const char *xml; const char *url; } cases[] = {
        {L"<>&\"'\r\n", 100, "&lt;&gt;&amp;&quot;&apos;&#x000D;&#x000A;", "<>%26\"'\r\n"},
        {L" +/?%#=", 100, " +/?%#=", "%20%2B%2F%3F%25%23%3D"},
        {L"a\x00fc", 100, "a\xC3\xBC", "a\xC3\xBC"},
        // The count is checked after each entry, so the last one may pass it.
        {L" <", 2, " &lt;", "%20"},
        {L"& &", 1, "&amp;", "%26"},
        {L"abc", 2, "ab", "ab"},  // ends as soon as the count reaches the limit
        {L"abc", 0, "", ""},
        {L"", 10, "", ""},
        {bad, 10, "ab", "ab"}, // unencodable units are skipped, not a stop
    };
    for (const auto &c : cases) {
        std::fill(out, out + sizeof out, '#');
        EXPECT_EQ(cvt_utoxml(c.in, out, c.limit), static_cast<int>(std::string(c.xml).size())) << c.xml;
        EXPECT_STREQ(out, c.xml);
        std::fill(out, out + sizeof out, '#');
        EXPECT_EQ(cvt_utourl(c.in, out, c.limit), static_cast<int>(std::string(c.url).size())) << c.url;
        EXPECT_STREQ(out, c.url);
    }
}

} // namespace
