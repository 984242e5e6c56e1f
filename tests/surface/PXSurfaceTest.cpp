// PXSurface: construction and copies, whole-surface operations, views and the
// three CopyFrom forms. Surfaces lie over padded buffers so that stride
// handling and stray writes show; expected pixels follow the placement rules.
#include <gtest/gtest.h>

#include <algorithm>
#include <utility>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "surface/PXSurface.h"

namespace {

// A w by h surface over a buffer with 2 spare pixels after each row; pixel
// (x, y) holds base + 100 * y + x, the padding 0xDEADBEEF.
struct Padded {
    int w, h, stride;
    std::vector<uint32_t> buf;
    PXSurface s;

    Padded(int width, int height, uint32_t base = 1)
        : w(width), h(height), stride(width + 2), buf(size_t(stride) * height, 0xDEADBEEFu),
          s(width, height, stride, reinterpret_cast<PXPixel*>(buf.data()), true)
    {
        for (int i = 0; i < w * h; ++i)
            buf[size_t(i / w) * stride + i % w] = base + 100 * (i / w) + i % w;
    }
    uint32_t at(int x, int y) const { return buf[size_t(y) * stride + x]; }
    bool PaddingIntact() const { return std::count(buf.begin(), buf.end(), 0xDEADBEEFu) == 2 * h; }
};

TEST(PXSurface, ConstructionCopyAndAssignment)
{
    PXSurface owned(5, 3);
    EXPECT_TRUE(owned.stride == 5 && !owned.borrowed && owned.IsAllZero());
    Padded src(4, 3);
    PXSurface copy(src.s); // tight, whatever the source stride
    EXPECT_TRUE(copy.width == 4 && copy.height == 3 && copy.stride == 4 && !copy.borrowed);
    for (int y = 0; y < 3; ++y)
        EXPECT_EQ(std::memcmp(copy.pixels + 4 * y, &src.buf[size_t(y) * src.stride], 16), 0) << y;

    // From a surface without pixels: an empty copy, and no change by assignment.
    PXSurface none(7, 7, 7, nullptr, false), empty(none);
    copy = none;
    EXPECT_TRUE(empty.width == 0 && empty.height == 0 && empty.stride == 0 && !empty.pixels && copy.width == 4);

    // Assigning over a foreign malloc'd array frees it (the sanitizer build's
    // leak checker would report it otherwise) and keeps borrowed true, so the
    // new array is the caller's to free.
    PXSurface view(2, 2, 2, static_cast<PXPixel*>(std::malloc(16)), true);
    view = src.s;
    EXPECT_TRUE(view.borrowed && view.stride == 4 && std::memcmp(view.pixels + 4 + 3, &src.buf[src.stride + 3], 4) == 0);
    const PXSurface& same = view;
    view = same; // self-assignment does nothing
    std::free(view.pixels);
    view.pixels = nullptr;
}

TEST(PXSurface, WholeSurfaceOperationsHonourStride)
{
    Padded p(3, 2);
    p.s.ResetScanColor(0x11223344);
    EXPECT_EQ(p.at(2, 1), 0x11223344u);
    const int scan[6] = {1, 2, 3, 4, 5, 6}; // tight, onto a padded surface
    p.s.ResetScan(scan);
    EXPECT_TRUE(p.at(0, 1) == 4u && p.at(2, 1) == 6u);
    p.s.Fill(PXPixel(1, 2, 3, 255));
    EXPECT_TRUE(p.s.IsOpaque() && !p.s.IsAllZero() && p.PaddingIntact()); // padding alpha 0xDE is not looked at
    p.s.pixels[p.stride + 2].a = 254;
    EXPECT_FALSE(p.s.IsOpaque());
    p.s.ResetScanColor(0);
    EXPECT_TRUE(p.s.IsAllZero() && !p.s.IsOpaque());
    p.s.pixels[p.stride + 2].g = 1; // the last pixel, past the first row's padding
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
    for (auto [w, h, x] : {std::tuple{1, 3, true}, {3, 2, true}, {4, 2, true}, {2, 1, false}, {2, 3, false}, {3, 4, false}}) {
        Padded p(w, h);
        x ? p.s.FlipX() : p.s.FlipY();
        for (int i = 0; i < w * h; ++i)
            EXPECT_EQ(p.at(i % w, i / w), x ? 1 + 100 * (i / w) + (w - 1 - i % w) : 1 + 100 * (h - 1 - i / w) + i % w)
                << w << "x" << h << " at " << i;
        EXPECT_TRUE(p.PaddingIntact());
    }
    // Rows clamp into 0..height-1: height itself is the last row.
    Padded p(4, 3);
    for (auto [y, row] : {std::pair{-5, 0}, {0, 0}, {1, 1}, {2, 2}, {3, 2}, {99, 2}})
        EXPECT_EQ(p.s.Row(y), p.s.pixels + row * p.stride) << y;
}

TEST(PXSurface, Views)
{
    // rectangle form or not, x, y, w, h, refused. By position a view may not
    // reach the right or bottom edge, so the full size is refused; the
    // rectangle form compares sizes, so it gives a full view and accepts one
    // running past the right edge, but refuses empty and oversized ones.
    Padded p(6, 4);
    const std::tuple<bool, int, int, int, int, bool> cases[] = {
        {false, 0, 0, 6, 4, true}, {false, 0, 0, 5, 3, false}, {false, 2, 1, 3, 2, false}, {false, 1, 0, 5, 2, true},
        {false, 0, 1, 2, 3, true}, {false, -1, 0, 2, 2, true}, {false, 0, -1, 2, 2, true}, {true, 0, 0, 6, 4, false},
        {true, 3, 1, 5, 2, false}, {true, 1, 1, 0, 2, true}, {true, 1, 1, 2, 0, true}, {true, 0, 0, 7, 2, true},
        {true, 0, 0, 2, 5, true}, {true, -1, 0, 2, 2, true}, {true, 0, -1, 2, 2, true},
    };
    for (auto [rect, x, y, w, h, refused] : cases) {
        PXSurface* v = rect ? p.s.SubSurface(PXRectangle(x, y, x + w, y + h)) : p.s.SubSurface(x, y, w, h);
        SCOPED_TRACE(::testing::Message() << x << "," << y << " " << w << "x" << h);
        EXPECT_EQ(v == &p.s, refused);
        if (v != &p.s) {
            EXPECT_TRUE(v->width == w && v->height == h && v->stride == p.stride && v->borrowed);
            EXPECT_EQ(v->pixels, p.s.pixels + y * p.stride + x);
            delete v;
        }
    }
}

TEST(PXSurface, Copies)
{
    // Plain copy: ten source rows into four, rows 4 to 9 landing on row 3;
    // column 3 lies past the source width.
    Padded tall(3, 10, 5000), dst(4, 4);
    dst.s.CopyFrom(&tall.s);
    for (int i = 0; i < 16; ++i)
        EXPECT_EQ(dst.at(i % 4, i / 4), i % 4 < 3 ? 5000u + 100 * (i / 4 < 3 ? i / 4 : 9) + i % 4 : 1u + 100 * (i / 4) + 3);
    dst.s.CopyFrom(&dst.s); // onto itself: nothing
    EXPECT_EQ(dst.at(0, 3), 5900u);

    // Placed copy of a sw by sh source at (x, y), and rectangle copy of part
    // (sx0, sy0)-(sx1, sy1) to (x, y): a destination pixel covered by the
    // clipped source part receives it. Placed at x = -3 the copy starts from
    // source column 3; parts may be unsorted or run past the source; a point
    // on or past the far edges, or negative, copies nothing.
    const std::tuple<bool, int, int, int, int, PXRectangle> cases[] = {
        {false, 2, 2, 1, 1, {}}, {false, 6, 2, -3, 1, {}}, {false, 4, 4, 3, 2, {}}, {false, 3, 3, -1, -2, {}},
        {false, 9, 9, -2, -2, {}}, {true, 4, 4, 0, 0, {1, 1, 3, 3}}, {true, 4, 4, 2, 1, {3, 3, 1, 1}},
        {true, 4, 4, 1, 1, {2, 2, 9, 9}}, {true, 4, 4, 5, 0, {0, 0, 2, 2}}, {true, 4, 4, 0, 4, {0, 0, 2, 2}},
        {true, 4, 4, -1, 0, {0, 0, 2, 2}}, {true, 4, 4, 0, -1, {0, 0, 2, 2}},
    };
    for (auto [rect, sw, sh, x, y, given] : cases) {
        Padded src(sw, sh, 1000), d(5, 4);
        PXRectangle part = rect ? given : PXRectangle(0, 0, sw, sh);
        part.sort();
        part.right = std::min(part.right, sw), part.bottom = std::min(part.bottom, sh);
        const bool copies = !rect || (x >= 0 && x < 5 && y >= 0 && y < 4);
        rect ? d.s.CopyFrom(&src.s, given, PXPoint(x, y)) : d.s.CopyFrom(&src.s, x, y);
        for (int i = 0; i < 20; ++i) {
            const int sx = i % 5 - x + (rect ? part.left : 0), sy = i / 5 - y + (rect ? part.top : 0);
            const bool hit = copies && sx >= part.left && sx < part.right && sy >= part.top && sy < part.bottom;
            EXPECT_EQ(d.at(i % 5, i / 5), hit ? 1000u + 100 * sy + sx : 1u + 100 * (i / 5) + i % 5)
                << (rect ? "rect" : "placed") << " to " << x << "," << y << " at " << i;
        }
        EXPECT_TRUE(d.PaddingIntact());
        EXPECT_EQ(src.s.pixels, reinterpret_cast<PXPixel*>(src.buf.data())); // the source is alive
    }
}

} // namespace
