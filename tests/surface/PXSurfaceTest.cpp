// PXSurface: construction and copies, whole-surface operations, views and the
// three CopyFrom forms. Surfaces lie over padded buffers so that stride
// handling and stray writes show; expected pixels follow the placement rules.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "surface/PXSurface.h"

namespace {

uint32_t Word(const PXPixel& p)
{
    uint32_t w;
    std::memcpy(&w, &p, 4);
    return w;
}

// A w by h surface over a buffer with 2 spare pixels after each row; pixel
// (x, y) holds base + 100 * y + x, the padding 0xDEADBEEF.
struct Padded {
    int w, h, stride;
    std::vector<uint32_t> buf;
    PXSurface s;

    Padded(const Padded&) = delete;
    Padded(int width, int height, uint32_t base = 1)
        : w(width), h(height), stride(width + 2), buf(size_t(stride) * height, 0xDEADBEEFu),
          s(width, height, stride, reinterpret_cast<PXPixel*>(buf.data()), true)
    {
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x)
                buf[size_t(y) * stride + x] = base + 100 * y + x;
    }
    uint32_t at(int x, int y) const { return buf[size_t(y) * stride + x]; }
    bool PaddingIntact() const
    {
        for (int y = 0; y < h; ++y)
            if (at(w, y) != 0xDEADBEEFu || at(w + 1, y) != 0xDEADBEEFu)
                return false;
        return true;
    }
};

TEST(PXSurface, ConstructionCopyAndAssignment)
{
    PXSurface owned(5, 3);
    EXPECT_TRUE(owned.stride == 5 && !owned.borrowed && owned.IsAllZero());

    Padded src(4, 3);
    PXSurface copy(src.s); // tight, whatever the source stride
    EXPECT_TRUE(copy.width == 4 && copy.height == 3 && copy.stride == 4 && !copy.borrowed);
    for (int i = 0; i < 12; ++i)
        EXPECT_EQ(Word(copy.pixels[i]), src.at(i % 4, i / 4));

    PXSurface none(7, 7, 7, nullptr, false);
    PXSurface empty(none);
    EXPECT_TRUE(empty.width == 0 && empty.height == 0 && empty.stride == 0 && !empty.pixels && !empty.borrowed);
    copy = none; // from a surface without pixels nothing changes
    EXPECT_EQ(copy.width, 4);

    // Assigning over a foreign malloc'd array frees it (the leak checker of the
    // sanitizer build would report it otherwise) and keeps borrowed true, so
    // the new array is the caller's to free.
    PXPixel* foreign = static_cast<PXPixel*>(std::malloc(16));
    PXSurface view(2, 2, 2, foreign, true);
    view = src.s;
    EXPECT_TRUE(view.borrowed && view.pixels != foreign && view.stride == 4);
    EXPECT_EQ(Word(view.pixels[4 + 3]), src.at(3, 1));
    const PXSurface& same = view;
    view = same; // self-assignment does nothing
    EXPECT_EQ(view.width, 4);
    std::free(view.pixels);
    view.pixels = nullptr;
}

TEST(PXSurface, WholeSurfaceOperationsHonourStride)
{
    Padded p(3, 2);
    p.s.ResetScanColor(0x11223344);
    const PXPixel& px = p.s.pixels[p.stride + 2];
    EXPECT_TRUE(px.b == 0x44 && px.g == 0x33 && px.r == 0x22 && px.a == 0x11);
    const int scan[6] = {1, 2, 3, 4, 5, 6}; // tight, onto a padded surface
    p.s.ResetScan(scan);
    EXPECT_TRUE(p.at(0, 1) == 4u && p.at(2, 1) == 6u);
    p.s.Fill(PXPixel(1, 2, 3, 255));
    EXPECT_TRUE(p.s.IsOpaque() && !p.s.IsAllZero()); // padding alpha 0xDE is not looked at
    EXPECT_TRUE(p.PaddingIntact());
    p.s.pixels[p.stride + 2].a = 254;
    EXPECT_FALSE(p.s.IsOpaque());
    p.s.ResetScanColor(0);
    EXPECT_TRUE(p.s.IsAllZero() && !p.s.IsOpaque());
    p.s.pixels[p.stride + 2].g = 1;
    EXPECT_FALSE(p.s.IsAllZero());

    // Empty surfaces are opaque and all zero, and nothing writes to them.
    for (auto [w, h] : {std::pair{0, 0}, std::pair{0, 2}, std::pair{2, 0}}) {
        std::vector<uint32_t> guard(4, 0xABCDEF01u);
        PXSurface e(w, h, 2, reinterpret_cast<PXPixel*>(guard.data()), true);
        EXPECT_TRUE(e.IsOpaque() && e.IsAllZero());
        e.Fill(PXPixel());
        e.ResetScanColor(0);
        e.FlipX();
        e.FlipY();
        EXPECT_EQ(guard, std::vector<uint32_t>(4, 0xABCDEF01u));
    }
}

TEST(PXSurface, FlipsAndRowClamp)
{
    // Odd sizes keep their middle column or row; sizes of 1 change nothing.
    struct {
        int w, h;
        bool x;
    } cases[] = {{1, 3, true}, {3, 2, true}, {4, 2, true}, {2, 1, false}, {2, 3, false}, {3, 4, false}};
    for (const auto& c : cases) {
        Padded p(c.w, c.h);
        c.x ? p.s.FlipX() : p.s.FlipY();
        for (int y = 0; y < c.h; ++y)
            for (int x = 0; x < c.w; ++x)
                EXPECT_EQ(p.at(x, y), c.x ? 1 + 100 * y + (c.w - 1 - x) : 1 + 100 * (c.h - 1 - y) + x)
                    << c.w << "x" << c.h;
        EXPECT_TRUE(p.PaddingIntact());
    }
    Padded p(4, 3);
    EXPECT_EQ(p.s.Row(-5), p.s.pixels);
    EXPECT_EQ(p.s.Row(1), p.s.pixels + p.stride);
    EXPECT_EQ(p.s.Row(99), p.s.pixels + 2 * p.stride);
}

