// UTF-8, UTF-16 and escaping conversions against hand-encoded byte tables,
// plus a round-trip property over the encodable range.
#include "base/LHConvert.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

TEST(Utf8, DecodesOneCharacter)
{
    // input (terminated), bytes used, value; a value is checked only when used
    const std::tuple<Bytes, int, unsigned> cases[] = {
        {{'A', 0}, 1, 0x41}, {{0xC3, 0xA9, 0}, 2, 0xE9}, {{0xE2, 0x82, 0xAC, 0}, 3, 0x20AC},
        {{0xF0, 0x9F, 0x98, 0x80, 0}, 4, 0x1F600},
        {{0xC0, 0x80, 0}, 2, 0}, {{0xED, 0xA0, 0x80, 0}, 3, 0xD800}, // overlong, surrogate: accepted
        {{0xF4, 0x90, 0x80, 0x80, 0}, 4, 0x110000}, {{0xF8, 0x88, 0x80, 0x80, 0x80, 0}, 5, 0x200000},
        {{0xFD, 0xBF, 0xBF, 0xBF, 0xBF, 0xBF, 0}, 6, 0x7FFFFFFF},
        {{0x80, 0}, 0, 0}, {{0xBF, 0}, 0, 0}, {{0xFE, 0}, 0, 0}, {{0xFF, 0}, 0, 0},
        {{0xE4, 0x80, 'a', 0}, 0, 0}, {{0xC3, 0}, 0, 0}, {{0x90, 's', 0}, 0, 0},
    };
    for (const auto &[in, used, value] : cases) {
        unsigned v = 0xDEAD;
        EXPECT_EQ(cvt_char_UTF8_To_UCS4(in.data(), v), used) << std::hex << int(in[0]);
        EXPECT_EQ(used ? v : 0, value) << std::hex << int(in[0]);
    }
    // The inner reader's legacy pair: 0x90 's' is an apostrophe of one byte.
    const std::tuple<Bytes, int, unsigned> inner[] = {
        {{0x90, 's', 0}, 1, 0x2019}, {{0x90, 'x', 0}, 0, 0}, {{0x90, 0}, 0, 0}, {{0xC3, 0xA9, 0}, 2, 0xE9},
    };
    for (const auto &[in, used, value] : inner) {
        unsigned v = 0xDEAD;
        EXPECT_EQ(cvt_char_UTF8_To_UCS4_inner(in.data(), v), used) << std::hex << int(in[1]);
        EXPECT_EQ(used ? v : 0, value);
    }
}

TEST(Utf8, EncodesOneCharacter)
{
    const std::pair<unsigned, Bytes> cases[] = {
        {0x00, {0x00}}, {0x7F, {0x7F}}, {0x80, {0xC2, 0x80}}, {0x7FF, {0xDF, 0xBF}},
        {0x800, {0xE0, 0xA0, 0x80}}, {0xFFFF, {0xEF, 0xBF, 0xBF}}, {0x10000, {0xF0, 0x90, 0x80, 0x80}},
        {0x1FFFFF, {0xF7, 0xBF, 0xBF, 0xBF}}, {0x200000, {0xF8, 0x88, 0x80, 0x80, 0x80}},
        {0x3FFFFFF, {0xFB, 0xBF, 0xBF, 0xBF, 0xBF}}, {0x4000000, {0xFC, 0x84, 0x80, 0x80, 0x80, 0x80}},
        {0x7FFFFFFF, {0xFD, 0xBF, 0xBF, 0xBF, 0xBF, 0xBF}},
        {0x80000000u, {}}, {0xFFFFFFFFu, {}}, // not encodable: nothing written
    };
    for (const auto &[v, out] : cases) {
        Bytes buf(8, 0xEE);
        const int n = cvt_char_UCS4_To_UTF8(v, buf.data());
        EXPECT_EQ(cvt_char_UCS4_To_UTF8(v, nullptr), n);
        EXPECT_EQ(Bytes(buf.begin(), buf.begin() + n), out) << std::hex << v;
        EXPECT_EQ(buf[n], 0xEE); // no terminator
    }
    // Property: every encodable value reads back from its encoding.
    for (unsigned long long v = 0; v < 0x80000000ull; v += v / 64 + 1) {
        unsigned char buf[8] = {};
        unsigned back = 0;
        const int n = cvt_char_UCS4_To_UTF8(static_cast<unsigned>(v), buf);
        ASSERT_EQ(cvt_char_UTF8_To_UCS4(buf, back), n);
        ASSERT_EQ(back, v);
    }
}

