// Pencil, dry media and texture dabs. Expected values are worked by hand from
// the dab box, the tip weights and the cut rules (each case says how).
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "brush/PXDryMedia.h"
#include "brush/PXTipFunction.h"
#include "brush_test.h"

namespace {

using brushtest::Steps;

void Preset(PXPaintBrush& b, float size, float opacity, float gamma) {
    b.size = size;
    b.min_size = 0.0f;
    b.opacity = opacity;
    b.min_opacity = 0.0f;
    b.pressure_gamma = gamma;
}

// Counts the pixels of each alpha value.
std::vector<int> Histogram(const PXSurface& s) {
    std::vector<int> h(256, 0);
    for (int y = 0; y < s.height; ++y)
        for (int x = 0; x < s.width; ++x)
            h[s.pixels[y * s.stride + x].a]++;
    return h;
}

// One draw per pixel of the box, weight 0 or not: size 4 at pressure 1 gives
// r = 2, box floor(8)-1 .. ceil(12)+1 = 6 x 6; at (1, 1) the box starts at
// -2, raised to 0, and ends at 4: 4 x 4.
TEST(Pencil, DrawsOncePerBoxPixel) {
    struct Case { float x, y; int area; } cases[] = {{10.0f, 10.0f, 36}, {1.0f, 1.0f, 16}};
    for (const Case& c : cases) {
        PXSurface s(24, 24);
        PXPencil p(&s, new PXDullAntiAliasingTipFunction());
        Preset(p, 4.0f, 1.58f, 1.0f);
        p.grain = 1.0f;
        PXPaintBrush::rand_state = 0;
        EXPECT_FLOAT_EQ(p.ApplyDab(c.x, c.y, 1.0f), 2.0f);
        EXPECT_EQ(PXPaintBrush::rand_state, Steps(c.area));
    }
}

// Grain 0 with the flat tip at r = 4 centred on a pixel corner: weight 1 for
// the 52 pixel centres within distance 4 (13 per quadrant: 4 + 4 + 3 + 2 of
// the half-integer offsets), under 0.5 in the ring. Pencil strength 0.5 cuts at
// 5/9 * 0.5, so the ring goes and the inside takes trunc(0.5 * 255) = 127; at
// opacity 1.58 v = 1.58 saturates at 255 (a wrap would give 402 & 255 = 146).
// Dry media ignores opacity and cuts at half weight: with the linear tip
// (4 - dist) / 4 > 0.5 only for dist < 2, 3 centres per quadrant.
TEST(DryMedia, GrainZeroLeavesThePlainCut) {
    struct Case { bool dry; float opacity; bool linear; int alpha, count; } cases[] = {
        {false, 0.5f, false, 127, 52},
        {false, 1.58f, false, 255, 52},
        {true, 0.0f, true, 255, 12},
        {true, 0.0f, false, 255, 52},
    };
    for (const Case& c : cases) {
        PXSurface s(24, 24);
        PXTipFunction* tip = c.linear ? (PXTipFunction*)new PXLinearTipFunction() : new PXFlatTipFunction();
        PXPencil pencil(&s, nullptr);
        PXDryMedia dry(&s, nullptr);
        PXPencil& b = c.dry ? dry : pencil;
        b.tip = tip;
        Preset(b, 8.0f, c.opacity, 1.0f);
        b.grain = 0.0f;
        EXPECT_FLOAT_EQ(b.ApplyDab(10.0f, 10.0f, 1.0f), 4.0f);
        const std::vector<int> h = Histogram(s);
        EXPECT_EQ(h[c.alpha], c.count) << c.alpha;
        EXPECT_EQ(h[0] + h[c.alpha], 24 * 24);
        EXPECT_EQ(s.pixels[10 * s.stride + 10].a, c.alpha);
    }
}

// pow(0.5, 2.5) = 0.17678: size 10 gives D = 1.7678 and r = 0.8839.
TEST(DryMedia, PressureCurve) {
    PXSurface s(24, 24);
    PXPencil p(&s, new PXFlatTipFunction());
    PXDryMedia d(&s, new PXFlatTipFunction());
    for (PXPencil* b : {&p, (PXPencil*)&d}) {
        Preset(*b, 10.0f, 1.0f, 2.5f);
        EXPECT_NEAR(b->ApplyDab(10.0f, 10.0f, 0.5f), 0.88388f, 1e-4);
        EXPECT_FLOAT_EQ(b->ApplyDab(-9.0f, 10.0f, 0.5f), 0.0f);  // box left of the surface
    }
}

// The grain follows the generator, not the paper: the same dab on two fresh
// surfaces speckles differently, and grain 2 leaves holes inside the dab.
TEST(DryMedia, RedrawGivesOtherSpeckles) {
    PXSurface a(32, 32), b(32, 32);
    PXDryMedia da(&a, new PXLinearTipFunction2()), db(&b, new PXLinearTipFunction2());
    for (PXDryMedia* d : {&da, &db}) {
        Preset(*d, 16.0f, 1.0f, 1.0f);
        d->grain = 2.0f;
    }
    da.ApplyDab(16.0f, 16.0f, 1.0f);
    db.ApplyDab(16.0f, 16.0f, 1.0f);
    int differ = 0, inked = 0;
    for (int i = 0; i < 32 * 32; ++i) {
        differ += a.pixels[i].a != b.pixels[i].a;
        inked += a.pixels[i].a != 0;
    }
    EXPECT_GT(differ, 0);
    EXPECT_GT(inked, 0);
    // Without grain the 44 centres within 3.58 of the middle (weight above
    // 0.5) would all come through.
    EXPECT_LT(inked, 44);
}

// Paper 3 wide, 2 high: row 0 black (full ink), row 1 white (none). The width
// is the period of the rows too, and rows 2 mod 3 read the clamped last row,
// so only rows 0 mod 3 take ink: rows 6, 9, 12 at dy 3.5, 0.5, 2.5 from the
// centre give 4 + 8 + 6 of the 52 inside centres, in every column.
TEST(TextureBrush, WidthIsThePeriodOfRowsAndColumns) {
    PXSurface paper(3, 2), s(24, 24);
    for (int x = 0; x < 3; ++x) {
        paper.pixels[x] = {0, 0, 0, 255};
        paper.pixels[paper.stride + x] = {255, 255, 255, 255};
    }
    PXTextureBrush t(&s, new PXFlatTipFunction());
    Preset(t, 8.0f, 1.0f, 1.0f);
    EXPECT_FLOAT_EQ(t.ApplyDab(10.0f, 10.0f, 1.0f), 4.0f);
    EXPECT_EQ(Histogram(s)[0], 24 * 24);  // no paper, no ink
    t.SetTexture(&paper);
    t.ApplyDab(10.0f, 10.0f, 1.0f);
    EXPECT_EQ(Histogram(s)[255], 18);
    EXPECT_EQ(s.pixels[9 * s.stride + 10].a, 255);
    EXPECT_EQ(s.pixels[10 * s.stride + 10].a, 0);
}

// The paper's red channel alone shapes the ink, whatever its blue and green:
// a one-pixel paper under the flat tip at r = 4 and strength 1 gives v =
// 255 - red inside (weight 1, the 52 centres) and under 127.5 in the ring, so
// the 52 come through when red is below 127.5 and none otherwise.
TEST(TextureBrush, RedChannelShapesTheInk) {
    struct { uint8_t b, g, r; int inked; } cases[] = {
        {0, 0, 255, 0}, {255, 255, 0, 52}, {0, 255, 100, 52}, {255, 0, 200, 0}, {0, 0, 128, 0}, {255, 255, 127, 52},
    };
    for (auto& c : cases) {
        PXSurface paper(1, 1), s(24, 24);
        paper.pixels[0] = {c.b, c.g, c.r, 255};
        PXTextureBrush t(&s, new PXFlatTipFunction());
        Preset(t, 8.0f, 1.0f, 1.0f);
        t.SetTexture(&paper);
        t.ApplyDab(10.0f, 10.0f, 1.0f);
        EXPECT_EQ(Histogram(s)[255], c.inked) << (int)c.b << " " << (int)c.g << " " << (int)c.r;
        EXPECT_EQ(Histogram(s)[0], 24 * 24 - c.inked);
    }
}

}  // namespace
