// Blur and sharpen: the filter pass read back from the scratch image, and the
// lay-back onto empty and inked pixels. Expected values are worked by hand
// from the kernels (each case says how).
#include <gtest/gtest.h>

#include <cmath>
#include <memory>

#include "brush/PXFilterBrushes.h"
#include "brush/PXTipFunction.h"

namespace {

template <class B>
std::unique_ptr<PXConvolutionBrush> Make(PXSurface* s, PXTipFunction* t, float size, float opacity) {
    std::unique_ptr<PXConvolutionBrush> b(new B(s, t));
    b->size = size;
    b->min_size = 1.0f;
    b->opacity = opacity;
    return b;
}

// On an empty surface every filtered pixel is zero, so the dab is black with
// the tip's alpha. Linear tip, radius 4 at (8, 8): pixel (8, 8) has d = 0.5,
// (4 - 0.7071) / 4 * 255 = 209.9; pixel (10, 8) d = 6.5, (4 - 2.5495) / 4 * 255
// = 92.5; pixel (12, 8) lies outside the radius.
TEST(FilterBrush, EmptySurfaceGivesADarkSoftDab) {
    for (int kind = 0; kind < 2; ++kind) {
        PXSurface s(16, 16);
        auto b = kind ? Make<PXSharpenBrush>(&s, new PXLinearTipFunction(), 8.0f, 1.0f)
                      : Make<PXBlurBrush>(&s, new PXLinearTipFunction(), 8.0f, 1.0f);
        EXPECT_FLOAT_EQ(b->ApplyDab(8.0f, 8.0f, 0.3f, 1.0f), 4.0f);  // pressure leaves the radius at size / 2
        const PXPixel* p = s.pixels;
        EXPECT_EQ(p[8 * 16 + 8].a, 209) << kind;
        EXPECT_EQ(p[8 * 16 + 7].a, 209) << kind;
        EXPECT_EQ(p[8 * 16 + 10].a, 92) << kind;
        EXPECT_EQ(p[8 * 16 + 12].a, 0) << kind;
        int inked = 0;
        for (int i = 0; i < 256; ++i) {
            EXPECT_TRUE(p[i].b == 0 && p[i].g == 0 && p[i].r == 0) << i;
            inked += p[i].a != 0;
        }
        EXPECT_EQ(b->new_pixels, inked);
    }
}

// 4 x 4 surface, blue byte 10 * (4 * row + column) + 10: rows 10..40, 50..80.
// Opacity 0 leaves the surface alone, so dab_image holds the first pass. A dab
// of radius 0.5 at (cx + 0.5, 1.5) has the box columns cx - 1 .. cx + 1, rows 0..2.
TEST(FilterBrush, FirstPassLeansUpAndRepeatsEdges) {
    struct Case {
        bool sharpen;
        int cx, col, row, want;
        const char* how;
    } cases[] = {
        {false, 1, 0, 0, 12, "row 0 three times, column 0 twice: (12*10 + 4*20) / 16 = 12.5"},
        {false, 1, 1, 1, 40, "rows 0, 1, 0: (80 + 480 + 80) / 16; the row below would give 60"},
        {false, 2, 3, 1, 57, "last column twice: (150 + 620 + 150) / 16 = 57.5"},
        {true, 1, 1, 1, 90, "(-60 + 840 - 60) / 8"},
        {true, 1, 0, 0, 6, "(-40 + 130 - 40) / 8 = 6.25"},
    };
    for (const Case& c : cases) {
        PXSurface s(4, 4);
        for (int i = 0; i < 16; ++i)
            s.pixels[i] = PXPixel((uint8_t)(10 * i + 10), 0, 0, 255);
        auto b = c.sharpen ? Make<PXSharpenBrush>(&s, new PXFlatTipFunction(), 1.0f, 0.0f)
                           : Make<PXBlurBrush>(&s, new PXFlatTipFunction(), 1.0f, 0.0f);
        b->ApplyDab((float)c.cx + 0.5f, 1.5f, 1.0f, 0.0f);
        const int left = c.cx - 1 < 0 ? 0 : c.cx - 1;
        EXPECT_EQ(b->dab_image->pixels[c.row * 128 + (c.col - left)].b, c.want) << c.how;
        EXPECT_EQ(s.pixels[5].b, 60);  // the surface is untouched
    }
    // Clamped to 0..255: a lone bright green pixel sharpened is 16 * 255 / 8,
    // its right neighbour -255 / 8.
    PXSurface s(4, 4);
    s.pixels[5] = PXPixel(0, 255, 0, 255);
    auto b = Make<PXSharpenBrush>(&s, new PXFlatTipFunction(), 1.0f, 0.0f);
    b->ApplyDab(1.5f, 1.5f, 1.0f, 0.0f);
    EXPECT_EQ(b->dab_image->pixels[128 + 1].g, 255);
    EXPECT_EQ(b->dab_image->pixels[128 + 2].g, 0);
}

// An inked pixel keeps its colour; its alpha is the smaller of the filtered
// alpha and the "over" of its own with a. Row 0 alpha 200, rows below 40: the
// blurred alpha at (1, 1) is (8 * 200 + 8 * 40) / 16 = 120. Flat tip, centre
// weight 1: opacity 0.1 gives a = 25, over(40, 25) = 65 - 4 = 61; opacity 0.5
// gives a = 127, over = 167 - 20 = 147, so 120 wins.
TEST(FilterBrush, InkedPixelTakesTheSmallerAlpha) {
    struct { float opacity; int want; } cases[] = {{0.1f, 61}, {0.5f, 120}};
    for (auto& c : cases) {
        PXSurface s(3, 3);
        for (int i = 0; i < 9; ++i)
            s.pixels[i] = i < 3 ? PXPixel(100, 0, 0, 200) : PXPixel(7, 0, 0, 40);
        auto b = Make<PXBlurBrush>(&s, new PXFlatTipFunction(), 1.0f, c.opacity);
        b->ApplyDab(1.5f, 1.5f, 1.0f, 0.0f);
        EXPECT_EQ(s.pixels[4].a, c.want) << c.opacity;
        EXPECT_EQ(s.pixels[4].b, 7);
        EXPECT_EQ(b->new_pixels, 0);
    }
}

}  // namespace
