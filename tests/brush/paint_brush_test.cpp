// The base brush's dab, its setters and blend_out. Alphas are worked by hand
// from the dab rules: S = (min_opacity * q + p) * opacity * 255, a = trunc(w * S),
// flat-tip weights as in the tip tests, the integer "over" for overlaps.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <vector>

#include "brush/PXPen.h"
#include "brush_test.h"

namespace {

using brushtest::Alpha;
using brushtest::Inked;

// A tip of one weight everywhere, to isolate strength, box and threshold.
struct ConstTip : PXTipFunction {
    float w;
    explicit ConstTip(float v) : w(v) {}
    float GetWeight(float&, double) override { return w; }
};

void Preset(PXPaintBrush& b, float size, float opacity, float min_opacity) {
    brushtest::Preset(b, size, 0.0f, opacity, min_opacity, 1.0f);
}

struct Px {
    int x, y, a;
};

TEST(PaintBrushDab, HandWorkedDabs) {
    const float just_over_half = std::nextafter(0.5f, 1.0f);
    struct Case {
        const char* what;
        float tipw;  // < 0: the flat tip
        float size, opacity, min_opacity, x, y, pressure, radius;
        std::vector<Px> px;
        int inked;
    } cases[] = {
        // r = 2.0 exactly takes the weighted path: d = 5 -> 0.381966 * 255, d = 8 -> 0.0857864 * 255
        {"large centred", -1, 4, 1, 0, 10.5f, 10.5f, 1, 2.0f,
         {{10, 10, 255}, {12, 10, 255}, {13, 10, 0}, {12, 11, 97}, {11, 12, 97}, {12, 12, 21}}, 25},
        // centre on a pixel corner: d = 4.5 -> 112, 6.5 -> 57, 8.5 -> 10, 12.5 outside
        {"large off-centre", -1, 4, 1, 0, 10.0f, 10.0f, 1, 2.0f,
         {{10, 10, 255}, {11, 10, 255}, {11, 11, 112}, {12, 10, 57}, {12, 11, 10}, {12, 12, 0}}, 32},
        // the pen's preset at half pressure: S = (1 * 0.5 + 0.5) * 0.6 * 255 = 153; d = 5 -> 58
        {"pen preset", -1, 8, 0.6f, 1, 10.5f, 10.5f, 0.5f, 2.0f, {{10, 10, 153}, {12, 11, 58}}, 25},
        // S = (0.4 * 0.5 + 0.5) * 255 = 178.5 over the whole box 7..13 x 7..13
        {"strength, box", 1, 8, 1, 0.4f, 10.5f, 10.5f, 0.5f, 2.0f, {{7, 7, 178}, {13, 13, 178}, {14, 10, 0}}, 49},
        // S = 1.58 * 255 = 402.9: the first touch keeps the low eight bits, 402 & 255
        {"first touch wraps", 1, 8, 1.58f, 0.3f, 10.5f, 10.5f, 1, 4.0f, {{10, 10, 146}}, 121},
        // r = 1.5, four samples: (11,11) sums 3.37 -> solid; (12,10) sums 0.97 -> 61.7, skipped
        {"small 3x3", -1, 3, 1, 0, 10.5f, 10.5f, 1, 1.5f, {{9, 9, 255}, {11, 11, 255}, {12, 10, 0}}, 9},
        // D = 0 gives r = 0.5: one pixel (the neighbour sums 0.93)
        {"smallest", -1, 3, 1, 0, 10.5f, 10.5f, 0, 0.5f, {{10, 10, 255}}, 1},
        // D = 1.0 is not above 1.0: still r = 0.5
        {"diameter one", -1, 1, 1, 0, 10.5f, 10.5f, 1, 0.5f, {{10, 10, 255}}, 1},
        // the threshold: four weights of 0.5 give exactly 127.5, skipped; a hair more paints
        // the whole box 8..12 x 8..12, opacity unused
        {"threshold equal", 0.5f, 3, 0.1f, 0, 10.5f, 10.5f, 1, 1.5f, {}, 0},
        {"threshold over", just_over_half, 3, 0.1f, 0, 10.5f, 10.5f, 1, 1.5f, {{8, 8, 255}, {12, 12, 255}}, 25},
    };
    for (const Case& c : cases) {
        PXSurface s(24, 24);
        PXTipFunction* tip = c.tipw < 0 ? (PXTipFunction*)new PXFlatTipFunction() : new ConstTip(c.tipw);
        PXPen pen(&s, tip);
        Preset(pen, c.size, c.opacity, c.min_opacity);
        EXPECT_EQ(pen.ApplyDab(c.x, c.y, c.pressure), c.radius) << c.what;
        for (const Px& p : c.px)
            EXPECT_EQ(Alpha(s, p.x, p.y), p.a) << c.what << " at " << p.x << "," << p.y;
        EXPECT_EQ(Inked(s), c.inked) << c.what;
        EXPECT_EQ(pen.new_pixels, c.inked) << c.what;
    }
}

// Overlap: A' = A + a - (A * (a + 1) >> 8), 153 twice -> 306 - 92 = 214; the
// ink alpha caps overlaps only. Colour is fixed at the first touch. The small
// dab sets 255 on an empty pixel whatever the cap, the cap on an inked one.
TEST(PaintBrushDab, AccumulationAndCeiling) {
    struct Row { float size; uint8_t cap; int first, second; } rows[] = {
        {8, 255, 153, 214}, {8, 100, 153, 100}, {3, 255, 255, 255}, {3, 100, 255, 100},
    };
    for (const Row& r : rows) {
        PXSurface s(24, 24);
        PXPen pen(&s, new PXFlatTipFunction());
        Preset(pen, r.size, 0.6f, 1.0f);
        pen.SetColor(10, 20, 30, r.cap);
        pen.ApplyDab(10.5f, 10.5f, 0.5f * (r.size == 8));
        EXPECT_EQ(Alpha(s, 10, 10), r.first) << r.size << " " << (int)r.cap;
        pen.SetColor(99, 99, 99, r.cap);
        pen.ApplyDab(10.5f, 10.5f, 0.5f * (r.size == 8));
        const PXPixel p = s.pixels[10 * 24 + 10];
        EXPECT_EQ(p.a, r.second) << r.size << " " << (int)r.cap;
        EXPECT_EQ(p.b * 10000 + p.g * 100 + p.r, 102030);
    }
}

// A dab at each edge and corner of a 20x20 view inside a zeroed 40x40 buffer:
// the view holds exactly the window of the same dab drawn 10 pixels further
// on a larger surface (a dab depends on the offset from its centre only), and
// nothing lands in the border. Dabs wholly up or left return 0.0, wholly
// right or below their radius.
TEST(PaintBrushDab, BoxClippedAtEveryEdge) {
    struct Row { float x, y, radius; } rows[] = {
        {0.25f, 0.25f, 4}, {19.75f, 0.25f, 4}, {0.25f, 19.75f, 4}, {19.75f, 19.75f, 4}, {10.25f, 10.5f, 4},
        {-6.01f, 10, 0}, {10, -6.01f, 0}, {-5.5f, 10, 4}, {25.5f, 10, 4}, {10, 30, 4},
    };
    for (const Row& r : rows) {
        std::vector<PXPixel> buf(40 * 40, PXPixel(0, 0, 0, 0));
        PXSurface view(20, 20, 40, buf.data() + 10 * 40 + 10, true), ref(40, 40);
        PXPen a(&view, new PXFlatTipFunction()), b(&ref, new PXFlatTipFunction());
        Preset(a, 8, 1, 0);
        Preset(b, 8, 1, 0);
        EXPECT_EQ(a.ApplyDab(r.x, r.y, 1), r.radius) << r.x << "," << r.y;
        b.ApplyDab(r.x + 10, r.y + 10, 1);
        for (int y = 0; y < 40; ++y)
            for (int x = 0; x < 40; ++x) {
                const bool inside = x >= 10 && x < 30 && y >= 10 && y < 30;
                EXPECT_EQ(buf[y * 40 + x].a, inside ? ref.pixels[y * 40 + x].a : 0) << r.x << "," << r.y << " " << x << "," << y;
            }
    }
}

// The jitter hook runs after the box is made: a centre moved far away paints
// nothing inside the old box, the returned radius is the jittered one, and a
// colour changed by it stays in the brush.
struct Shaker : PXPen {
    using PXPen::PXPen;
    void ApplyJitter(float& x, float&, float& radius, PXPenPigment& c) override {
        x += 10.0f;
        radius = 3.0f;
        c.r = 77;
    }
};

TEST(PaintBrushDab, JitterLeavesTheBox) {
    PXSurface s(40, 24);
    Shaker b(&s, new PXFlatTipFunction());
    Preset(b, 4, 1, 0);
    b.use_jitter = true;
    EXPECT_EQ(b.ApplyDab(10.5f, 10.5f, 1), 3.0f);
    EXPECT_EQ(Inked(s), 0);
    EXPECT_EQ(b.color.r, 77);
}

TEST(PaintBrush, SettersKeepOldValueOnTheBoundary) {
    PXSurface s(4, 4);
    PXPen pen(&s, new PXFlatTipFunction());
    pen.size = 3.0f;
    pen.fade_step = 2.0f;
    pen.SetSize(0.0f);
    pen.SetSize(-1.0f);
    pen.SetFadeStep(1.0f);
    EXPECT_EQ(pen.size, 3.0f);
    EXPECT_EQ(pen.fade_step, 2.0f);
    pen.SetSize(0.5f);
    pen.SetFadeStep(1.5f);
    EXPECT_EQ(pen.size, 0.5f);
    EXPECT_EQ(pen.fade_step, 1.5f);
    pen.SetColor(0x12345678);  // red from the low byte, the rest 0
    EXPECT_EQ(pen.color.r, 0x78);
    EXPECT_EQ(pen.color.b + pen.color.g + pen.color.a, 0);
}

// blend_out, only where the stroke has ink: the source pixel if it has alpha,
// else the stroke's own; whole words, alpha included; dirty clipped to the
// surface. Random rectangles of every width from 1 to 21 at every offset, some
// reaching past the edges (the lane loops' whole steps and their few last
// pixels), over random words, one alpha in three zero, with a source of its
// own and with the stroke as its own source (as the pen engine blends).
TEST(PaintBrush, BlendOutFollowsTheRuleOnAnyRectangle) {
    const int W = 37, H = 9;
    PXSurface stroke(W, H), source(W, H), target(W, H);
    uint32_t seed = 5;
    auto word = [&seed]() {
        seed = seed * 1664525u + 1013904223u;
        const uint32_t w = seed ^ (seed >> 13);
        return (w >> 7) % 3 == 0 ? w & 0x00FFFFFFu : w;
    };
    PXPen pen(&stroke, new PXFlatTipFunction());
    for (int width = 1; width <= 21; ++width) {
        for (int left = -3; left + width <= W + 3; ++left) {
            const int top = left < 0 ? -4 : 1, bottom = left + width > W ? H + 4 : H - 1;
            const bool own = (width + left) % 2 == 0;
            PXSurface& src = own ? stroke : source;
            std::vector<uint32_t> want((size_t)W * H);
            for (int i = 0; i < W * H; ++i) {
                const uint32_t m = word(), s = own ? m : word(), t = word();
                std::memcpy(&stroke.pixels[i], &m, 4);
                std::memcpy(&src.pixels[i], &s, 4);
                std::memcpy(&target.pixels[i], &t, 4);
                const int col = i % W, row = i / W;
                const bool in = col >= left && col < left + width && row >= top && row < bottom;
                want[i] = !in || (m >> 24) == 0 ? t : (s >> 24) != 0 ? s : m;
            }
            pen.dirty = PXRectangle(left, top, left + width, bottom);
            pen.blend_out(&target, &src);
            ASSERT_EQ(memcmp(target.pixels, want.data(), want.size() * 4), 0) << left << " width " << width << " own " << own;
        }
    }
}

}  // namespace

