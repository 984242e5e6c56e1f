// Blur and sharpen: the filter pass read back from the scratch image, and the
// lay-back onto empty and inked pixels, worked by hand from the kernels.
#include <gtest/gtest.h>

#include "brush/PXFilterBrushes.h"
#include "brush/PXTipFunction.h"

namespace {

struct Filter {
    PXSurface s;
    PXConvolutionBrush* b;
    Filter(int side, bool sharpen, PXTipFunction* tip, float size, float opacity) : s(side, side) {
        b = sharpen ? (PXConvolutionBrush*)new PXSharpenBrush(&s, tip) : new PXBlurBrush(&s, tip);
        b->size = size;
        b->min_size = 1.0f;
        b->opacity = opacity;
    }
    ~Filter() { delete b; }
};

// Every filtered pixel of an empty surface is zero: a black dab with the tip's
// alpha. Linear tip, radius 4 at (8, 8): pixel (8, 8) d = 0.5, (4 - 0.7071) / 4
// * 255 = 209.9; (10, 8) d = 6.5, 92.5; (12, 8) outside.
TEST(FilterBrush, EmptySurfaceGivesADarkSoftDab) {
    for (bool sharpen : {false, true}) {
        Filter f(16, sharpen, new PXLinearTipFunction(), 8.0f, 1.0f);
        EXPECT_FLOAT_EQ(f.b->ApplyDab(8.0f, 8.0f, 0.3f, 1.0f), 4.0f);  // pressure leaves size alone
        const PXPixel* p = f.s.pixels + 8 * 16;
        EXPECT_TRUE(p[8].a == 209 && p[7].a == 209 && p[10].a == 92 && p[12].a == 0) << sharpen;
        int inked = 0;
        for (int i = 0; i < 256; ++i) {
            EXPECT_EQ(f.s.pixels[i].b | f.s.pixels[i].g | f.s.pixels[i].r, 0) << i;
            inked += f.s.pixels[i].a != 0;
        }
        EXPECT_EQ(f.b->new_pixels, inked);
    }
}

// 4 x 4 surface, blue 10 * (4 * row + column) + 10. Opacity 0 leaves it alone
// and dab_image holds the first pass; radius 0.5 at (cx + 0.5, 1.5) filters
// columns cx - 1 .. cx + 1, rows 0..2.
TEST(FilterBrush, FirstPassLeansUpAndRepeatsEdges) {
    struct { bool sharpen; int cx, col, row, want; } cases[] = {
        {false, 1, 0, 0, 12},  // row 0 three times, column 0 twice: (12 * 10 + 4 * 20) / 16
        {false, 1, 1, 1, 40},  // rows 0, 1, 0: (80 + 480 + 80) / 16; with the row below 60
        {false, 2, 3, 1, 57},  // last column twice: (150 + 620 + 150) / 16
        {true, 1, 1, 1, 90},   // (-60 + 840 - 60) / 8
    };
    for (auto& c : cases) {
        Filter f(4, c.sharpen, new PXFlatTipFunction(), 1.0f, 0.0f);
        for (int i = 0; i < 16; ++i)
            f.s.pixels[i] = PXPixel((uint8_t)(10 * i + 10), 0, 0, 255);
        f.b->ApplyDab((float)c.cx + 0.5f, 1.5f, 1.0f, 0.0f);
        EXPECT_EQ(f.b->dab_image->pixels[c.row * 128 + c.col - (c.cx - 1)].b, c.want) << c.col << "," << c.row;
        EXPECT_EQ(f.s.pixels[5].b, 60);
    }
}

// The sharpen kernel overshoots both ways and the result is clamped to a
// byte, every channel alike. 3 x 3 grey surface: row 0 at U, row 1 at S, C, S.
// At (1, 1) the sum is 16 C - 6 U - 2 S (row 0 counted twice), divided by 8
// towards zero: 3200 / 8 = 400 -> 255 (a wrap would give 144); exactly 2040;
// 2032 -> 254; -640 -> 0 (a wrap would give 176); -8 -> -1 -> 0; -7 -> 0.
TEST(FilterBrush, SharpenClampsToAByte) {
    struct { int u, side, centre, want; } cases[] = {
        {0, 0, 200, 255}, {6, 2, 130, 255}, {0, 0, 127, 254}, {100, 100, 10, 0}, {1, 1, 0, 0}, {1, 0, 0, 0},
    };
    for (auto& c : cases) {
        Filter f(3, true, new PXFlatTipFunction(), 1.0f, 0.0f);
        auto grey = [](int v) { return PXPixel((uint8_t)v, (uint8_t)v, (uint8_t)v, (uint8_t)v); };
        for (int i = 0; i < 3; ++i)
            f.s.pixels[i] = grey(c.u);
        f.s.pixels[3] = f.s.pixels[5] = grey(c.side);
        f.s.pixels[4] = grey(c.centre);
        f.b->ApplyDab(1.5f, 1.5f, 1.0f, 0.0f);  // radius 0.5: columns 0..2, rows 0..2
        const PXPixel p = f.b->dab_image->pixels[1 * 128 + 1];
        EXPECT_TRUE(p.b == c.want && p.g == c.want && p.r == c.want && p.a == c.want)
            << c.u << " " << c.side << " " << c.centre << ": " << (int)p.b << " " << (int)p.a;
    }
}

// An inked pixel keeps its colour; its alpha is the smaller of the filtered
// alpha, (8 * 200 + 8 * 40) / 16 = 120 for row 0 at 200 over rows at 40, and
// the "over" of its own with a: opacity 0.1 gives a = 25, over(40, 25) = 61;
// opacity 0.5 gives a = 127 and over = 147, so 120 wins.
TEST(FilterBrush, InkedPixelTakesTheSmallerAlpha) {
    struct { float opacity; int want; } cases[] = {{0.1f, 61}, {0.5f, 120}};
    for (auto& c : cases) {
        Filter f(3, false, new PXFlatTipFunction(), 1.0f, c.opacity);
        for (int i = 0; i < 9; ++i)
            f.s.pixels[i] = i < 3 ? PXPixel(100, 0, 0, 200) : PXPixel(7, 0, 0, 40);
        f.b->ApplyDab(1.5f, 1.5f, 1.0f, 0.0f);
        EXPECT_TRUE(f.s.pixels[4].a == c.want && f.s.pixels[4].b == 7) << c.opacity;
    }
}

}  // namespace
