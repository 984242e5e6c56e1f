// UTF-8, UTF-16 and escaping conversions against hand-encoded byte tables.
#include "base/LHConvert.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using Bytes = std::vector<unsigned char>;

TEST(Utf8, OneCharacter)
{
    // Hand-encoded forms of every length, written without a terminator and
    // read back; surrogates and values past U+10FFFF pass both ways.
    const std::pair<unsigned, Bytes> forms[] = {
        {0x41, {0x41}}, {0x80, {0xC2, 0x80}}, {0x7FF, {0xDF, 0xBF}}, {0x800, {0xE0, 0xA0, 0x80}},
        {0xD800, {0xED, 0xA0, 0x80}}, {0xFFFF, {0xEF, 0xBF, 0xBF}}, {0x1F600, {0xF0, 0x9F, 0x98, 0x80}},
        {0x110000, {0xF4, 0x90, 0x80, 0x80}}, {0x1FFFFF, {0xF7, 0xBF, 0xBF, 0xBF}}, {0x200000, {0xF8, 0x88, 0x80, 0x80, 0x80}},
        {0x3FFFFFF, {0xFB, 0xBF, 0xBF, 0xBF, 0xBF}}, {0x4000000, {0xFC, 0x84, 0x80, 0x80, 0x80, 0x80}}, {0x7FFFFFFF, {0xFD, 0xBF, 0xBF, 0xBF, 0xBF, 0xBF}},
    };
    for (const auto &[v, out] : forms) {
        Bytes buf(8, 0xEE);
        const int n = cvt_char_UCS4_To_UTF8(v, buf.data());
        EXPECT_EQ(cvt_char_UCS4_To_UTF8(v, nullptr), n);
        EXPECT_EQ(Bytes(buf.begin(), buf.begin() + n), out) << std::hex << v;
        EXPECT_EQ(buf[n], 0xEE);
        buf[n] = 0;
        unsigned back = 0;
        EXPECT_EQ(cvt_char_UTF8_To_UCS4(buf.data(), back), n) << std::hex << v;
        EXPECT_EQ(back, v);
    }
    EXPECT_EQ(cvt_char_UCS4_To_UTF8(0x80000000u, nullptr), 0); // not encodable
    // Other input (terminated), inner reader or not, bytes used, value: the
    // overlong form is accepted; only the inner reader takes 0x90 's' as U+2019.
    const std::tuple<Bytes, bool, int, unsigned> reads[] = {
        {{0xC0, 0x80, 0}, false, 2, 0}, {{0x80, 0}, false, 0, 0}, {{0xBF, 0}, false, 0, 0}, {{0xFE, 0}, false, 0, 0},
        {{0xFF, 0}, false, 0, 0}, {{0xE4, 0x80, 'a', 0}, false, 0, 0}, {{0xC3, 0}, false, 0, 0},
        {{0x90, 's', 0}, false, 0, 0}, {{0x90, 's', 0}, true, 1, 0x2019}, {{0x90, 'x', 0}, true, 0, 0},
        {{0x90, 0}, true, 0, 0}, {{0xC3, 0xA9, 0}, true, 2, 0xE9},
    };
    for (const auto &[in, inner, used, value] : reads) {
        unsigned v = 0xDEAD;
        EXPECT_EQ((inner ? cvt_char_UTF8_To_UCS4_inner : cvt_char_UTF8_To_UCS4)(in.data(), v), used) << std::hex << int(in[0]);
        EXPECT_EQ(used ? v : 0, value) << std::hex << int(in[0]);
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
        EXPECT_EQ(std::make_pair(out[0], out[1]), std::make_pair(hi, lo)) << std::hex << v;
    }
    const unsigned short pair[] = {0xD83D, 0xDE00};
    unsigned v = 0;
    EXPECT_TRUE(cvt_utf16_ucs4(pair, &v) == pair + 1 && v == 0xD83Du); // no pair is combined
    wchar_t units[] = {0x1234, 0x12345678, 0xFF, 0};
    cvt_ending_ws(units);
    EXPECT_EQ(std::wstring(units), (std::wstring{0x3412, 0x7856, 0xFF00}));
}

