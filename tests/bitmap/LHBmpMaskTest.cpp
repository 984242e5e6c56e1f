// Masks, clipping and the 32-bit compositions. Expected grids are worked by
// hand from the coverage and walking rules.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "bitmap/LHBmp.h"

namespace {

LHFIX64 F(double d)
{
    return LHFIX64::raw(int64_t(d * 67108864.0));
}

std::vector<int> Grid(const CLHBmp& b, int step = 1, int at = 0)
{
    std::vector<int> v;
    for (int y = 0; y < b.height; ++y)
        for (int x = 0; x < b.width; ++x)
            v.push_back(b.bits[y * b.stride + x * step + at]);
    return v;
}

std::vector<int> Raw(const CLHBmp& b)
{
    return std::vector<int>(b.bits, b.bits + b.stride * b.height);
}

struct RectCase {
    const char* name;
    double l, t, r, b;
    std::vector<int> want;
};

TEST(CLHBmp, MaskRect)
{
    const std::vector<int> full(25, 255), none(25, 0);
    const RectCase cases[] = {
        // cl = ct = 255 - round(.5 * 255) = 127, cr = cb = 128; corners by
        // products / 255 (63, 63, 63, 64), edges by one coverage.
        {"general", 1.5, 1.5, 3.5, 3.5,
         {0, 0, 0, 0, 0, 0, 63, 127, 63, 0, 0, 127, 255, 128, 0, 0, 63, 128, 64, 0, 0, 0, 0, 0, 0}},
        // Four different edges (binary fractions, so exact): cl = 255 - 64
        // = 191, ct = 255 - 32 = 223, cr = round(.625 * 255) = 159, cb =
        // round(.375 * 255) = 96; corners 191*223/255 = 167, 223*159/255 =
        // 139, 191*96/255 = 71, 159*96/255 = 59.
        {"four edges", 1.25, 1.125, 3.625, 3.375,
         {0, 0, 0, 0, 0, 0, 167, 223, 139, 0, 0, 191, 255, 159, 0, 0, 71, 96, 59, 0, 0, 0, 0, 0, 0}},
        {"covers all", -1.5, -1.5, 6.5, 6.5, full},
        {"empty", 3, 1, 3, 4, none},
        {"misses", 6, 0, 8, 5, none},
        // one row: c = 255 - cb = 255 - 204 = 51; 127*51/255 = 25, 51, 128*51/255 = 25
        {"one row", 1.5, 2.2, 3.5, 2.8, {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 25, 51, 25, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
        // one column at 3: c = 255 - cr = 51. The first clear runs for
        // w - il - 1 = 1 byte into row 1, so columns 1 and 2 of it survive.
        {"one column", 3.2, 1.5, 3.8, 3.5, {0, 0, 0, 0, 0, 0, 255, 255, 25, 0, 0, 0, 0, 51, 0, 0, 0, 0, 25, 0, 0, 0, 0, 0, 0}},
        // one pixel: (255 - 204) * (255 - 204) / 255 = 10
        {"one pixel", 2.2, 2.2, 2.8, 2.8, {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 10, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
    };
    for (const RectCase& c : cases) {
        CLHBmp8 g(5, 5, 5);
        std::memset(g.bits, 255, 25);
        EXPECT_TRUE(g.mask_rect({F(c.l), F(c.t), F(c.r), F(c.b)}, {0, 0})) << c.name;
        EXPECT_EQ(Grid(g), c.want) << c.name;

        // 32-bit: alpha follows the same grid; colour stays where alpha is
        // only lowered and is cleared where the pixel is cleared.
        CLHBmp32 p(5, 5, 20);
        std::memset(p.bits, 255, 100);
        EXPECT_TRUE(p.mask_rect({F(c.l), F(c.t), F(c.r), F(c.b)}, {0, 0})) << c.name;
        EXPECT_EQ(Grid(p, 4, 3), c.want) << c.name;
        const std::vector<int> blue = Grid(p, 4, 0);
        for (size_t i = 0; i < 25; ++i)
            EXPECT_EQ(blue[i], c.want[i] ? 255 : 0) << c.name << " pixel " << i;
    }
    // The origin moves the bitmap in rectangle space.
    CLHBmp8 g(5, 5, 5);
    std::memset(g.bits, 255, 25);
    g.mask_rect({F(11.5), F(21.5), F(13.5), F(23.5)}, {10, 20});
    EXPECT_EQ(Grid(g)[6], 63);
}

TEST(CLHBmp, MaskAlphaAndClip)
{
    // Mask 2x2 {50, 120; 100, 30} at (-1, 1) on 4x4 of 200: the overlap is
    // column 0 of rows 1 and 2 against mask column 1.
    const unsigned char mk[4] = {50, 120, 100, 30};
    CLHBmp8Ref mask(const_cast<unsigned char*>(mk), 2, 2, 2);
    CLHBmp8 g(4, 4, 4);
    std::memset(g.bits, 200, 16);
    EXPECT_TRUE(g.mask_alpha(&mask, -1, 1));
    EXPECT_EQ(Grid(g), std::vector<int>({0, 0, 0, 0, 120, 0, 0, 0, 30, 0, 0, 0, 0, 0, 0, 0}));
    CLHBmp32 p(2, 1, 8);
    std::memset(p.bits, 200, 8);
    EXPECT_TRUE(p.mask_alpha(&mask, 1, 0)); // pixel 1 against mask byte 50, alpha only
    EXPECT_EQ(Raw(p), std::vector<int>({0, 0, 0, 0, 200, 200, 200, 50}));

    // A miss clears whole 32-bit words and reports false: 5 bytes keep the fifth.
    CLHBmp8 odd(5, 1, 5);
    std::memset(odd.bits, 9, 5);
    EXPECT_FALSE(odd.mask_alpha(&mask, 10, 10));
    EXPECT_EQ(Grid(odd), std::vector<int>({0, 0, 0, 0, 9}));
    EXPECT_FALSE(odd.mask_alpha(nullptr, 0, 0));

    // Source (1, 0) lands on destination (0, 0); y = -1 puts source row 0 on
    // destination row 1.
    const unsigned char sv[9] = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    CLHBmp8Ref s(const_cast<unsigned char*>(sv), 3, 3, 3);
    CLHBmp8 d(2, 2, 2);
    std::memset(d.bits, 0, 4);
    EXPECT_TRUE(s.bmp_clip_to(1, -1, &d));
    EXPECT_EQ(Grid(d), std::vector<int>({0, 0, 2, 3}));
    EXPECT_FALSE(s.bmp_clip_to(3, 0, &d));
    EXPECT_FALSE(s.bmp_clip_to(0, 3, &d)); // no common row
    CLHBmp32 d32(2, 2);
    EXPECT_FALSE(s.bmp_clip_to(0, 0, &d32));
    EXPECT_FALSE(p.bmp_clip_to(0, 0, &d));
}

TEST(CLHBmp32, TileShadowCopy)
{
    // Source pixels A B / C D, told apart by byte 0.
    unsigned char sv[16] = {};
    for (int i = 0; i < 4; ++i)
        sv[i * 4] = static_cast<unsigned char>(10 * (i + 1));
    CLHBmp32Ref src(sv, 2, 2, 8);
    struct TileCase {
        const char* name;
        double x, pitch;
        std::vector<int> want; // byte 0 of a 5x2 destination prefilled with 1
    } cases[] = {
        {"pitch = source", 0, 2, {10, 20, 10, 20, 10, 30, 40, 30, 40, 30}},
        // x 1 comes back to -1: the row starts inside the first tile
        {"shifted", 1, 2, {20, 10, 20, 10, 20, 40, 30, 40, 30, 40}},
        {"gaps keep pixels", 0, 3, {10, 20, 1, 10, 20, 30, 40, 1, 30, 40}},
        // pitch rounds to 1: each copy overlaps the last; rows jump back by
        // 1 - 2 + 1 = 0 after the source's last row, and row 0 of the source wins
        {"pitch 1.4", 0, 1.4, {10, 10, 10, 10, 10, 10, 10, 10, 10, 10}},
    };
    for (const TileCase& c : cases) {
        CLHBmp32 d(5, 2);
        std::memset(d.bits, 1, 40);
        EXPECT_TRUE(d.tile(&src, F(c.x), F(0), F(c.pitch), F(c.pitch))) << c.name;
        EXPECT_EQ(Grid(d, 4), c.want) << c.name;
    }
    CLHBmp8 gray(2, 2, 4);
    CLHBmp32 d(5, 2);
    EXPECT_FALSE(d.tile(&gray, F(0), F(0), F(2), F(2)));

    // Mask byte 1 leaves the pixel; 2 makes it opaque with colour * 254 >> 8.
    const unsigned char mk[2] = {1, 2};
    CLHBmp8Ref mask(const_cast<unsigned char*>(mk), 2, 1, 4);
    CLHBmp32 p(2, 1);
    std::memset(p.bits, 100, 8);
    p.bits[3] = p.bits[7] = 50;
    p.fill_shadow(&mask, {0, 0});
    EXPECT_EQ(Raw(p), std::vector<int>({100, 100, 100, 50, 99, 99, 99, 255}));
    // origin -1: pixel 0 takes mask column 1
    std::memset(p.bits, 100, 8);
    p.fill_shadow(&mask, {-1, 0});
    EXPECT_EQ(Raw(p), std::vector<int>({99, 99, 99, 255, 100, 100, 100, 100}));

    // copy_rect: nothing across strides; a part row by row; the whole bitmap
    // as one run with its padding.
    CLHBmp32 a(2, 2, 12), b(2, 2, 12), c(2, 2, 8);
    std::memset(a.bits, 7, 24);
    c.copy_rect(&a, {0, 0, 2, 2});
    EXPECT_EQ(Raw(c), std::vector<int>(16, 0));
    b.copy_rect(&a, {1, -5, 9, 1});
    EXPECT_EQ(Raw(b),
              std::vector<int>({0, 0, 0, 0, 7, 7, 7, 7, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    b.copy_rect(&a, {-1, -1, 5, 5});
    EXPECT_EQ(Raw(b), std::vector<int>(24, 7));
}

} // namespace