namespace {

// A tip of a class of its own runs every pixel through the virtual weight,
// which is the per-pixel rule itself; the library's own tip classes take
// shortcuts that must not change a single pixel. Random dabs (sizes, centres
// on and off the edges, pressures, overlaps) through both must agree.
template <class T>
struct Wrapped : T {
    float GetWeight(float& r, double d) override { return T::GetWeight(r, d); }
};

// One batch of random dabs: a surface of w x h, sizes and opacities drawn
// from the given ranges.
struct Batch {
    int w, h, dabs;
    float size_lo, size_hi, opacity_lo, opacity_hi;
};

template <class T>
void SameAsPerPixelRule(const Batch& c) {
    brushtest::Random next{7};
    PXSurface fast(c.w, c.h), slow(c.w, c.h);
    PXPen a(&fast, new T()), b(&slow, new Wrapped<T>());
    for (int i = 0; i < c.dabs; ++i) {
        if (i % 50 == 0) {
            fast.ResetScanColor(0);
            slow.ResetScanColor(0);
        }
        const float size = next(c.size_lo, c.size_hi), p = next(0, 1);
        const float x = next(-12, c.w + 13), y = next(-12, c.h + 11);
        const float opacity = next(c.opacity_lo, c.opacity_hi);
        for (PXPen* pen : {&a, &b}) {
            Preset(*pen, size, opacity, 0.3f);
            pen->SetColor(1, 2, 3, (unsigned char)(i * 37));
        }
        ASSERT_EQ(a.ApplyDab(x, y, p), b.ApplyDab(x, y, p));
        ASSERT_EQ(memcmp(fast.pixels, slow.pixels, (size_t)c.w * c.h * 4), 0)
            << i << " size " << size << " at " << x << "," << y;
        ASSERT_EQ(a.new_pixels, b.new_pixels);
    }
}

TEST(PaintBrushDab, ShortcutsMatchThePerPixelRule) {
    // Ordinary dabs, many small ones (below radius 2), overlapping; then
    // boxes wider than the fast loops' column tables and strengths past
    // their error bound, which must fall back to the rule unchanged.
    const Batch batches[] = {
        {37, 29, 3000, 0.5f, 30.0f, 0.2f, 1.6f},
        {23, 19, 3000, 0.5f, 5.0f, 0.2f, 1.6f},
        {2100, 6, 40, 1000.0f, 5000.0f, 0.2f, 1.6f},
        {37, 29, 300, 0.5f, 30.0f, 5000.0f, 9000.0f},
    };
    for (const Batch& c : batches) {
        SameAsPerPixelRule<PXFlatTipFunction>(c);
        SameAsPerPixelRule<PXDullAntiAliasingTipFunction>(c);
        SameAsPerPixelRule<PXLinearTipFunction2>(c);
    }
}

}  // namespace
