// Airbrushes and the fountain pen that shares their pen model. Expected values
// are worked by hand from the dab and speed rules (each table says how).
#include <gtest/gtest.h>

#include <cmath>

#include "brush/PXAirbrush.h"
#include "brush/PXInkPens.h"
#include "brush/PXTipFunction.h"
#include "brush_test.h"

namespace {

using brushtest::Alpha;
using brushtest::Preset;

struct Px {
    int x, y, a;
};

// Soft disc, dab centred on pixel (10,10)'s centre.
// Graffiti preset at pressure 0.5: D = 0.25 * 32 = 8, r = 4, S = 0.5 * 0.4 + 0.5 = 0.7.
//   d = 0: 0.7 * 255 = 178.5; d = 9: 0.7 * sqrt(1 - 9/16) * 255 = 118.07;
//   d = 16 (outer ring): (4.8 - 4) * 0.7 * 51 = 28.56; d = 25: outside 4.8^2.
// Fountain preset at pressure 1: half reaches the nib, so even pressure 1
// stays below size / 2: q = 0.5, D = (q + (1 - q) * 0.1) * 3, r = 0.825, S = 0.6.
//   d = 0: 153.0; d = 1: (1.625 - 1) * 0.6 * 51 = 19.1; d = 2: 6.45; d = 4: outside.
TEST(SoftDisc, HandWorkedAlphas) {
    struct Case { bool fountain; float pressure; float r; std::vector<Px> px; } cases[] = {
        {false, 0.5f, 4.0f, {{10, 10, 178}, {13, 10, 118}, {10, 7, 118}, {14, 10, 28}, {15, 10, 0}, {6, 10, 28}}},
        {true, 1.0f, 0.825f, {{10, 10, 153}, {11, 10, 19}, {10, 9, 19}, {11, 11, 6}, {9, 9, 6}, {12, 10, 0}}},
    };
    for (const Case& c : cases) {
        PXSurface s(24, 24);
        std::unique_ptr<PXPaintBrush> b;
        if (c.fountain) {
            b.reset(new PXFountainPen(&s, new PXDullAntiAliasingTipFunction()));
            Preset(*b, 3.0f, 0.1f, 0.6f, 1.0f);
        } else {
            b.reset(new PXGraffitiAirbrush(&s, new PXFlatTipFunction()));
            Preset(*b, 32.0f, 0.0f, 1.0f, 0.4f);
        }
        EXPECT_FLOAT_EQ(b->ApplyDab(10.5f, 10.5f, c.pressure), c.r);
        for (const Px& p : c.px)
            EXPECT_EQ(Alpha(s, p.x, p.y), p.a) << c.fountain << " " << p.x << "," << p.y;
    }
}

// A second graffiti dab on the same spot accumulates: 178 + 178 - (178 * 179 >> 8) = 232;
// with color.a 200 the overlap stops at the ceiling, the first touch did not.
// At pressure 1e7 (unclamped) S = 6000000 in float, a = 1530000000 = 0x5B31F280:
// first touch 0x80 = 128, then (128 + a - (128 * (a + 1) >> 8)) & 255 = 192.
TEST(SoftDisc, OverlapAccumulatesUpToInkAlpha) {
    struct Row { uint8_t ink_a; float pressure; int first, second; } rows[] = {
        {255, 0.5f, 178, 232}, {200, 0.5f, 178, 200}, {255, 1e7f, 128, 192}};
    for (const Row& r : rows) {
        PXSurface s(24, 24);
        PXGraffitiAirbrush b(&s, new PXFlatTipFunction());
        Preset(b, 32.0f, 0.0f, 1.0f, 0.4f);
        b.color.a = r.ink_a;
        b.ApplyDab(10.5f, 10.5f, r.pressure);
        EXPECT_EQ(Alpha(s, 10, 10), r.first) << r.pressure;
        b.ApplyDab(10.5f, 10.5f, r.pressure);
        EXPECT_EQ(Alpha(s, 10, 10), r.second) << r.pressure;
    }
}

// The stroke front end does not clamp pressure. At p = 1e18 the graffiti disc
// covers everything, but S * 255 = 0.6e18 * 255 is past the int range: the
// conversion gives INT_MIN, as the processor's does, and no pixel is inked.
TEST(SoftDisc, StrengthPastIntRangeInksNothing) {
    PXSurface s(16, 16);
    PXGraffitiAirbrush b(&s, new PXFlatTipFunction());
    Preset(b, 32.0f, 0.0f, 1.0f, 0.4f);
    EXPECT_GT(b.ApplyDab(8.0f, 8.0f, 1e18f), 1e30f);
    EXPECT_TRUE(s.IsAllZero());
    EXPECT_EQ(b.new_pixels, 0);
}

// The pen model: the pressure stored for a sample is g * g * input, with
// f = 1 - |75 deg - a| * 0.8 / 3.1415925 inside -15..165 deg, and
// f = 0.7 - e / 3.1415925 outside; g = (1 - f) * 6 / speed + f.
// First sample: a = atan2f(0, 0) = 0, speed 100: f = 2/3, g = 0.686667.
// Long straight strokes: speed settles to the step length (at least 6).
//   0 deg, step 40: g = 1/3 * 6/40 + 2/3 = 0.716667 -> 0.513611
//   0 deg, step 0.5: speed 6, g = 1                  -> 1
//   75 deg, step 40: f = 1, g = 1                    -> 1
//   180 deg, step 40: e = (pi - 1.309) * 0.4 = 0.733, f = 0.466667,
//                     g = 0.08 + 0.466667 = 0.546667 -> 0.298844
//   -90 deg (upwards), step 40: e = 0.10472, f = 2/3 -> 0.513611
TEST(GraffitiAirbrush, PressureFromSpeedAndDirection) {
    PXSurface s(8, 8);
    PXGraffitiAirbrush first(&s, new PXFlatTipFunction());
    Preset(first, 32.0f, 0.0f, 1.0f, 0.4f);
    first.BeginStroke();
    first.StrokePoint(3.0f, 3.0f, 0.8f);
    for (int i = 0; i < 4; ++i)
        EXPECT_NEAR(first.points[i].pressure, 0.8f * 0.686667f * 0.686667f, 1e-5) << i;

    struct Row { float degrees, step, factor; } rows[] = {
        {0, 40, 0.513611f}, {0, 0.5f, 1.0f}, {75, 40, 1.0f}, {180, 40, 0.298844f}, {-90, 40, 0.513611f},
    };
    for (const Row& r : rows) {
        PXSurface big(4000, 4000);
        PXGraffitiAirbrush b(&big, new PXFlatTipFunction());
        Preset(b, 2.0f, 0.0f, 1.0f, 0.4f);
        const double a = r.degrees * M_PI / 180.0;
        b.BeginStroke();
        for (int i = 0; i < 60; ++i)
            b.StrokePoint((float)(2000 + i * r.step * std::cos(a)), (float)(2000 + i * r.step * std::sin(a)), 0.5f);
        EXPECT_NEAR(b.points[(b.point_count - 1) & 3].pressure, 0.5f * r.factor, 2e-4) << r.degrees << " " << r.step;
        EXPECT_GE(b.speed_hist[2], 6.0f);
    }
}

// The soft disc as its rule states it, pixel by pixel over the whole
// surface, with the integer accumulation: the reference for the lane code.
void RuleSoftDab(PXSurface& s, const PXPaintBrush& b, float x, float y, float p) {
    const float p2 = p * p;
    const float D = (p2 + (1.0f - p2) * b.min_size) * b.size;
    const float r = D > 1.0f ? D * 0.5f : 0.5f;
    const float S = ((1.0f - p) * b.min_opacity + p) * b.opacity;
    const float inner = (r - 0.2f) * (r - 0.2f), outer = (r + 0.8f) * (r + 0.8f);
    for (int row = 0; row < s.height; ++row)
        for (int col = 0; col < s.width; ++col) {
            const float dx = (float)col + 0.5f - x, dy = (float)row + 0.5f - y;
            const float d = dx * dx + dy * dy;
            int a = 0;
            if (inner > d)
                a = (int)((double)S * std::sqrt(1.0 - (double)(d / (r * r))) * 255.0);
            else if (outer > d)
                a = (int)(((double)r + 0.8 - std::sqrt((double)d)) * (double)S * 51.0);
            if (a <= 0)
                continue;
            PXPixel& px = s.pixels[row * s.stride + col];
            if (px.a == 0) {
                px = PXPixel(b.color.b, b.color.g, b.color.r, (uint8_t)a);
            } else {
                const int n = (px.a + a - ((px.a * (a + 1)) >> 8)) & 255;
                px.a = (uint8_t)(n > b.color.a ? b.color.a : n);
            }
        }
}

// Random graffiti dabs (sizes, centres on and off every edge, pressures,
// overlaps, two ink ceilings, ordinary and very strong opacities) must give
// the rule's pixels.
TEST(SoftDisc, LanesFollowTheRule) {
    brushtest::Random next{11};
    for (float opacity_hi : {1.6f, 100.0f}) {
        PXSurface fast(41, 27), want(41, 27);
        PXGraffitiAirbrush brush(&fast, new PXFlatTipFunction());
        for (int i = 0; i < 1500; ++i) {
            if (i % 40 == 0) {
                fast.ResetScanColor(0);
                want.ResetScanColor(0);
            }
            Preset(brush, next(0.5f, 45.0f), next(0.0f, 0.5f), next(0.1f, opacity_hi), next(0.0f, 1.0f));
            brush.SetColor(9, 8, 7, i % 3 ? 255 : 140);
            const float x = next(-10, 52), y = next(-10, 38), p = next(0, 1);
            brush.ApplyDab(x, y, p);
            RuleSoftDab(want, brush, x, y, p);
            ASSERT_EQ(memcmp(fast.pixels, want.pixels, 41 * 27 * 4), 0) << i << " at " << x << "," << y;
        }
    }
}

}  // namespace
