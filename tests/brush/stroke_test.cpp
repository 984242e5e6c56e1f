// The stroke core: from samples to dabs. Positions are worked by hand from the
// smoothing rules: for samples that coincide, every smoothed point lies
// 0.05 / 6 beyond them, the control points 0.05 / 36, the first step's start
// 0.05 / 216 = 0.000231 and its end 0.05 / 36 * 5 / 6 = 0.001157.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "brush/PXPen.h"
#include "brush_test.h"

namespace {

constexpr float kTapShift = 0.05f / 216.0f;

// Records the dabs DrawLine asks for and answers with a fixed radius.
struct Recorder : PXPen {
    std::vector<PenPoint> dabs;
    float radius = 1.5f;
    Recorder(PXSurface* s, float size) : PXPen(s, new PXFlatTipFunction()) {
        brushtest::Preset(*this, size, 0.0f, 0.6f, 1.0f, 1.0f);
    }
    float ApplyDab(float x, float y, float p) override {
        dabs.push_back({x, y, p, 0.0f, 0.0f});
        return radius;
    }
};

using brushtest::Rect;

bool Zero(const PXRectangle* r) { return Rect(*r) == std::vector<int>{0, 0, 0, 0}; }

// Dabs one pixel apart along the polyline (vx, vy), as the carry spaces them
// at radius 1.5 and min_spacing 1; returns, per dab, its step j plus the
// fraction u along it.
std::vector<double> ExpectOnPolyline(const std::vector<PenPoint>& dabs, const float* vx, const float* vy, double tol) {
    std::vector<double> at;
    double walked = 0;  // arc length at the start of polyline step j
    int j = 0;
    for (size_t k = 0; k < dabs.size(); ++k) {
        double len = std::hypot(vx[j + 1] - vx[j], vy[j + 1] - vy[j]);
        while (walked + len < (double)k) {
            walked += len;
            ++j;
            len = std::hypot(vx[j + 1] - vx[j], vy[j + 1] - vy[j]);
        }
        const double u = ((double)k - walked) / len;
        EXPECT_NEAR(dabs[k].x, vx[j] + u * (vx[j + 1] - vx[j]), tol) << k;
        EXPECT_NEAR(dabs[k].y, vy[j] + u * (vy[j + 1] - vy[j]), tol) << k;
        at.push_back(j + u);
    }
    return at;
}

// A tap draws one dab in its first call and EndStroke adds none (the carry
// of the first dab outruns the last piece). Afterwards nothing draws until
// BeginStroke, and a second EndStroke reports an empty rectangle.
TEST(Stroke, TapAndEndedState) {
    PXSurface s(32, 32);
    Recorder b(&s, 3.0f);
    EXPECT_TRUE(Zero(b.EndStroke()));  // fresh: nothing, and the state stays
    EXPECT_EQ(b.point_count, 0);
    b.BeginStroke();
    b.StrokePoint(10.5f, 20.5f, 0.5f);
    b.EndStroke();
    ASSERT_EQ(b.dabs.size(), 1u);
    EXPECT_NEAR(b.dabs[0].x, 10.5f + kTapShift, 2e-6);
    EXPECT_NEAR(b.dabs[0].y, 20.5f + kTapShift, 2e-6);
    EXPECT_NEAR(b.dabs[0].pressure, 0.5f + kTapShift, 2e-6);
    EXPECT_EQ(b.point_count, -1);
    EXPECT_TRUE(Zero(b.StrokePoint(12.0f, 12.0f, 1.0f)));
    EXPECT_TRUE(Zero(b.EndStroke()));
    EXPECT_EQ(b.dabs.size(), 1u);
    b.BeginStroke();
    b.StrokePoint(12.0f, 12.0f, 1.0f);
    EXPECT_EQ(b.dabs.size(), 2u);
}

// dirty of a tap: m = ceil(size / 2 * (jitter + 1)) + 1 around the first
// step, floored, clipped to the surface.
TEST(Stroke, DirtyOfATap) {
    struct Row { float size, jitter, x, y; PXRectangle want; } rows[] = {
        {3, 0, 10.5f, 20.5f, {7, 17, 13, 23}},   // m = 3
        {3, 1, 10.5f, 20.5f, {6, 16, 14, 24}},   // m = 4
        {8, 0, 10.7f, 20.5f, {5, 15, 15, 25}},   // m = 5
        {3, 0, 1.0f, 1.0f, {0, 0, 4, 4}},
        {3, 0, 31.5f, 31.5f, {28, 28, 32, 32}},
    };
    for (const Row& r : rows) {
        PXSurface s(32, 32);
        Recorder b(&s, r.size);
        b.jitter = r.jitter;
        b.BeginStroke();
        EXPECT_EQ(Rect(*b.StrokePoint(r.x, r.y, 1.0f)), Rect(r.want)) << r.size << " " << r.x;
    }
}

// A sample with any coordinate negative costs nothing: zero dirty, same
// count, no dab, and the stroke goes on as if it had not come.
TEST(Stroke, NegativeSampleIsDropped) {
    const float bad[][3] = {{-1, 5, 0.5f}, {5, -0.001f, 0.5f}, {5, 5, -0.5f}};
    PXSurface s(64, 64);
    Recorder plain(&s, 3.0f);
    plain.BeginStroke();
    for (int i = 0; i < 6; ++i)
        plain.StrokePoint(10.0f + 7.0f * i, 10.0f + 3.0f * i, 0.2f + 0.1f * i);
    for (const auto& v : bad) {
        Recorder b(&s, 3.0f);
        b.BeginStroke();
        for (int i = 0; i < 6; ++i) {
            if (i == 3) {
                EXPECT_TRUE(Zero(b.StrokePoint(v[0], v[1], v[2])));
                EXPECT_EQ(b.point_count, 6);
            }
            b.StrokePoint(10.0f + 7.0f * i, 10.0f + 3.0f * i, 0.2f + 0.1f * i);
        }
        ASSERT_EQ(b.dabs.size(), plain.dabs.size()) << v[0];
        for (size_t k = 0; k < b.dabs.size(); ++k)
            EXPECT_TRUE(b.dabs[k].x == plain.dabs[k].x && b.dabs[k].y == plain.dabs[k].y) << k;
    }
}

// A straight stroke at full pressure, samples every h = 2 pixels from 10.5 to
// 50.5: the curve starts at 10.5 + 0.000231 and ends 67h/216 = 0.62 short of
// the last sample (the lag of the smoothing), so it is 39.38 long. The carry
// makes the spacing continuous across steps: dabs every max(2r * 0.12,
// min_spacing), floor(39.38 / step) + 1 of them.
TEST(Stroke, SpacingAlongAStraightStroke) {
    struct Row { float radius, min_spacing, step; size_t count; } rows[] = {
        {1.5f, 1.0f, 1.0f, 40}, {10.0f, 0.0f, 2.4f, 17}, {10.0f, 3.0f, 3.0f, 14},
    };
    for (const Row& r : rows) {
        PXSurface s(64, 64);
        Recorder b(&s, 3.0f);
        b.radius = r.radius;
        b.min_spacing = r.min_spacing;
        b.BeginStroke();
        for (int i = 0; i <= 20; ++i)
            b.StrokePoint(10.5f + 2.0f * i, 10.5f, 1.0f);
        b.EndStroke();
        ASSERT_EQ(b.dabs.size(), r.count) << r.step;
        EXPECT_NEAR(b.dabs[0].x, 10.5f + kTapShift, 1e-5);
        for (size_t k = 1; k < b.dabs.size(); ++k) {
            EXPECT_NEAR(b.dabs[k].x - b.dabs[k - 1].x, r.step, 1e-3) << r.step << " " << k;
            EXPECT_NEAR(b.dabs[k].y, 10.5f, 2e-3);
            EXPECT_EQ(b.dabs[k].pressure, 1.0f);  // clamped after the smoothing's lift
        }
    }
    // The same stroke through the pen's real dab at pressure 0 (r = 0.5, one
    // pixel a dab): the dabs show up as row 10, columns 10 to 49.
    PXSurface s(64, 64);
    PXPen pen(&s, new PXFlatTipFunction());
    brushtest::Preset(pen, 3.0f, 0.0f, 0.0f, 0.0f, 1.0f);
    pen.BeginStroke();
    for (int i = 0; i <= 20; ++i)
        pen.StrokePoint(10.5f + 2.0f * i, 10.5f, 0.0f);
    pen.EndStroke();
    for (int y = 0; y < 64; ++y)
        for (int x = 0; x < 64; ++x)
            EXPECT_EQ(s.pixels[y * 64 + x].a, (y == 10 && x >= 10 && x <= 49) ? 255 : 0) << x << "," << y;
}

// Every display pixel a sample changes lies inside the rectangle it returns,
// on a curved stroke of changing pressure (the box is floored while a dab
// reaches half a pixel further; blend_out copies only inside it).
TEST(Stroke, DisplayChangesStayInsideDirty) {
    PXSurface stroke(64, 64), display(64, 64);
    display.Fill(PXPixel(200, 200, 200, 255));
    PXPen pen(&stroke, new PXFlatTipFunction());
    brushtest::Preset(pen, 8.0f, 0.0f, 1.0f, 0.3f, 1.0f);
    pen.BeginStroke();
    for (int i = 0; i < 40; ++i) {
        const float a = 0.3f * i;
        const PXSurface before(display);
        const PXRectangle d = *pen.StrokePoint(32 + 20 * std::cos(a), 32 + 12 * std::sin(1.7f * a), 0.5f + 0.5f * std::sin(a));
        pen.blend_out(&display, &stroke);
        for (int y = 0; y < 64; ++y)
            for (int x = 0; x < 64; ++x)
                if (memcmp(&before.pixels[y * 64 + x], &display.pixels[y * 64 + x], 4) != 0) {
                    ASSERT_TRUE(x >= d.left && x < d.right && y >= d.top && y < d.bottom) << i << ": " << x << "," << y;
                }
    }
}

// A curved piece of the four-point form, the smoothing settled (filtered[0]
// and [1] equal to the first two samples). Worked by hand: the control points
// are (30, 50), (10, 10), (36.3903, 11.1125) and (21.9458, 44.4458); the chord
// from (17.7317, 16.8521) to (29.5845, 16.4826) is 11.8585, so n = trunc(2.96
// + 0.5) = 3 steps; the vertices at t = 1/3 and 2/3 come from the B-spline
// weights (calculator). Dabs one pixel apart along that polyline, 15.6798
// long: 16 of them, carry 0.3202. Two steps instead of three would put the
// middle dabs up to 1.16 pixels off.
TEST(Stroke, CurvedPieceStepsAndSpacing) {
    const float vx[] = {17.73171f, 20.83557f, 25.86335f, 29.58449f};
    const float vy[] = {16.85208f, 12.59997f, 12.58660f, 16.48264f};
    const PenPoint p[4] = {{30, 50, 0.5f, 0, 0}, {10, 10, 0.5f, 0, 0}, {40, 10, 0.5f, 0, 0}, {20, 50, 0.5f, 0, 0}};
    PXSurface s(64, 64);
    Recorder b(&s, 3.0f);
    b.BeginStroke();
    b.filtered[0] = p[0];
    b.filtered[1] = p[1];
    b.InterpolateStroke(p[0], p[1], p[2], p[3]);
    ASSERT_EQ(b.dabs.size(), 16u);
    EXPECT_NEAR(b.carry, 0.32018f, 2e-3);
    ExpectOnPolyline(b.dabs, vx, vy, 2e-3);
}

// The three-point form between the mid-points a = (20, 10) and b = (30, 20)
// of (10, 10), (30, 10), (30, 30), worked by hand: n = trunc(0.2 * (10 + 10)
// + 0.5) = 4 steps on x = 30 - 10 (1 - t)^2, y = 10 + 10 t^2, pressure
// 0.4 + 0.4 t; the polyline through t = 0, 1/4, 1/2, 3/4, 1 is 16.1275 long,
// so dabs one pixel apart along it: 17 of them, carry 17 - 16.1275 left.
// dirty: m = 3 around the hull of a, b and the middle sample, truncated.
TEST(Stroke, ThreePointPiece) {
    const float vx[] = {20, 24.375f, 27.5f, 29.375f, 30}, vy[] = {10, 10.625f, 12.5f, 15.625f, 20};
    PXSurface s(64, 64);
    Recorder b(&s, 3.0f);
    b.BeginStroke();
    b.InterpolateStroke({10, 10, 0.2f, 0, 0}, {30, 10, 0.6f, 0, 0}, {30, 30, 1.0f, 0, 0});
    EXPECT_EQ(Rect(b.dirty), std::vector<int>({17, 7, 33, 23}));
    ASSERT_EQ(b.dabs.size(), 17u);
    EXPECT_NEAR(b.carry, 17.0f - 16.12752f, 1e-3);
    const std::vector<double> at = ExpectOnPolyline(b.dabs, vx, vy, 1e-3);
    for (size_t k = 0; k < b.dabs.size(); ++k)
        EXPECT_NEAR(b.dabs[k].pressure, 0.4 + 0.4 * at[k] / 4.0, 1e-4) << k;
    // Three coinciding points: no step at all, one dab on a, carry the spacing.
    Recorder tap(&s, 3.0f);
    tap.BeginStroke();
    tap.InterpolateStroke({5, 6, 0.5f, 0, 0}, {5, 6, 0.5f, 0, 0}, {5, 6, 0.5f, 0, 0});
    ASSERT_EQ(tap.dabs.size(), 1u);
    EXPECT_EQ(tap.dabs[0].x, 5.0f);
    EXPECT_EQ(tap.carry, 1.0f);
    EXPECT_EQ(tap.dirty.left, 2);
    EXPECT_EQ(tap.dirty.bottom, 9);
}

}  // namespace
