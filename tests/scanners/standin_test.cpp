// The stand-in scanners: their script, the frames they draw, and the results
// of their entry points as the tool expects them.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <string>
#include <vector>

#include "ridges.h"
#include "script.h"

using standin::parseScript;

TEST(Script, ParsesEveryKeyAndIgnoresBadValues)
{
    const standin::Script d = parseScript("");
    EXPECT_EQ(d.quality, (std::vector<int>{70, 75, 80, 85}));
    EXPECT_EQ(d.channels, 1);
    EXPECT_EQ(d.delayMs, 100);

    const standin::Script s = parseScript("quality=61,x,300,70;fail=A,B;channels=0;size=32x288;delay=0;journal=/j");
    EXPECT_EQ(s.quality, (std::vector<int>{61, -1, 70}));  // 300 is no score
    EXPECT_EQ(s.qualityOf(1), -1);
    EXPECT_EQ(s.qualityOf(9), 70);  // the last one stands for the rest
    EXPECT_TRUE(s.fails("A") && s.fails("B") && !s.fails("C"));
    EXPECT_EQ(s.channels, 0);
    EXPECT_EQ(s.width * 1000 + s.height, 32288);
    EXPECT_EQ(s.delayMs, 0);
    EXPECT_EQ(s.journal, "/j");

    const standin::Script bad = parseScript("quality=abc;size=0x9;delay=-4;channels=two;nonsense");
    EXPECT_EQ(bad.quality, d.quality);
    EXPECT_EQ(bad.width + bad.height, 0);
    EXPECT_EQ(bad.delayMs, 100);
    EXPECT_EQ(bad.channels, 1);
}

// Properties a fingerprint has and noise has not: white around the finger,
// neighbours mostly on the same side of the ridge/valley divide, and ridges
// about 8.5 pixels apart where they run across the finger above the core.
TEST(Frames, LookLikeAFinger)
{
    for (const auto &size : {std::make_pair(256, 360), std::make_pair(256, 288), std::make_pair(96, 120)}) {
        const int w = size.first, h = size.second;
        SCOPED_TRACE(std::to_string(w) + "x" + std::to_string(h));
        const std::vector<uint8_t> f = standin::renderFrame(w, h, 0);
        auto at = [&](int x, int y) { return f[size_t(y) * w + x]; };
        EXPECT_EQ(at(0, 0), 255);
        EXPECT_EQ(at(w - 1, h - 1), 255);
        EXPECT_NE(at(w / 2, h / 2), 255);

        int pairs = 0, same = 0;
        for (int y = 0; y < h; ++y)
            for (int x = 0; x + 1 < w; ++x)
                if (at(x, y) != 255 && at(x + 1, y) != 255) {
                    ++pairs;
                    same += (at(x, y) < 130) == (at(x + 1, y) < 130);
                }
        EXPECT_GT(pairs, w * h / 3);
        EXPECT_GT(same, pairs * 3 / 4);

        int crossings = 0;
        const int top = h / 8, bottom = h / 4;
        for (int y = top; y < bottom; ++y)
            crossings += (at(w / 2, y) < 130) != (at(w / 2, y + 1) < 130);
        const double period = 2.0 * (bottom - top) / crossings;
        EXPECT_GT(period, 6.0);
        EXPECT_LT(period, 12.0);
    }
    EXPECT_EQ(standin::renderFrame(64, 64, 3), standin::renderFrame(64, 64, 3));
    EXPECT_NE(standin::renderFrame(64, 64, 0), standin::renderFrame(64, 64, 1));
}

// The bitmap file: header and grey palette by the file format, rows
// bottom-up, valleys white and ridges keeping their grey.
TEST(Frames, BitmapFileOfTheSameFinger)
{
    const int w = 40, h = 30;
    const std::vector<uint8_t> raw = standin::renderFrame(w, h, 2);
    const std::vector<uint8_t> bmp = standin::renderBitmapFile(w, h, 2);
    ASSERT_EQ(bmp.size(), size_t(w * h + 1078));
    auto u32 = [&](size_t at) { return bmp[at] | bmp[at + 1] << 8 | bmp[at + 2] << 16 | bmp[at + 3] << 24; };
    EXPECT_EQ(std::string(bmp.begin(), bmp.begin() + 2), "BM");
    EXPECT_EQ(u32(2), unsigned(w * h + 1078));
    EXPECT_EQ(u32(10), 1078u);
    EXPECT_EQ(u32(18), unsigned(w));
    EXPECT_EQ(u32(22), unsigned(h));
    EXPECT_EQ(bmp[28], 8);
    EXPECT_EQ(u32(54 + 4 * 200), 0x00C8C8C8u);  // palette entry 200 is grey 200
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const uint8_t v = raw[size_t(y) * w + x], b = bmp[1078 + size_t(h - 1 - y) * w + x];
            ASSERT_EQ(b, v >= 130 ? 255 : v) << x << "," << y;
        }
}

namespace {

template <typename Fn>
Fn entry(void *lib, const char *name)
{
    return reinterpret_cast<Fn>(dlsym(lib, name));
}

void *open(const char *file)
{
    void *lib = dlopen((std::string(SP_SCANNER_DIR) + "/" + file).c_str(), RTLD_NOW | RTLD_LOCAL);
    EXPECT_NE(lib, nullptr) << dlerror();
    return lib;
}

} // namespace