// Runs a converter into a buffer of '#' and returns the text written,
// checking the count it returns against where the terminator landed.
template <typename In, typename Out>
static std::basic_string<Out> Converted(int (*convert)(const In *, Out *, int), const In *src, int limit)
{
    Out out[128];
    std::fill(out, out + 128, Out('#'));
    const int n = convert(src, out, limit);
    EXPECT_EQ(n, static_cast<int>(std::char_traits<Out>::length(out))) << limit;
    return out;
}

TEST(Utf8, ReadsText)
{
    using Reader = int (*)(const char *, wchar_t *, int);
    const char *hello = "h\xC3\xA9llo"; // h é l l o
    const std::tuple<Reader, const char *, int, std::wstring> cases[] = {
        {cvt_ltou, hello, 3, L"h\x00e9l"}, {cvt_ltou, hello, 10, L"h\x00e9llo"}, {cvt_ltou, hello, 0, L""},
        {cvt_ltou, hello, -1, L""}, {cvt_ltou, "ab\x80" "cd", 10, L"ab"}, {cvt_ltou, "it\x90s", 10, L"it"}, {cvt_ltou_inner, "it\x90s", 10, L"it\x2019s"},
        // A byte bound stops after the character that crosses it.
        {[](const char *s, wchar_t *o, int l) { return cvt_ltou2(s, 2, o, l); }, hello, 10, L"h\x00e9"},
        {[](const char *s, wchar_t *o, int l) { return cvt_ltou2(s, 0, o, l); }, hello, 10, L""},
        {[](const char *s, wchar_t *o, int l) { return cvt_ltou2(s, -1, o, l); }, hello, 10, L"h\x00e9llo"},
    };
    for (const auto &[reader, src, limit, text] : cases)
        EXPECT_EQ(Converted(reader, src, limit), text) << src;
}

TEST(Utf8, WritesAndEscapesText)
{
    const wchar_t bad[] = {L'a', static_cast<wchar_t>(0x80000000u), L'b', 0};
    // source, limit, cvt_utol, cvt_utoxml, cvt_utourl; a limit is looked at
    // after each character or entry, so the last one may pass it. An
    // unencodable unit ends plain text but is skipped by the escapers.
    const std::tuple<const wchar_t *, int, std::string, std::string, std::string> cases[] = {
        {L"a\x00e9\x20ac", 100, "a\xC3\xA9\xE2\x82\xAC", "a\xC3\xA9\xE2\x82\xAC", "a\xC3\xA9\xE2\x82\xAC"},
        {L"<>&\"'\r\n", 100, "<>&\"'\r\n", "&lt;&gt;&amp;&quot;&apos;&#x000D;&#x000A;", "<>%26\"'\r\n"},
        {L" +/?%#=", 100, " +/?%#=", " +/?%#=", "%20%2B%2F%3F%25%23%3D"},
        {L"\x20ac\x20ac", 2, "\xE2\x82\xAC", "\xE2\x82\xAC", "\xE2\x82\xAC"}, {L" <", 2, " <", " &lt;", "%20"},
        {L"& &", 1, "&", "&amp;", "%26"}, {L"abc", 2, "ab", "ab", "ab"}, {L"abc", 0, "a", "", ""}, {L"", 10, "", "", ""},
        {bad, 10, "a", "ab", "ab"},
    };
    for (const auto &[src, limit, plain, xml, url] : cases)
        EXPECT_EQ(std::make_tuple(Converted(cvt_utol, src, limit), Converted(cvt_utoxml, src, limit),
                                  Converted(cvt_utourl, src, limit)), std::make_tuple(plain, xml, url)) << limit;
    // cvt_utol2 stops after its count of characters.
    EXPECT_EQ(Converted(+[](const wchar_t *s, char *o, int l) { return cvt_utol2(s, 2, o, l); }, L"a\x00e9\x20ac", 100), "a\xC3\xA9");
    EXPECT_EQ(Converted(+[](const wchar_t *s, char *o, int l) { return cvt_utol2(s, 0, o, l); }, L"abc", 100), "");
}
