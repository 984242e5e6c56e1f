// PXSurface: construction and copies, whole-surface operations, views and the
// three CopyFrom forms. Surfaces lie over padded buffers so that stride
// handling and stray writes into the padding show; expected pixels are
// worked out by hand from the placement rules.
#include <gtest/gtest.h>

#include <cstdint>
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

PXPixel Px(uint32_t w)
{
    PXPixel p;
    std::memcpy(static_cast<void*>(&p), &w, 4);
    return p;
}

// A w by h surface over a buffer with `pad` spare pixels after each row, each
// pixel holding 100 * y + x + 1 and the padding 0xDEADBEEF.
struct Padded {
    int w, h, stride;
    std::vector<PXPixel> buf;
    PXSurface s;

    Padded(const Padded&) = delete;
    Padded(int width, int height, int pad = 2)
        : w(width), h(height), stride(width + pad), buf(static_cast<size_t>(stride) * (height > 0 ? height : 1)),
          s(width, height, stride, buf.data(), true)
    {
        for (int y = 0; y < (height > 0 ? height : 1); ++y)
            for (int x = 0; x < stride; ++x)
                buf[static_cast<size_t>(y) * stride + x] = Px(x < w ? uint32_t(100 * y + x + 1) : 0xDEADBEEFu);
    }
    uint32_t at(int x, int y) const { return Word(buf[static_cast<size_t>(y) * stride + x]); }
    bool PaddingIntact() const
    {
        for (int y = 0; y < h; ++y)
            for (int x = w; x < stride; ++x)
                if (at(x, y) != 0xDEADBEEFu)
                    return false;
        return true;
    }
};

TEST(PXSurface, ConstructionAndDeepCopy)
{
    PXSurface owned(5, 3);
    EXPECT_EQ(owned.stride, 5);
    EXPECT_FALSE(owned.borrowed);
    EXPECT_TRUE(owned.IsAllZero());

    Padded src(4, 3);
    PXSurface copy(src.s);
    EXPECT_EQ(copy.width, 4);
    EXPECT_EQ(copy.height, 3);
    EXPECT_EQ(copy.stride, 4); // tight, whatever the source stride
    EXPECT_FALSE(copy.borrowed);
    EXPECT_NE(copy.pixels, src.s.pixels);
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 4; ++x)
            EXPECT_EQ(Word(copy.pixels[y * 4 + x]), src.at(x, y));

    PXSurface none(7, 7, 7, nullptr, false);
    PXSurface empty(none);
    EXPECT_EQ(empty.width, 0);
    EXPECT_EQ(empty.height, 0);
    EXPECT_EQ(empty.stride, 0);
    EXPECT_EQ(empty.pixels, nullptr);
    EXPECT_FALSE(empty.borrowed);
}

TEST(PXSurface, AssignmentFreesTheOldArrayWhateverItsFlag)
{
    Padded src(3, 2);
    PXSurface a(1, 1);
    a = src.s;
    EXPECT_EQ(a.width, 3);
    EXPECT_EQ(a.stride, 3);
    EXPECT_EQ(Word(a.pixels[3 + 2]), src.at(2, 1));
    a = a; // self-assignment does nothing
    EXPECT_EQ(a.width, 3);

    // A surface over a foreign malloc'd array: assignment frees that array
    // (the leak checker of the sanitizer build would report it otherwise) and
    // keeps borrowed true, so the new array is the caller's to free.
    PXPixel* foreign = static_cast<PXPixel*>(std::malloc(16));
    PXSurface view(2, 2, 2, foreign, true);
    view = src.s;
    EXPECT_TRUE(view.borrowed);
    EXPECT_NE(view.pixels, foreign);
    EXPECT_EQ(Word(view.pixels[0]), src.at(0, 0));
    std::free(view.pixels);
    view.pixels = nullptr;

    // From a surface without pixels nothing changes.
    PXSurface none(4, 4, 4, nullptr, false);
    PXPixel* before = a.pixels;
    a = none;
    EXPECT_EQ(a.pixels, before);
    EXPECT_EQ(a.width, 3);
}