// The bitmap scanner and the quality library: results of the tool's table
// (1 for success), the stamped scores, scripted failures.
TEST(Libraries, BitmapScannerAndQuality)
{
    void *cap = open("ID_FprCap.so");
    void *q = open("ID_Fpr.so");
    ASSERT_TRUE(cap && q);
    auto init = entry<int (*)()>(cap, "LIVESCAN_Init");
    auto count = entry<int (*)()>(cap, "LIVESCAN_GetChannelCount");
    auto size = entry<int (*)(int, int *, int *)>(cap, "LIVESCAN_GetMaxImageSize");
    auto begin = entry<int (*)(int)>(cap, "LIVESCAN_BeginCapture");
    auto frame = entry<int (*)(int, unsigned char *)>(cap, "LIVESCAN_GetFPBmpData_Red");
    auto score = entry<int (*)(unsigned char *, unsigned char *)>(q, "FP_GetQualityScore");

    setenv("SP_SCANNER", "delay=0;quality=61,x", 1);
    ASSERT_EQ(init(), 1);
    EXPECT_EQ(count(), 1);
    int w = 0, h = 0;
    EXPECT_EQ(size(1, &w, &h), 1);
    EXPECT_EQ(w * 1000 + h, 256360);
    std::vector<unsigned char> buf(size_t(w) * h + 1078);
    unsigned char s = 0;
    EXPECT_EQ(begin(1), 1);
    EXPECT_EQ(frame(1, buf.data()), 1);
    EXPECT_EQ(score(buf.data(), &s), 1);
    EXPECT_EQ(s, 61);
    EXPECT_EQ(frame(1, buf.data()), 1);
    EXPECT_EQ(score(buf.data(), &s), 0);  // "x"
    // Unstamped: every pixel a ridge scores full, all white scores 0.
    buf[6] = buf[7] = 0;
    std::fill(buf.begin() + 1078, buf.end(), 40);
    EXPECT_EQ(score(buf.data(), &s), 1);
    EXPECT_EQ(s, 255);
    std::fill(buf.begin() + 1078, buf.end(), 255);
    EXPECT_EQ(score(buf.data(), &s), 1);
    EXPECT_EQ(s, 0);

    setenv("SP_SCANNER", "channels=0;fail=LIVESCAN_GetMaxImageSize", 1);
    EXPECT_EQ(init(), 1);
    EXPECT_EQ(count(), 0);
    EXPECT_LT(size(0, &w, &h), 0);
    setenv("SP_SCANNER", "fail=LIVESCAN_Init", 1);
    EXPECT_NE(init(), 1);
    unsetenv("SP_SCANNER");
    dlclose(q);
    dlclose(cap);
}

// The raw scanner: 0 for success, the handle's value and address, the score
// of the last frame, scripted failures.
TEST(Libraries, RawScanner)
{
    void *ara = open("libAraTrustFinger.so");
    ASSERT_TRUE(ara);
    auto init = entry<int (*)()>(ara, "ARAFPSCAN_GlobalInit");
    auto count = entry<int (*)(int *)>(ara, "ARAFPSCAN_GetDeviceCount");
    auto open = entry<int (*)(void **, int)>(ara, "ARAFPSCAN_OpenDevice");
    auto close = entry<int (*)(void **)>(ara, "ARAFPSCAN_CloseDevice");
    auto info = entry<int (*)(void *, int *, int *, int *)>(ara, "ARAFPSCAN_GetImageInfo");
    auto capture = entry<int (*)(void *, int, unsigned char *)>(ara, "ARAFPSCAN_CaptureRawData");
    auto quality = entry<int (*)(int, int, unsigned char *, unsigned char *)>(ara, "ARAFPSCAN_ImgQuality");

    setenv("SP_SCANNER", "delay=0;size=32x288;quality=x,90", 1);
    ASSERT_EQ(init(), 0);
    int n = 0, w = 0, h = 0, dpi = 0;
    EXPECT_EQ(count(&n), 0);
    EXPECT_EQ(n, 1);
    void *handle = nullptr;
    EXPECT_EQ(open(&handle, 0), 0);
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(info(handle, &w, &h, &dpi), 0);
    EXPECT_EQ(w * 1000 + h, 32288);
    std::vector<unsigned char> buf(size_t(w) * h);
    unsigned char q = 0;
    EXPECT_EQ(capture(handle, 8, buf.data()), 0);
    EXPECT_EQ(buf, standin::renderFrame(w, h, 0));
    EXPECT_NE(quality(w, h, buf.data(), &q), 0);  // "x"
    EXPECT_EQ(capture(handle, 8, buf.data()), 0);
    EXPECT_EQ(quality(w, h, buf.data(), &q), 0);
    EXPECT_EQ(q, 90);
    EXPECT_NE(capture(&handle, 8, buf.data()), 0);  // the address is no handle
    close(&handle);
    EXPECT_NE(capture(handle, 8, buf.data()), 0);   // closed

    setenv("SP_SCANNER", "channels=0", 1);
    EXPECT_EQ(init(), 0);
    EXPECT_EQ(count(&n), 0);
    EXPECT_EQ(n, 0);
    EXPECT_NE(open(&handle, 0), 0);
    setenv("SP_SCANNER", "fail=ARAFPSCAN_GlobalInit", 1);
    EXPECT_NE(init(), 0);
    unsetenv("SP_SCANNER");
    dlclose(ara);
}