TEST(PXSurface, Views)
{
    Padded p(6, 4);
    struct {
        bool rect;
        int x, y, w, h;
        bool refused;
    } cases[] = {
        {false, 0, 0, 6, 4, true},  // full size by position touches the far edges
        {false, 0, 0, 5, 3, false}, {false, 2, 1, 3, 2, false},
        {false, 1, 0, 5, 2, true},  {false, 0, 1, 2, 3, true}, // reaching the right / bottom edge
        {false, -1, 0, 2, 2, true}, {false, 0, -1, 2, 2, true},
        {true, 0, 0, 6, 4, false},  // the rectangle form compares sizes: full view
        {true, 3, 1, 5, 2, false},  // and so accepts a view running past the right edge
        {true, 1, 1, 0, 2, true},   {true, 1, 1, 2, 0, true},  {true, 0, 0, 7, 2, true},
        {true, 0, 0, 2, 5, true},   {true, -1, 0, 2, 2, true}, {true, 0, -1, 2, 2, true},
    };
    for (const auto& c : cases) {
        PXSurface* v = c.rect ? p.s.SubSurface(PXRectangle(c.x, c.y, c.x + c.w, c.y + c.h))
                              : p.s.SubSurface(c.x, c.y, c.w, c.h);
        SCOPED_TRACE(::testing::Message() << c.x << "," << c.y << " " << c.w << "x" << c.h);
        if (c.refused) {
            EXPECT_EQ(v, &p.s);
            continue;
        }
        ASSERT_NE(v, &p.s);
        EXPECT_TRUE(v->width == c.w && v->height == c.h && v->stride == p.stride && v->borrowed);
        EXPECT_EQ(v->pixels, p.s.pixels + c.y * p.stride + c.x);
        PXSurface* inner = v->SubSurface(PXRectangle(1, 1, 2, 2)); // a view of a view
        EXPECT_EQ(Word(inner->pixels[0]), p.at(c.x + 1, c.y + 1));
        delete inner;
        delete v;
    }
}

TEST(PXSurface, Copies)
{
    // Plain copy: ten source rows into four, rows 4 to 9 landing on row 3.
    Padded tall(3, 10, 5000), dst(4, 4);
    dst.s.CopyFrom(&tall.s);
    for (int y = 0; y < 4; ++y) {
        for (int x = 0; x < 3; ++x)
            EXPECT_EQ(dst.at(x, y), 5000u + 100 * (y < 3 ? y : 9) + x);
        EXPECT_EQ(dst.at(3, y), 1u + 100 * y + 3); // past the source width
    }
    dst.s.CopyFrom(&dst.s); // onto itself: nothing
    EXPECT_EQ(dst.at(0, 3), 5900u);

    // Placed copy at (x, y) and rectangle copy of (sx0, sy0)-(sx1, sy1) to (x, y):
    // a destination pixel covered by the clipped source part receives it.
    struct {
        bool rect;
        int sw, sh, x, y;
        PXRectangle part;
    } cases[] = {
        {false, 2, 2, 1, 1, {}}, {false, 6, 2, -3, 1, {}}, // x = -3: from source column 3
        {false, 4, 4, 3, 2, {}}, {false, 3, 3, -1, -2, {}}, {false, 9, 9, -2, -2, {}},
        {true, 4, 4, 0, 0, {1, 1, 3, 3}}, {true, 4, 4, 2, 1, {3, 3, 1, 1}}, // unsorted
        {true, 4, 4, 1, 1, {2, 2, 9, 9}},                                  // clipped to the source
        {true, 4, 4, 5, 0, {0, 0, 2, 2}}, {true, 4, 4, 0, 4, {0, 0, 2, 2}}, // point on the far edges
        {true, 4, 4, -1, 0, {0, 0, 2, 2}}, {true, 4, 4, 0, -1, {0, 0, 2, 2}},
    };
    for (const auto& c : cases) {
        Padded src(c.sw, c.sh, 1000), d(5, 4);
        PXRectangle part = c.part;
        part.sort();
        part.right = std::min(part.right, c.sw), part.bottom = std::min(part.bottom, c.sh);
        bool copies = !c.rect || (c.x >= 0 && c.x < 5 && c.y >= 0 && c.y < 4);
        if (!c.rect)
            part = PXRectangle(0, 0, c.sw, c.sh);
        c.rect ? d.s.CopyFrom(&src.s, c.part, PXPoint(c.x, c.y)) : d.s.CopyFrom(&src.s, c.x, c.y);
        for (int y = 0; y < 4; ++y)
            for (int x = 0; x < 5; ++x) {
                int sx = x - c.x + (c.rect ? part.left : 0), sy = y - c.y + (c.rect ? part.top : 0);
                bool hit = copies && sx >= part.left && sx < part.right && sy >= part.top && sy < part.bottom;
                EXPECT_EQ(d.at(x, y), hit ? 1000u + 100 * sy + sx : 1u + 100 * y + x)
                    << (c.rect ? "rect" : "placed") << " to " << c.x << "," << c.y << " at " << x << "," << y;
            }
        EXPECT_TRUE(d.PaddingIntact());
        EXPECT_EQ(src.s.pixels, reinterpret_cast<PXPixel*>(src.buf.data())); // the source is alive
    }
}

} // namespace
