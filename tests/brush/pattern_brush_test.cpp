// The pattern stamp: levels from color.a and pressure, the master scaled to
// the size, the cut at the edges and the quarter strength on ink. Expected
// values by hand: a pattern of the brush's own size scales by exactly 1.
#include <gtest/gtest.h>

#include "bitmap/LHBmp.h"
#include "brush/PXPatternBrush.h"
#include "brush/PXTipFunction.h"

namespace {

// 4 x 4 pattern: bytes 255, 200, 1, 0 repeated along each row.
CLHBmp8* Pattern4() {
    CLHBmp8* p = new CLHBmp8(4, 4, 4);
    const unsigned char v[4] = {255, 200, 1, 0};
    for (int i = 0; i < 16; ++i)
        p->bits[i] = v[i & 3];
    return p;
}

struct Stamp {
    PXSurface s{16, 16};
    PXPatternBrush b{&s, new PXDullAntiAliasingTipFunction()};
    explicit Stamp(unsigned char alpha) {
        b.size = 4.0f;
        b.SetColor(10, 20, 30, alpha);
        b.SetPattern(Pattern4());
    }
    const PXPixel& At(int x, int y) const { return s.pixels[y * 16 + x]; }
    int Inked() const {
        int n = 0;
        for (int i = 0; i < 256; ++i)
            n += s.pixels[i].a != 0;
        return n;
    }
};

// level = trunc(color.a * pressure / 255 * 128); a stamp byte m becomes
// (m * level) >> 7, and a level below 1 stamps nothing. Stamp at (8, 8):
// columns and rows 6..9, so column 6 holds byte 255, column 7 byte 200.
TEST(PatternBrush, LevelsFromAlphaAndPressure) {
    struct { unsigned char alpha; float pressure; int level, a255, a200, inked; } cases[] = {
        {255, 1.0f, 128, 255, 200, 12},  // the master itself; byte 1 stays 1
        {255, 0.5f, 64, 127, 100, 8},    // byte 1 falls to 0
        {128, 1.0f, 64, 127, 100, 8},    // 128 / 255 * 128 = 64.25
        {0, 1.0f, 0, 0, 0, 0},
        {255, 0.005f, 0, 0, 0, 0},       // 0.64
    };
    for (auto& c : cases) {
        Stamp t(c.alpha);
        EXPECT_EQ(t.b.ApplyDab(8.0f, 8.0f, c.pressure), 4.0f);
        EXPECT_EQ(t.At(6, 7).a, c.a255) << c.level;
        EXPECT_EQ(t.At(7, 7).a, c.a200) << c.level;
        EXPECT_EQ(t.Inked(), c.inked) << c.level;
        EXPECT_EQ(t.b.new_pixels, c.inked);
        if (c.inked) {
            EXPECT_TRUE(t.At(6, 6).b == 10 && t.At(6, 6).g == 20 && t.At(6, 6).r == 30);
        }
        for (int n = 1; n <= 128; ++n)  // made on first use only
            EXPECT_EQ(t.b.pattern_levels[n - 1] != nullptr, n == c.level || (c.level && n == 128)) << n;
    }
    Stamp t(255);
    t.b.ApplyDab(8.0f, 8.0f, 1.0f);
    EXPECT_EQ(t.b.pattern_levels[127]->bits[1], 200);  // factor 1: the master is the pattern
}

// Left and top are trunc(x - 2), trunc(y - 2); what falls off the surface is
// cut. Three pattern columns of four carry ink.
TEST(PatternBrush, EdgesCut) {
    struct { float x, y; int inked; } cases[] = {
        {8.0f, 8.0f, 12}, {1.0f, 1.0f, 6},    // from -1: columns 0..2 hold bytes 200, 1, 0
        {15.0f, 15.0f, 9}, {0.5f, 8.0f, 8},   // from 13: bytes 255, 200, 1; trunc(-1.5) = -1
        {-10.0f, 8.0f, 0}, {8.0f, 40.0f, 0},
    };
    for (auto& c : cases) {
        Stamp t(255);
        EXPECT_EQ(t.b.ApplyDab(c.x, c.y, 1.0f), 4.0f);
        EXPECT_EQ(t.Inked(), c.inked) << c.x << "," << c.y;
    }
}

// On ink a byte counts a quarter: n = m >> 2, A' = A + n - (A * (n + 1)) >> 8,
// capped at color.a. The same stamp twice at (8, 8):
TEST(PatternBrush, OverlapAddsAQuarter) {
    Stamp t(255);
    t.b.ApplyDab(8.0f, 8.0f, 1.0f);
    t.b.ApplyDab(8.0f, 8.0f, 1.0f);
    EXPECT_EQ(t.At(6, 6).a, 255);  // n = 63: 255 + 63 - 63
    EXPECT_EQ(t.At(7, 6).a, 211);  // n = 50: 200 + 50 - 39
    EXPECT_EQ(t.At(8, 6).a, 1);    // n = 0
    EXPECT_EQ(t.b.new_pixels, 12);
    // color.a 100: level 50, byte 255 gives (255 * 50) >> 7 = 99, n = 24; on
    // alpha 99 that is 99 + 24 - 9 = 114, capped at 100; the colour stays.
    Stamp u(100);
    u.s.pixels[6 * 16 + 6] = PXPixel(1, 1, 1, 99);
    u.b.ApplyDab(8.0f, 8.0f, 1.0f);
    EXPECT_EQ(u.At(6, 6).a, 100);
    EXPECT_EQ(u.At(6, 6).b, 1);
    EXPECT_EQ(u.At(6, 7).a, 99);
}

// A new size drops the cache and the next dab scales the master again: size
// 8 gives an 8 x 8 master, stamped from (4, 4); its left column is byte 255
// (the average of the source's first column alone), and twice as many columns
// carry ink as before, whatever the area average makes of the rest.
TEST(PatternBrush, NewSizeRebuildsMaster) {
    Stamp t(255);
    t.b.ApplyDab(8.0f, 8.0f, 0.5f);
    t.b.SetSize(0.0f);  // ignored, caches stay
    EXPECT_NE(t.b.pattern_levels[63], nullptr);
    t.b.SetSize(8.0f);
    for (CLHBmp8* level : t.b.pattern_levels)
        EXPECT_EQ(level, nullptr);
    t.s.Fill(PXPixel(0, 0, 0, 0));
    EXPECT_EQ(t.b.ApplyDab(8.0f, 8.0f, 1.0f), 8.0f);
    ASSERT_NE(t.b.pattern_levels[127], nullptr);
    EXPECT_EQ(t.b.pattern_levels[127]->width, 8);
    EXPECT_EQ(t.b.pattern_levels[127]->height, 8);
    EXPECT_EQ(t.At(4, 4).a, 255);
    EXPECT_EQ(t.At(11, 11).a, 0);
    int inked = 0;
    for (int y = 0; y < 16; ++y)
        for (int x = 0; x < 16; ++x)
            if (t.At(x, y).a) {
                ++inked;
                EXPECT_TRUE(x >= 4 && x < 12 && y >= 4 && y < 12) << x << "," << y;
            }
    EXPECT_GE(inked, 24);
}

}  // namespace
