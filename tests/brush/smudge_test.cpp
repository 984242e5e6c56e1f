// The smudge dab: the drag vector, the colours it moves into empty pixels and
// the alpha an empty source wipes. Worked by hand from a flat tip (weight 1
// inside the radius, (r + 1 - sqrt d) / 2 in the ring beyond it).
#include <gtest/gtest.h>

#include <cmath>

#include "brush/PXFilterBrushes.h"
#include "brush/PXTipFunction.h"

namespace {

struct Smudge {
    PXSurface s;
    PXSmudgeBrush b;
    Smudge(int w, int h, float size) : s(w, h), b(&s, new PXFlatTipFunction()) {
        b.size = size;
        b.min_size = 1.0f;
        b.opacity = 1.0f;
    }
    PXPixel& At(int x, int y) { return s.pixels[y * s.stride + x]; }
};

// One blue pixel at (8, 8), a dab of radius 4 on it: the pixel is picked up
// and laid down (ox, oy) further on, cos and sin times 1.6 rounded half away
// from zero; where it stood the empty source wipes the alpha.
TEST(Smudge, DragVector) {
    struct { float angle; int ox, oy; } cases[] = {
        {0.0f, 2, 0},                         // 1.6 -> 2
        {3.14159265f, -2, 0},
        {1.57079633f, 0, 2},
        {1.0f, 1, 1},                         // 0.864, 1.346: truncation would give 0
        {-2.0f, -1, -1},                      // -0.666, -1.455
        {4294967296.0f, -1, -1},              // direction unknown: -1.419, -0.739
    };
    for (auto& c : cases) {
        Smudge m(16, 16, 8.0f);
        m.At(8, 8) = PXPixel(200, 0, 0, 255);
        EXPECT_EQ(m.b.ApplyDab(8.0f, 8.0f, 1.0f, c.angle), 4.0f);
        int found = 0;
        for (int y = 0; y < 16; ++y)
            for (int x = 0; x < 16; ++x)
                if (m.At(x, y).b == 200 && m.At(x, y).a != 0) {
                    ++found;
                    EXPECT_TRUE(x == 8 + c.ox && y == 8 + c.oy) << c.angle << ": at " << x << "," << y;
                }
        EXPECT_EQ(found, 1) << c.angle;
        EXPECT_EQ(m.At(8, 8).a, 0) << c.angle;
    }
}

// Radius 2 at (9, 4) moving right, row 4 of the box (columns 6..11). Each pixel
// takes the source two columns to its left. Empty pixels take its colour (black
// for an empty source) with the tip's alpha: 255 within the radius, and 57 at
// column 11 (d = 6.5: (3 - 2.5495) / 2 * 255). Inked pixels keep their colour
// and take the smaller of the source's alpha and their own "over" a.
TEST(Smudge, MovesColoursAndWipes) {
    struct Row {
        int ink_from, ink_to;  // inked columns, blue 10 * (column + 1)
        int b[6], a[6];
    } rows[] = {
        // Gradient on the left: columns 8, 9 repeat 6, 7; 10, 11 pick up nothing.
        {0, 7, {70, 80, 70, 80, 0, 0}, {255, 255, 255, 255, 255, 57}},
        // Ink on the right: columns 8, 9 had empty pixels behind them and are wiped.
        {8, 15, {0, 0, 90, 100, 110, 120}, {57, 255, 0, 0, 255, 255}},
    };
    for (auto& r : rows) {
        Smudge m(16, 8, 4.0f);
        for (int y = 0; y < 8; ++y)
            for (int x = r.ink_from; x <= r.ink_to; ++x)
                m.At(x, y) = PXPixel((uint8_t)(10 * (x + 1)), 0, 0, 255);
        m.b.ApplyDab(9.0f, 4.0f, 1.0f, 0.0f);
        for (int i = 0; i < 6; ++i) {
            EXPECT_EQ(m.At(6 + i, 4).b, r.b[i]) << r.ink_from << " column " << 6 + i;
            EXPECT_EQ(m.At(6 + i, 4).a, r.a[i]) << r.ink_from << " column " << 6 + i;
        }
    }
}

}  // namespace