TEST(Utf16, SplitsTakesAndSwaps)
{
    const std::tuple<unsigned, unsigned short, unsigned short> cases[] = {
        {0x41, 0x41, 0}, {0xFFFF, 0xFFFF, 0}, {0x10000, 0xD800, 0xDC00}, {0x1F600, 0xD83D, 0xDE00},
        {0xEFFFF, 0xDB7F, 0xDFFF}, {0xF0000, 0, 0}, {0x10FFFF, 0, 0}, // the last two planes are left out
    };
    for (auto [v, hi, lo] : cases) {
        unsigned short out[2] = {0xEEEE, 0xEEEE};
        cvt_ucs4_utf16(v, out);
        EXPECT_EQ(out[0], hi) << std::hex << v;
        EXPECT_EQ(out[1], lo) << std::hex << v;
    }
    const unsigned short pair[] = {0xD83D, 0xDE00};
    unsigned v = 0;
    EXPECT_EQ(cvt_utf16_ucs4(pair, &v), pair + 1);
    EXPECT_EQ(v, 0xD83Du); // no pair is combined

    wchar_t units[] = {0x1234, 0x12345678, 0xFF, 0};
    cvt_ending_ws(units);
    EXPECT_EQ(std::wstring(units), (std::wstring{0x3412, 0x7856, 0xFF00}));
}

TEST(Utf8, ReadsText)
{
    const char *hello = "h\xC3\xA9llo"; // h é l l o
    wchar_t out[16];
    for (auto [limit, text] : {std::pair<int, std::wstring>{3, L"h\x00e9l"}, {10, L"h\x00e9llo"}, {0, L""}, {-1, L""}}) {
        std::fill(out, out + 16, L'#');
        EXPECT_EQ(cvt_ltou(hello, out, limit), static_cast<int>(text.size()));
        EXPECT_EQ(std::wstring(out), text); // terminated right after the count
    }
    EXPECT_EQ(cvt_ltou("ab\x80" "cd", out, 10), 2);
    // A byte bound stops after the character that crosses it.
    EXPECT_EQ(cvt_ltou2(hello, 2, out, 10), 2);
    EXPECT_EQ(std::wstring(out), L"h\x00e9");
    EXPECT_EQ(cvt_ltou2(hello, 0, out, 10), 0);
    EXPECT_EQ(cvt_ltou2(hello, -1, out, 10), 5);
    EXPECT_EQ(cvt_ltou_inner("it\x90s", out, 10), 4);
    EXPECT_EQ(std::wstring(out), L"it\x2019s");
    EXPECT_EQ(cvt_ltou("it\x90s", out, 10), 2);
}

TEST(Utf8, WritesText)
{
    const wchar_t mixed[] = {L'a', 0xE9, 0x20AC, 0}, euros[] = {0x20AC, 0x20AC, 0};
    const wchar_t bad[] = {L'a', static_cast<wchar_t>(0x80000000u), L'b', 0};
    // The limit is looked at after each character, so 2 is passed by a euro.
    const std::tuple<const wchar_t *, int, int, std::string> cases[] = {
        {mixed, -1, 100, "a\xC3\xA9\xE2\x82\xAC"}, {mixed, -1, 1, "a"}, {euros, -1, 2, "\xE2\x82\xAC"},
        {L"", -1, 10, ""}, {bad, -1, 10, "a"}, // an unencodable unit ends the text
        {mixed, 2, 100, "a\xC3\xA9"}, {mixed, 0, 100, ""},
    };
    for (const auto &[src, count, limit, text] : cases) {
        char out[32];
        std::fill(out, out + 32, '#');
        EXPECT_EQ(count < 0 ? cvt_utol(src, out, limit) : cvt_utol2(src, count, out, limit), static_cast<int>(text.size()));
        EXPECT_EQ(std::string(out), text);
    }
}

TEST(Escapes, XmlAndUrl)
{
    const wchar_t bad[] = {L'a', static_cast<wchar_t>(0x80000000u), L'b', 0};
    const std::tuple<const wchar_t *, int, std::string, std::string> cases[] = {
        {L"<>&\"'\r\n", 100, "&lt;&gt;&amp;&quot;&apos;&#x000D;&#x000A;", "<>%26\"'\r\n"},
        {L" +/?%#=", 100, " +/?%#=", "%20%2B%2F%3F%25%23%3D"},
        {L"a\x00fc", 100, "a\xC3\xBC", "a\xC3\xBC"},
        // The count is checked after each entry, so the last one may pass it.
        {L" <", 2, " &lt;", "%20"}, {L"& &", 1, "&amp;", "%26"}, {L"abc", 2, "ab", "ab"},
        {L"abc", 0, "", ""}, {L"", 10, "", ""},
        {bad, 10, "ab", "ab"}, // unencodable units are skipped, not a stop
    };
    for (const auto &[src, limit, xml, url] : cases) {
        char out[128];
        std::fill(out, out + 128, '#');
        EXPECT_EQ(cvt_utoxml(src, out, limit), static_cast<int>(xml.size()));
        EXPECT_EQ(std::string(out), xml);
        std::fill(out, out + 128, '#');
        EXPECT_EQ(cvt_utourl(src, out, limit), static_cast<int>(url.size()));
        EXPECT_EQ(std::string(out), url);
    }
}

} // namespace
