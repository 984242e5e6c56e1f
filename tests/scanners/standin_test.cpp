// The stand-in scanners: frames that look like a finger, the bitmap file of
// the same finger, and the quality of a bitmap that carries no scripted score.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "ridges.h"

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

// Header and grey palette by the file format, rows bottom-up, valleys white
// and ridges keeping their grey.
TEST(Frames, BitmapFileOfTheSameFinger)
{
    const int w = 40, h = 30;
    const std::vector<uint8_t> raw = standin::renderFrame(w, h, 2);
    const std::vector<uint8_t> bmp = standin::renderBitmapFile(w, h, 2);
    ASSERT_EQ(bmp.size(), size_t(w * h + 1078));
    auto u32 = [&](size_t at) { return unsigned(bmp[at] | bmp[at + 1] << 8 | bmp[at + 2] << 16 | bmp[at + 3] << 24); };
    EXPECT_EQ(bmp[0] * 256 + bmp[1], 'B' * 256 + 'M');
    const std::vector<unsigned> fields{u32(2), u32(10), u32(18), u32(22), bmp[28], u32(54 + 4 * 200)};
    EXPECT_EQ(fields, (std::vector<unsigned>{w * h + 1078, 1078, w, h, 8, 0x00C8C8C8}));
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const uint8_t v = raw[size_t(y) * w + x], b = bmp[1078 + size_t(h - 1 - y) * w + x];
            ASSERT_EQ(b, v >= 130 ? 255 : v) << x << "," << y;
        }
}

// Without a stamp the score is the share of ridge pixels, full at one half.
TEST(Quality, UnstampedBitmapScoredByRidges)
{
    void *lib = dlopen(SP_SCANNER_DIR "/ID_Fpr.so", RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(lib, nullptr) << dlerror();
    auto score = reinterpret_cast<int (*)(unsigned char *, unsigned char *)>(dlsym(lib, "FP_GetQualityScore"));
    std::vector<unsigned char> bmp = standin::renderBitmapFile(10, 10, 0);
    struct Case {
        int ridgePixels;
        int result;
        unsigned char score;  // 255 * min(1, 2 * share), truncated
    } cases[] = {{0, 1, 0}, {10, 1, 51}, {50, 1, 255}, {100, 1, 255}};
    for (const Case &c : cases) {
        for (int i = 0; i < 100; ++i)
            bmp[1078 + i] = i < c.ridgePixels ? 40 : 255;
        unsigned char s = 7;
        EXPECT_EQ(score(bmp.data(), &s), c.result);
        EXPECT_EQ(s, c.score) << c.ridgePixels;
    }
    bmp[0] = 'X';
    EXPECT_EQ(score(bmp.data(), nullptr), 0);
    dlclose(lib);
}

// Devices are numbered 0 to the count less one; the one past them refuses.
TEST(AraTrust, OpensOnlyTheDevicesItCounts)
{
    void *lib = dlopen(SP_SCANNER_DIR "/libAraTrustFinger.so", RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(lib, nullptr) << dlerror();
    auto init = reinterpret_cast<int (*)()>(dlsym(lib, "ARAFPSCAN_GlobalInit"));
    auto count = reinterpret_cast<int (*)(int *)>(dlsym(lib, "ARAFPSCAN_GetDeviceCount"));
    auto open = reinterpret_cast<int (*)(void **, int)>(dlsym(lib, "ARAFPSCAN_OpenDevice"));
    unsetenv("SP_SCANNER");  // the default: one device
    ASSERT_EQ(init(), 0);
    int n = 0;
    ASSERT_EQ(count(&n), 0);
    void *handle = nullptr;
    EXPECT_EQ(open(&handle, n), -1);
    EXPECT_EQ(open(&handle, n - 1), 0);
    dlclose(lib);
}