TEST(PXSurface, WholeSurfaceOperationsHonourStride)
{
    Padded p(3, 2);
    p.s.ResetScanColor(0x11223344);
    EXPECT_EQ(p.s.pixels[0].b, 0x44);
    EXPECT_EQ(p.s.pixels[0].g, 0x33);
    EXPECT_EQ(p.s.pixels[0].r, 0x22);
    EXPECT_EQ(p.s.pixels[0].a, 0x11);
    EXPECT_EQ(p.at(2, 1), 0x11223344u);
    EXPECT_TRUE(p.PaddingIntact());

    // A tight scan goes to a strided surface row by row.
    const int scan[6] = {1, 2, 3, 4, 5, 6};
    p.s.ResetScan(scan);
    EXPECT_EQ(p.at(0, 1), 4u);
    EXPECT_EQ(p.at(2, 1), 6u);
    EXPECT_TRUE(p.PaddingIntact());

    p.s.Fill(PXPixel(1, 2, 3, 255));
    EXPECT_TRUE(p.s.IsOpaque());
    EXPECT_FALSE(p.s.IsAllZero());
    EXPECT_TRUE(p.PaddingIntact()); // the 0xDE alpha of the padding is not looked at either
    p.s.pixels[p.stride + 2].a = 254;
    EXPECT_FALSE(p.s.IsOpaque());
    p.s.ResetScanColor(0);
    EXPECT_TRUE(p.s.IsAllZero());
    EXPECT_FALSE(p.s.IsOpaque());
    p.s.pixels[p.stride + 2].g = 1;
    EXPECT_FALSE(p.s.IsAllZero());

    // Empty surfaces: opaque, all zero, and Fill writes nothing.
    for (auto [w, h] : {std::pair{0, 0}, std::pair{0, 2}, std::pair{2, 0}}) {
        std::vector<PXPixel> guard(4, Px(0xABCDEF01u));
        PXSurface e(w, h, 2, guard.data(), true);
        EXPECT_TRUE(e.IsOpaque());
        EXPECT_TRUE(e.IsAllZero());
        e.Fill(PXPixel(0, 0, 0, 0));
        e.ResetScanColor(0);
        e.FlipX();
        e.FlipY();
        for (const PXPixel& g : guard)
            EXPECT_EQ(Word(g), 0xABCDEF01u);
    }
}

TEST(PXSurface, Flips)
{
    // Pixels hold 100 * y + x + 1; a flip maps them as worked out per case.
    struct Case {
        int w, h;
        bool x;
    } cases[] = {{1, 3, true}, {3, 2, true}, {4, 2, true}, {2, 1, false}, {2, 3, false}, {3, 4, false}};
    for (const Case& c : cases) {
        Padded p(c.w, c.h);
        if (c.x)
            p.s.FlipX();
        else
            p.s.FlipY();
        for (int y = 0; y < c.h; ++y)
            for (int x = 0; x < c.w; ++x) {
                int sx = c.x ? c.w - 1 - x : x;
                int sy = c.x ? y : c.h - 1 - y;
                EXPECT_EQ(p.at(x, y), uint32_t(100 * sy + sx + 1)) << c.w << "x" << c.h << (c.x ? " X" : " Y");
            }
        EXPECT_TRUE(p.PaddingIntact());
    }
}

TEST(PXSurface, RowClampsOnlyVertically)
{
    Padded p(4, 3);
    EXPECT_EQ(p.s.Row(-5), p.s.pixels);
    EXPECT_EQ(p.s.Row(1), p.s.pixels + p.stride);
    EXPECT_EQ(p.s.Row(3), p.s.pixels + 2 * p.stride);
    EXPECT_EQ(p.s.Row(99), p.s.pixels + 2 * p.stride);
}

TEST(PXSurface, Views)
{
    Padded p(6, 4);
    PXSurface* self = &p.s;
    struct Case {
        const char* name;
        bool rectForm;
        int x, y, w, h;
        bool refused;
    } cases[] = {
        {"full size by position touches the edges", false, 0, 0, 6, 4, true},
        {"one short of both edges", false, 0, 0, 5, 3, false},
        {"reaching the right edge", false, 1, 0, 5, 2, true},
        {"reaching the bottom edge", false, 0, 1, 2, 3, true},
        {"negative x", false, -1, 0, 2, 2, true},
        {"negative y", false, 0, -1, 2, 2, true},
        {"inner", false, 2, 1, 3, 2, false},
        {"full rectangle", true, 0, 0, 6, 4, false},
        {"zero width", true, 1, 1, 0, 2, true},
        {"zero height", true, 1, 1, 2, 0, true},
        {"wider than the surface", true, 0, 0, 7, 2, true},
        {"taller than the surface", true, 0, 0, 2, 5, true},
        {"negative left", true, -1, 0, 2, 2, true},
        {"negative top", true, 0, -1, 2, 2, true},
        {"running past the right edge is accepted", true, 3, 1, 5, 2, false},
    };
    for (const Case& c : cases) {
        PXSurface* v = c.rectForm ? p.s.SubSurface(PXRectangle(c.x, c.y, c.x + c.w, c.y + c.h))
                                  : p.s.SubSurface(c.x, c.y, c.w, c.h);
        if (c.refused) {
            EXPECT_EQ(v, self) << c.name;
            continue;
        }
        ASSERT_NE(v, self) << c.name;
        EXPECT_EQ(v->width, c.w) << c.name;
        EXPECT_EQ(v->height, c.h) << c.name;
        EXPECT_EQ(v->stride, p.stride) << c.name;
        EXPECT_TRUE(v->borrowed) << c.name;
        EXPECT_EQ(v->pixels, p.s.pixels + c.y * p.stride + c.x) << c.name;
        delete v;
    }

    // A view of a view keeps the parent's stride.
    PXSurface* outer = p.s.SubSurface(1, 1, 4, 2);
    PXSurface* inner = outer->SubSurface(PXRectangle(1, 1, 3, 2));
    ASSERT_NE(inner, outer);
    EXPECT_EQ(Word(inner->pixels[0]), p.at(2, 2));
    delete inner;
    delete outer;
}

