// Drawing through a matrix. Small cases are worked by hand from the sampling
// rules; random ones check copies that an exact mapping must give.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <random>
#include <vector>

#include "bitmap/LHBmp.h"

namespace {

LHFIX64 F(double d)
{
    return LHFIX64::raw(int64_t(d * 67108864.0));
}
_LHMATRIX Move(double tx, double ty)
{
    return {F(1), F(0), F(0), F(1), F(tx), F(ty)};
}

std::vector<int> Row(const CLHBmp& b, int y)
{
    const int n = b.width * b.depth / 8;
    return std::vector<int>(b.bits + y * b.stride, b.bits + y * b.stride + n);
}

TEST(CLHBmp, TransformByHand)
{
    // 2x2 source, moved by (-0.25, -0.5): destination (0, 0) samples u = .25,
    // v = .5. 32-bit: fx 64, fy 128 of 256: ((40*64 + 200*192)*128 +
    // (100*64)*128) >> 16 = 92; 8-bit: fx 16384, fy 32768 of 65536:
    // (((40*16384 + 200*49152) >> 15) * 32768 + ((100*16384) >> 15) * 32768) >> 17 = 92.
    const unsigned char v8[4] = {0, 100, 200, 40};
    CLHBmp8Ref g(const_cast<unsigned char*>(v8), 2, 2, 2);
    CLHBmp8 gd(1, 1, 4);
    EXPECT_TRUE(g.bmp_transform_to(Move(-0.25, -0.5), {0, 0}, &gd));
    EXPECT_EQ(gd.bits[0], 92);
    unsigned char v32[16];
    for (int i = 0; i < 16; ++i)
        v32[i] = v8[i / 4];
    CLHBmp32Ref c(v32, 2, 2, 8);
    CLHBmp32 cd(1, 1, 4);
    EXPECT_TRUE(c.bmp_transform_to(Move(-0.25, -0.5), {0, 0}, &cd));
    EXPECT_EQ(Row(cd, 0), std::vector<int>({92, 92, 92, 92}));

    // One pixel moved by +0.5: both destination pixels see half of it.
    // 32-bit: colour kept, alpha 200*128*256 >> 16 = 100 on both sides;
    // 8-bit: 200 * 0.5 * 1.0 = 100; the coverage form gives the colour 200
    // and coverage (0.5 * 255 + 0.5) = 128.
    unsigned char one32[4] = {10, 20, 30, 200}, one8[4] = {200};
    CLHBmp32Ref p(one32, 1, 1, 4);
    CLHBmp32 pd(3, 1, 12);
    EXPECT_TRUE(p.bmp_transform_to(Move(0.5, 0), {0, 0}, &pd));
    EXPECT_EQ(Row(pd, 0), std::vector<int>({10, 20, 30, 100, 10, 20, 30, 100, 0, 0, 0, 0}));
    CLHBmp8Ref q(one8, 1, 1, 4);
    CLHBmp8 qd(3, 1, 4), qv(3, 1, 4), qc(3, 1, 4);
    EXPECT_TRUE(q.bmp_transform_to(Move(0.5, 0), {0, 0}, &qd));
    EXPECT_TRUE(q.bmp_transform_to2(Move(0.5, 0), {0, 0}, &qv, &qc));
    EXPECT_EQ(Row(qd, 0), std::vector<int>({100, 100, 0}));
    EXPECT_EQ(Row(qv, 0), std::vector<int>({200, 200, 0}));
    EXPECT_EQ(Row(qc, 0), std::vector<int>({128, 128, 0}));

    // Refusals, and an origin far away writing a wholly zero destination.
    CLHBmp8 other(2, 2, 4);
    EXPECT_FALSE(c.bmp_transform_to(Move(0, 0), {0, 0}, &other));
    EXPECT_FALSE(c.bmp_transform_to(Move(0, 0), {0, 0}, nullptr));
    CLHBmp32 far(2, 2);
    std::memset(far.bits, 0x33, 16);
    EXPECT_TRUE(c.bmp_transform_to(Move(0, 0), {500, -500}, &far));
    EXPECT_EQ(Row(far, 0), std::vector<int>(8, 0));
    EXPECT_EQ(Row(far, 1), std::vector<int>(8, 0));
}

// Integer translations and quarter turns map pixel centres onto pixel
// centres, so the result must be an exact copy: shifted, or transposed and
// mirrored (x' = -y + (h - 1), y' = x puts the old (x, y) at (h - 1 - y, x)).
TEST(CLHBmp, TransformExactCopies)
{
    std::mt19937 rng(7);
    auto pick = [&](int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); };
    for (int round = 0; round < 40; ++round) {
        const int w = pick(1, 7), h = pick(1, 7), tx = pick(-3, 3), ty = pick(-3, 3);
        const int depth = round % 2 ? 32 : 8, bpp = depth / 8;
        std::vector<unsigned char> px(size_t(w * bpp * h));
        for (auto& b : px)
            b = static_cast<unsigned char>(pick(0, 255));
        std::unique_ptr<CLHBmp> s, d, r;
        const int dw = w + 4, dh = h + 4;
        if (depth == 8) {
            s.reset(new CLHBmp8Ref(px.data(), w, h, w));
            d.reset(new CLHBmp8(dw, dh, dw + 1));
            r.reset(new CLHBmp8(h, w, h));
        } else {
            s.reset(new CLHBmp32Ref(px.data(), w, h, w * 4));
            d.reset(new CLHBmp32(dw, dh, dw * 4));
            r.reset(new CLHBmp32(h, w, h * 4));
        }
        auto S = [&](int x, int y) { return px.data() + (y * w + x) * bpp; };
        ASSERT_TRUE(s->bmp_transform_to(Move(tx, ty), {0, 0}, d.get()));
        for (int j = 0; j < dh; ++j) {
            for (int i = 0; i < dw; ++i) {
                const unsigned char* got = d->bits + j * d->stride + i * bpp;
                const int x = i - tx, y = j - ty;
                if (x >= 0 && x < w && y >= 0 && y < h)
                    EXPECT_EQ(0, std::memcmp(got, S(x, y), size_t(bpp))) << i << "," << j;
                else // nothing left of the source's fall-off
                    EXPECT_EQ(got[bpp - 1], 0) << i << "," << j << " depth " << depth;
            }
        }
        const _LHMATRIX turn{F(0), F(1), F(-1), F(0), F(h - 1), F(0)};
        ASSERT_TRUE(s->bmp_transform_to(turn, {0, 0}, r.get()));
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x)
                EXPECT_EQ(0, std::memcmp(r->bits + x * r->stride + (h - 1 - y) * bpp, S(x, y), size_t(bpp)));
    }
}

} // namespace
