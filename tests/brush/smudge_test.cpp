// The smudge dab: the drag vector, the colours it moves into empty pixels and
// the alpha an empty source wipes, worked by hand from a flat tip (weight 1
// inside the radius, (r + 1 - sqrt d) / 2 in the ring beyond).
#include <gtest/gtest.h>

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

// One blue pixel at (8, 8) under a dab of radius 4: it is laid down again at
// (8 + ox, 8 + oy), cos and sin times 1.6 rounded half away from zero, and the
// empty source behind its old place wipes that one's alpha.
TEST(Smudge, DragVector) {
    struct { float angle; int ox, oy; } cases[] = {
        {0.0f, 2, 0}, {3.14159265f, -2, 0}, {1.57079633f, 0, 2},
        {1.0f, 1, 1},             // 0.864, 1.346: truncation would give 0
        {-2.0f, -1, -1},          // -0.666, -1.455
        {4294967296.0f, -1, -1},  // no direction: cos and sin of 2^32 give -1.419, -0.739
    };
    for (auto& c : cases) {
        Smudge m(16, 16, 8.0f);
        m.At(8, 8) = PXPixel(200, 0, 0, 255);
        EXPECT_EQ(m.b.ApplyDab(8.0f, 8.0f, 1.0f, c.angle), 4.0f);
        int found = 0;
        for (int i = 0; i < 256; ++i)
            found += m.s.pixels[i].b == 200 && m.s.pixels[i].a != 0;
        EXPECT_EQ(found, 1) << c.angle;
        EXPECT_EQ(m.At(8 + c.ox, 8 + c.oy).b, 200) << c.angle;
        EXPECT_EQ(m.At(8, 8).a, 0) << c.angle;
    }
}

// Radius 2 at (9, 4) moving right, row 4, columns 6..11: each takes the source
// two columns to its left. Empty pixels take its colour (black from an empty
// source) with alpha 255, 57 at column 11 (d = 6.5: (3 - 2.5495) / 2 * 255).
// Inked ones keep their colour; alpha is the smaller of the source's and their "over".
TEST(Smudge, MovesColoursAndWipes) {
    struct { int ink_from, ink_to, b[6], a[6]; } rows[] = {  // inked: blue 10 * (column + 1)
        {0, 7, {70, 80, 70, 80, 0, 0}, {255, 255, 255, 255, 255, 57}},
        {8, 15, {0, 0, 90, 100, 110, 120}, {57, 255, 0, 0, 255, 255}},  // 8, 9 wiped
    };
    for (auto& r : rows) {
        Smudge m(16, 8, 4.0f);
        for (int y = 0; y < 8; ++y)
            for (int x = r.ink_from; x <= r.ink_to; ++x)
                m.At(x, y) = PXPixel((uint8_t)(10 * (x + 1)), 0, 0, 255);
        m.b.ApplyDab(9.0f, 4.0f, 1.0f, 0.0f);
        for (int i = 0; i < 6; ++i)
            EXPECT_TRUE(m.At(6 + i, 4).b == r.b[i] && m.At(6 + i, 4).a == r.a[i]) << r.ink_from << ": " << 6 + i;
    }
}

}  // namespace
