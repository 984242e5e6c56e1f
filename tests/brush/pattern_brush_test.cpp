// The pattern stamp, by hand: a 4 x 4 pattern at size 4 scales by exactly 1,
// so the master is the pattern; bytes 255, 200, 1, 0 along every row.
#include <gtest/gtest.h>

#include "bitmap/LHBmp.h"
#include "brush/PXPatternBrush.h"
#include "brush/PXTipFunction.h"

namespace {

struct Stamp {
    PXSurface s{16, 16};
    PXPatternBrush b{&s, new PXDullAntiAliasingTipFunction()};
    explicit Stamp(unsigned char alpha) {
        b.size = 4.0f;
        b.SetColor(10, 20, 30, alpha);
        static const unsigned char row[4] = {255, 200, 1, 0};
        CLHBmp8* p = new CLHBmp8(4, 4, 4);
        for (int i = 0; i < 16; ++i)
            p->bits[i] = row[i & 3];
        b.SetPattern(p);
    }
    int A(int x, int y) const { return s.pixels[y * 16 + x].a; }
    int Inked() const {
        int n = 0;
        for (int i = 0; i < 256; ++i)
            n += s.pixels[i].a != 0;
        return n;
    }
};

// level = trunc(color.a * pressure / 255 * 128), byte m stamps (m * level) >> 7,
// level 0 nothing. The stamp's corner is trunc(x - 2), trunc(y - 2), the part
// off the surface cut; at (8, 8) column 6 holds byte 255, column 7 byte 200.
TEST(PatternBrush, LevelsAndEdges) {
    struct { unsigned char alpha; float pressure, x, y; int level, a255, a200, inked; } cases[] = {
        {255, 1.0f, 8, 8, 128, 255, 200, 12},  // the master itself; byte 1 stays 1
        {255, 0.5f, 8, 8, 64, 127, 100, 8},    // byte 1 falls to 0
        {128, 1.0f, 8, 8, 64, 127, 100, 8},    // 64.25
        {0, 1.0f, 8, 8, 0, 0, 0, 0},
        {255, 0.005f, 8, 8, 0, 0, 0, 0},       // 0.64
        {255, 1.0f, 1, 1, 128, 0, 0, 6},       // from -1: bytes 200, 1 on 3 rows
        {255, 1.0f, 0.5f, 8, 128, 0, 0, 8},    // trunc(-1.5) = -1
        {255, 1.0f, 15, 15, 128, 0, 0, 9},     // from 13: bytes 255, 200, 1
        {255, 1.0f, -10, 8, 128, 0, 0, 0},
    };
    for (auto& c : cases) {
        Stamp t(c.alpha);
        EXPECT_EQ(t.b.ApplyDab(c.x, c.y, c.pressure), 4.0f);  // size, in every case
        EXPECT_TRUE(t.A(6, 7) == c.a255 && t.A(7, 7) == c.a200) << c.level << " " << c.x;
        EXPECT_EQ(t.Inked(), c.inked) << c.level << " " << c.x;
        EXPECT_EQ(t.b.new_pixels, c.inked);
        for (int n = 1; n <= 128; ++n)  // levels made on first use only
            EXPECT_EQ(t.b.pattern_levels[n - 1] != nullptr, n == c.level || (c.level && n == 128)) << n;
    }
}

// On ink a byte counts a quarter, n = m >> 2: A + n - (A * (n + 1)) >> 8, at
// most color.a; the colour stays.
TEST(PatternBrush, OverlapAddsAQuarter) {
    Stamp t(255);
    t.b.ApplyDab(8.0f, 8.0f, 1.0f);
    t.b.ApplyDab(8.0f, 8.0f, 1.0f);
    EXPECT_TRUE(t.A(6, 6) == 255 && t.A(7, 6) == 211 && t.A(8, 6) == 1);  // n 63, 50 (250 - 39), 0
    EXPECT_EQ(t.b.new_pixels, 12);
    Stamp u(100);  // level 50: byte 255 gives 99, n = 24; on 99: 114, capped
    u.s.pixels[6 * 16 + 6] = PXPixel(1, 1, 1, 99);
    u.b.ApplyDab(8.0f, 8.0f, 1.0f);
    EXPECT_TRUE(u.A(6, 6) == 100 && u.s.pixels[6 * 16 + 6].b == 1 && u.A(6, 7) == 99);
}

// A new size drops every level; the next dab scales an 8 x 8 master, stamped
// from (4, 4), its left column byte 255 (the source's first column alone).
TEST(PatternBrush, NewSizeRebuildsMaster) {
    Stamp t(255);
    t.b.ApplyDab(8.0f, 8.0f, 0.5f);
    t.b.SetSize(0.0f);  // ignored
    EXPECT_NE(t.b.pattern_levels[63], nullptr);
    t.b.SetSize(8.0f);
    for (CLHBmp8* level : t.b.pattern_levels)
        EXPECT_EQ(level, nullptr);
    t.s.Fill(PXPixel(0, 0, 0, 0));
    EXPECT_EQ(t.b.ApplyDab(8.0f, 8.0f, 1.0f), 8.0f);
    ASSERT_NE(t.b.pattern_levels[127], nullptr);
    EXPECT_TRUE(t.b.pattern_levels[127]->width == 8 && t.b.pattern_levels[127]->height == 8);
    EXPECT_TRUE(t.A(4, 4) == 255 && t.A(4, 11) == 255 && t.A(3, 4) == 0 && t.A(4, 12) == 0);
}

}  // namespace
