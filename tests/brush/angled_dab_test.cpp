// Image dabs: quad, triangle rasteriser and bilinear mask. Expected alphas are
// worked by hand from the 16.16 edge and scanline rules (each case says how).
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "brush/PXPaintBaseJitterAngle.h"
#include "brush/PXTipFunction.h"
#include "brush_test.h"

namespace {

// 2 x 2 mask, left column 0 and right column 255 in byte 0: along a row the
// mix at fraction fx is (255 * fx) >> 8, whatever the row fraction.
struct Dab {
    PXSurface s{16, 16};
    PXSurface img{2, 2};
    PXBristleBrush b{&s, new PXFlatTipFunction()};
    explicit Dab(bool ramp = true) {
        const int v[4] = {0, 255, 0, 255}, w[4] = {10, 20, 30, 40};
        for (int i = 0; i < 4; ++i)
            img.pixels[i] = PXPixel((uint8_t)(ramp ? v[i] : w[i]), 0, 0, 255);
        b.dab_image = &img;
        b.dab_diagonal = std::sqrt(8.0f);
        b.size = 8.0f;
        b.opacity = 1.0f;
        b.min_opacity = 0.0f;
        b.min_size = 0.0f;
        b.spacing = 0.2f;
    }
    int A(int x, int y) const { return s.pixels[y * s.stride + x].a; }
    std::vector<int> Alphas() const { return brushtest::Alphas(s); }
};

// Size 8 at pressure 1: E = 8, scale 8 / sqrt 8, half size trunc(-2.83) = -2,
// so the quad is (6,6)-(10,10), alpha 255. Triangle (v0, v1, v2): rows 6, 7
// start at u fractions 1/4, 1/2, 3/4 (du = 16384) from columns 7, 7 and 8 on;
// triangle (v0, v2, v3): du = 16383, row 8 column 7 at fx 63, row 9 columns
// 7, 8 at fx 63, 127. Column 6 samples u 0, mask 0.
TEST(AngledDab, QuadAtAngleZeroByHand) {
    Dab d;
    EXPECT_FLOAT_EQ(d.b.ApplyDab(8.0f, 8.0f, 1.0f, 0.0f), 4.0f);
    const int want[4][4] = {{0, 63, 127, 191}, {0, 63, 127, 191}, {0, 62, 127, 191}, {0, 62, 126, 0}};
    int inked = 0;
    for (int y = 0; y < 16; ++y)
        for (int x = 0; x < 16; ++x) {
            const bool in = x >= 6 && x < 10 && y >= 6 && y < 10;
            EXPECT_EQ(d.A(x, y), in ? want[y - 6][x - 6] : 0) << x << "," << y;
            inked += d.A(x, y) != 0;
        }
    EXPECT_EQ(d.b.new_pixels, inked);
}

// One row high: n is 0, the edges never step, row 5 is drawn from x 2 to 6 at
// du = 65536 * 65536 / (4 << 16) = 16384.
TEST(AngledDab, OneRowTriangle) {
    Dab d;
    PixVertex a{2, 5, 0, 0}, b{6, 5, 1, 0}, c{2, 6, 0, 0};
    d.b.DrawTriangle(a, b, c, 255);
    EXPECT_EQ(d.A(3, 5), 63);
    EXPECT_EQ(d.A(4, 5), 127);
    EXPECT_EQ(d.A(5, 5), 191);
    EXPECT_EQ(d.b.new_pixels, 3);
    EXPECT_EQ(a.y, 5.0f);  // the caller's vertices stay as given
    EXPECT_EQ(c.y, 6.0f);
}

// Mask 10 20 / 30 40. Negative u or v clamps to column or row 0 with no
// interpolation, past the far edge to the last one; a half fraction mixes.
TEST(AngledDab, ScanlineSampleClamps) {
    struct Case { int u, v, m; } cases[] = {
        {-5, -5, 10},
        {10 << 16, 10 << 16, 40},
        {-1, 32768, 20},      // rows 10 and 30 half and half
        {32768, -1, 15},      // columns 10 and 20 half and half
        {32768, 32768, 25},   // all four a quarter each
        {1 << 16, -1, 20},    // exactly the last column: no step
    };
    for (const Case& c : cases) {
        Dab d(false);
        d.b.DrawScanlineDA(3, 4, 1, c.u, c.v, 0, 0, 255);
        EXPECT_EQ(d.A(3, 4), c.m) << c.u << "," << c.v;
        // Half strength: a = m * 127 / 255.
        Dab h(false);
        h.b.DrawScanlineDA(3, 4, 1, c.u, c.v, 0, 0, 127);
        EXPECT_EQ(h.A(3, 4), c.m * 127 / 255);
    }
    // On a coloured image only byte 0 (blue) masks the ink; the bytes after
    // it, alpha included, are not read: 90 at full strength.
    Dab d(false);
    d.img.pixels[0] = PXPixel(90, 200, 30, 250);
    d.b.DrawScanlineDA(3, 4, 1, -5, -5, 0, 0, 255);
    EXPECT_EQ(d.A(3, 4), 90);
}

// Degenerate and ignored inputs, each against a reference surface.
TEST(AngledDab, DegenerateAndUnturned) {
    {   // D <= 1: radius 0.5, the quad collapses to a point, nothing is drawn,
        // but DrawLine still steps by 2 * 0.5 * 0.2.
        Dab d;
        d.b.size = 0.5f;
        const PenPoint p{8, 8, 1, 0, 0};
        EXPECT_FLOAT_EQ(d.b.DrawLine(p, p, 0.0f), 0.2f);
        EXPECT_EQ(d.b.new_pixels, 0);
    }
    {   // No image: DrawLine returns 0 before anything else.
        Dab d;
        d.b.dab_image = nullptr;
        EXPECT_EQ(d.b.DrawLine({1, 1, 1, 0, 0}, {9, 9, 1, 0, 0}, 0.0f), 0.0f);
        EXPECT_EQ(d.b.new_pixels, 0);
    }
    {   // use_jitter with angle_jitter 0 ignores the angle: same as angle 0.
        Dab turned, plain;
        turned.b.use_jitter = true;
        turned.b.ApplyDab(8.0f, 8.0f, 1.0f, 1.0f);
        plain.b.ApplyDab(8.0f, 8.0f, 1.0f, 0.0f);
        EXPECT_EQ(turned.Alphas(), plain.Alphas());
        // Without use_jitter the same angle turns the dab.
        Dab free;
        free.b.ApplyDab(8.0f, 8.0f, 1.0f, 1.0f);
        EXPECT_NE(free.Alphas(), plain.Alphas());
    }
}

// A quarter turn maps the corner (-2, -2) to (-2, 2): c = cos(-pi/2) ~ 0,
// s = -1, so X' = c X - s Y + x = Y + x and Y' = s X + c Y + y = -X + y.
TEST(AngledDab, QuadCorners) {
    Dab d;
    PixVertex v[4];
    d.b.CalcDstQuad(8.5f, 8.25f, std::sqrt(8.0f), (float)(M_PI / 2), v[0], v[1], v[2], v[3]);
    const float want[4][4] = {{6.5f, 10.25f, 0, 0}, {6.5f, 6.25f, 1, 0}, {10.5f, 6.25f, 1, 1}, {10.5f, 10.25f, 0, 1}};
    for (int i = 0; i < 4; ++i) {
        EXPECT_NEAR(v[i].x, want[i][0], 1e-5) << i;
        EXPECT_NEAR(v[i].y, want[i][1], 1e-5) << i;
        EXPECT_EQ(v[i].u, want[i][2]);
        EXPECT_EQ(v[i].v, want[i][3]);
    }
}

}  // namespace
