// Ink pens and correction tools on their own properties. Expected alphas are
// worked by hand from the dab rules (noted per table); the rest are
// properties: equal pictures, maxima, counts.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "brush/PXInkPens.h"
#include "brush/PXTipFunction.h"
#include "brush_test.h"

namespace {

struct Px {
    int x, y, a;
};

using brushtest::Alpha;
using brushtest::Inked;

template <class B>
std::unique_ptr<B> Make(PXSurface* s, float size, PXTipFunction* tip = new PXFlatTipFunction()) {
    auto b = std::make_unique<B>(s, tip);
    brushtest::Preset(*b, size, 0.0f, 1.0f, 0.0f);
    return b;
}

TEST(FeltPen, TipFollowsSizeAgainstThreshold) {
    PXSurface s(8, 8);
    PXFeltPen pen(&s, new PXDullAntiAliasingTipFunction());
    pen.tip_large = new PXDullTipFunction();
    pen.size = 24.0f;  // the preset: stored without the tip choice
    struct Row { float size; float kept; bool large; } rows[] = {
        {20.0001f, 20.0001f, true}, {20.0f, 20.0f, false}, {0.0f, 20.0f, false},
        {-3.0f, 20.0f, false}, {64.0f, 64.0f, true}, {1.0f, 1.0f, false},
    };
    EXPECT_EQ(pen.tip, pen.tip_small);
    for (const Row& r : rows) {
        pen.SetSize(r.size);
        EXPECT_EQ(pen.size, r.kept) << r.size;
        EXPECT_EQ(pen.tip, r.large ? pen.tip_large : pen.tip_small) << r.size;
    }
}

// Chisel nib, size 4 (r = 2, flat tip), box by truncation. Walk worked by hand:
// two pixels a row, one column left each row, weight at (c - x)^2 + (row - y)^2.
TEST(ReFountainPen, OneDabWalksTheDiagonal) {
    struct Case { float x, y; std::vector<Px> ink; } cases[] = {
        // box 7..13; (12,8) d=8 -> (3-sqrt 8)/2*255 = 21, (11,8) d=5 -> 97, d<=4 -> 255
        {10.0f, 10.0f, {{12, 8, 21}, {11, 8, 97}, {11, 9, 255}, {10, 9, 255}, {10, 10, 255},
                        {9, 10, 255}, {9, 11, 255}, {8, 11, 97}, {8, 12, 21}}},
        // right clamps to 20 and the walk starts on that (exclusive) column: its
        // address is row 1, column 0. (18,2): d=4.61 -> 108.
        {19.9f, 1.0f, {{0, 1, 255}, {19, 0, 255}, {19, 1, 255}, {18, 1, 255}, {18, 2, 108}}},
    };
    for (const Case& c : cases) {
        PXSurface s(20, 20);
        auto pen = Make<PXReFountainPen>(&s, 4.0f);
        EXPECT_EQ(pen->ApplyDab(c.x, c.y, 0.7f), 2.0f);
        for (const Px& p : c.ink)
            EXPECT_EQ(Alpha(s, p.x, p.y), p.a) << c.x << " at " << p.x << "," << p.y;
        EXPECT_EQ(Inked(s), (int)c.ink.size()) << c.x;
        EXPECT_EQ(pen->new_pixels, (int)c.ink.size());
    }
}

// Marker: at r >= 2 the tip-weighted disc whose overlap keeps the maximum;
// below 2 the hard four-sample dab (only 0 or 255).
TEST(NewMarkPen, OverlapTakesMaximumAndSmallDabIsHard) {
    PXSurface a(32, 32), b(32, 32), both(32, 32);
    auto pa = Make<PXNewMarkPen>(&a, 8.0f), pb = Make<PXNewMarkPen>(&b, 8.0f), pboth = Make<PXNewMarkPen>(&both, 8.0f);
    pa->ApplyDab(12.3f, 14.0f, 0.2f);
    pb->ApplyDab(16.0f, 15.6f, 0.9f);
    pboth->ApplyDab(12.3f, 14.0f, 0.2f);
    pboth->ApplyDab(16.0f, 15.6f, 0.9f);
    int shared = 0;
    for (int i = 0; i < 32 * 32; ++i) {
        EXPECT_EQ(both.pixels[i].a, std::max(a.pixels[i].a, b.pixels[i].a)) << i;
        shared += a.pixels[i].a && b.pixels[i].a;
    }
    EXPECT_GT(shared, 10);

    // Dab at (10.5, 10.0), flat tip. size 4: r = 2.0 is the weighted path;
    // size 3.9: r = 1.95 the four-sample path.
    struct Row { float size; int x, y, a; } rows[] = {
        // d = 2^2 + 0.5^2 = 4.25: (3 - 2.0615528) / 2 * 255 = 119.65
        {4.0f, 12, 10, 119},
        // samples d = 3.125, 3.625 (weight 1), 5.125, 5.625 (0.343, 0.289):
        // 2.632 * 255 / 4 = 167.8 > 127.5, so the pixel is solid
        {3.9f, 12, 10, 255},
        // samples d = 7.625, 8.125 (0.094, 0.050), the rest 0: 9.2, skipped
        {3.9f, 13, 10, 0},
    };
    for (const Row& r : rows) {
        PXSurface s(24, 24);
        auto pen = Make<PXNewMarkPen>(&s, r.size);
        pen->ApplyDab(10.5f, 10.0f, 0.0f);
        EXPECT_EQ(Alpha(s, r.x, r.y), r.a) << r.size << " " << r.x;
    }
}

// Correction dab: the whole box (floor(x - r) - 1 .. ceil(x + r) + 1) turns
// opaque white, corners included; blend_out then shifts the display alpha.
TEST(CorrectPen, SquareDabAndAlphaClearingBlend) {
    PXSurface stroke(24, 24);
    auto pen = Make<PXCorrectPen>(&stroke, 8.0f);
    EXPECT_EQ(pen->ApplyDab(10.0f, 10.0f, 1.0f), 4.0f);
    for (int y = 0; y < 24; ++y)
        for (int x = 0; x < 24; ++x) {
            const bool in = x >= 5 && x < 15 && y >= 5 && y < 15;
            const PXPixel p = stroke.pixels[y * 24 + x];
            EXPECT_EQ(p.a == 255 && p.r == 255 && p.g == 255 && p.b == 255, in) << x << "," << y;
        }
    EXPECT_EQ(pen->new_pixels, 100);

    // target alpha := source alpha >> (stroke alpha & 31); colour bytes stay.
    PXSurface source(24, 24), display(24, 24);
    display.ResetScanColor((int)0x80336699);
    struct Row { int x, y, m, s, after; } rows[] = {
        {6, 6, 255, 255, 0},       // the eraser case: 255 >> 31
        {20, 20, 33, 33, 16},      // 33 & 31 = 1
        {21, 20, 0, 200, 0x80},    // no stroke here: untouched
        {22, 20, 40, 0, 0x80},     // nothing in the source: untouched
    };
    for (const Row& r : rows) {
        stroke.pixels[r.y * 24 + r.x].a = (uint8_t)r.m;
        source.pixels[r.y * 24 + r.x].a = (uint8_t)r.s;
    }
    pen->dirty = PXRectangle{-3, -3, 40, 40};
    pen->blend_out(&display, &source);
    for (const Row& r : rows) {
        const PXPixel p = display.pixels[r.y * 24 + r.x];
        EXPECT_TRUE(p.a == r.after && p.r == 0x33 && p.g == 0x66 && p.b == 0x99) << r.x << ": " << (int)p.a;
    }
}

}  // namespace