TEST(PXSurface, PlainCopy)
{
    // Ten source rows into four destination rows: rows 4 to 9 all land on
    // row 3, the last one winning.
    Padded src(3, 10);
    Padded dst(4, 4);
    dst.s.CopyFrom(&src.s);
    for (int y = 0; y < 4; ++y) {
        int sy = y < 3 ? y : 9;
        for (int x = 0; x < 3; ++x)
            EXPECT_EQ(dst.at(x, y), uint32_t(100 * sy + x + 1)) << x << "," << y;
        EXPECT_EQ(dst.at(3, y), uint32_t(100 * y + 4)); // past the source width: untouched
    }
    EXPECT_TRUE(dst.PaddingIntact());

    dst.s.CopyFrom(&dst.s); // copying a surface onto itself does nothing
    EXPECT_EQ(dst.at(0, 3), 901u);
}

TEST(PXSurface, PlacedCopyClips)
{
    // Source pixels hold 1000 + 100 * y + x; a destination pixel that receives
    // source (sx, sy) is checked against that, every other against its own value.
    struct Case {
        const char* name;
        int sw, sh, x, y;
    } cases[] = {
        {"inside", 2, 2, 1, 1},
        {"x = -3 starts at source column 3", 6, 2, -3, 1},
        {"clipped at the right and bottom", 4, 4, 3, 2},
        {"clipped at the top-left", 3, 3, -1, -2},
        {"covering the whole destination", 9, 9, -2, -2},
    };
    for (const Case& c : cases) {
        Padded src(c.sw, c.sh);
        for (int y = 0; y < c.sh; ++y)
            for (int x = 0; x < c.sw; ++x)
                src.buf[size_t(y) * src.stride + x] = Px(uint32_t(1000 + 100 * y + x));
        Padded dst(5, 4);
        dst.s.CopyFrom(&src.s, c.x, c.y);
        for (int y = 0; y < 4; ++y)
            for (int x = 0; x < 5; ++x) {
                int sx = x - c.x, sy = y - c.y;
                bool covered = sx >= 0 && sx < c.sw && sy >= 0 && sy < c.sh;
                uint32_t want = covered ? uint32_t(1000 + 100 * sy + sx) : uint32_t(100 * y + x + 1);
                EXPECT_EQ(dst.at(x, y), want) << c.name << " at " << x << "," << y;
            }
        EXPECT_TRUE(dst.PaddingIntact()) << c.name;
    }
}

TEST(PXSurface, RectangleCopy)
{
    struct Case {
        const char* name;
        PXRectangle rect;
        PXPoint point;
        int sx0, sy0, sx1, sy1; // source part copied (exclusive ends); empty: nothing
    } cases[] = {
        {"part to a point", {1, 1, 3, 3}, {0, 0}, 1, 1, 3, 3},
        {"unsorted rectangle", {3, 3, 1, 1}, {2, 1}, 1, 1, 3, 3},
        {"rectangle clipped to the source", {2, 2, 9, 9}, {1, 1}, 2, 2, 4, 4},
        {"point on the right edge", {0, 0, 2, 2}, {5, 0}, 0, 0, 0, 0},
        {"point on the bottom edge", {0, 0, 2, 2}, {0, 4}, 0, 0, 0, 0},
        {"point left of the surface", {0, 0, 2, 2}, {-1, 0}, 0, 0, 0, 0},
        {"point above the surface", {0, 0, 2, 2}, {0, -1}, 0, 0, 0, 0},
    };
    for (const Case& c : cases) {
        Padded src(4, 4);
        for (int y = 0; y < 4; ++y)
            for (int x = 0; x < 4; ++x)
                src.buf[size_t(y) * src.stride + x] = Px(uint32_t(1000 + 100 * y + x));
        Padded dst(5, 4);
        dst.s.CopyFrom(&src.s, c.rect, c.point);
        for (int y = 0; y < 4; ++y)
            for (int x = 0; x < 5; ++x) {
                int sx = c.sx0 + x - c.point.x, sy = c.sy0 + y - c.point.y;
                bool covered = sx >= c.sx0 && sx < c.sx1 && sy >= c.sy0 && sy < c.sy1;
                uint32_t want = covered ? uint32_t(1000 + 100 * sy + sx) : uint32_t(100 * y + x + 1);
                EXPECT_EQ(dst.at(x, y), want) << c.name << " at " << x << "," << y;
            }
        // The source is still there: its pixels read back.
        EXPECT_EQ(src.s.pixels, src.buf.data()) << c.name;
        EXPECT_EQ(Word(src.s.pixels[0]), 1000u) << c.name;
    }
}

TEST(PXSurface, Stubs)
{
    PXSurface s(2, 2);
    s.SaveSurface("/nonexistent/never-written.png");
    EXPECT_EQ(s.CreateSurfaceByImage("/nonexistent/image.png"), nullptr);
}

} // namespace
