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

// Random matrices (factors past 4.0 included) and origins near and past
// +-2^20, where a row may or may not be walked by constant steps: every
// pixel whose source position lies inside the source must hold the
// bilinear sample at the position the matrix gives for that pixel alone
// (inverse, then transform_point), written out here from the sampling rules.
TEST(CLHBmp, TransformInteriorMatchesPerPixelMapping)
{
    std::mt19937 rng(11);
    auto pick = [&](int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); };
    const int origins[] = {0, -3, 17, (1 << 20) - 20, -(1 << 20) + 5, 1 << 21};
    for (int round = 0; round < 160; ++round) {
        // One round in four: long rows through a wide source, shrunk by
        // 0.2 to 0.25 so that the inverse factor is past 4.0.
        const bool wide = round % 4 == 3;
        const int w = wide ? pick(2500, 4500) : pick(2, 40), h = wide ? pick(2, 3) : pick(2, 40);
        const int dw = wide ? pick(500, 1000) : pick(1, 30), dh = wide ? 2 : pick(1, 12), depth = round % 2 ? 32 : 8;
        const int bpp = depth / 8;
        std::vector<unsigned char> px(size_t(w * bpp * h));
        for (auto& b : px)
            b = static_cast<unsigned char>(pick(0, 255));
        auto raw = [&](int range) { return LHFIX64::raw(int64_t(pick(-range, range)) * pick(1, 64)); };
        _LHMATRIX m{raw(1 << 22), raw(1 << 20), raw(1 << 20), raw(1 << 22), raw(1 << 26), raw(1 << 26)};
        if (wide)
            m.a = LHFIX64::raw(pick(13421773, 16777216)), m.b = LHFIX64::raw(pick(-99, 99)), m.c = LHFIX64(),
            m.d = LHFIX64::raw(1 << 26);
        const _LHPOINT o{origins[pick(0, 5)] + pick(-5, 5), origins[pick(0, 5)] + pick(-5, 5)};
        // shift the image so that part of the destination lands on the source
        m.tx = LHFIX64::from_int(o.x) + LHFIX64::raw(m.tx.v % (int64_t(w) << 26));
        m.ty = LHFIX64::from_int(o.y) + LHFIX64::raw(m.ty.v % (int64_t(h) << 26));
        std::unique_ptr<CLHBmp> s, d;
        if (depth == 8) {
            s.reset(new CLHBmp8Ref(px.data(), w, h, w));
            d.reset(new CLHBmp8(dw, dh, dw));
        } else {
            s.reset(new CLHBmp32Ref(px.data(), w, h, w * 4));
            d.reset(new CLHBmp32(dw, dh, dw * 4));
        }
        ASSERT_TRUE(s->bmp_transform_to(m, o, d.get()));
        _LHMATRIX inv = m;
        inv.do_invert();
        auto P = [&](int64_t x, int64_t y, int k) { return int64_t(px[size_t((y * w + x) * bpp + k)]); };
        for (int j = 0; j < dh; ++j) {
            for (int i = 0; i < dw; ++i) {
                LHFIX64 u = LHFIX64::from_int(o.x + i), v = LHFIX64::from_int(o.y + j);
                inv.transform_point(u, v);
                const unsigned char* got = d->bits + j * d->stride + i * bpp;
                if (depth == 32) { // 1/256 pixel steps, rounded
                    const int64_t pu = int64_t(uint64_t(u.v) * 256 + (1 << 25)) >> 26;
                    const int64_t pv = int64_t(uint64_t(v.v) * 256 + (1 << 25)) >> 26;
                    const int64_t x = pu >> 8, y = pv >> 8, fx = pu & 255, fy = pv & 255;
                    if (x < 0 || x >= w - 1 || y < 0 || y >= h - 1)
                        continue;
                    for (int k = 0; k < 4; ++k) {
                        const int64_t top = P(x, y, k) * (256 - fx) + P(x + 1, y, k) * fx;
                        const int64_t bottom = P(x, y + 1, k) * (256 - fx) + P(x + 1, y + 1, k) * fx;
                        ASSERT_EQ(got[k], (top * (256 - fy) + bottom * fy) >> 16) << round << ": " << i << "," << j;
                    }
                } else { // 16-bit fractions, rounded, and two truncating shifts
                    const int64_t x = u.v >> 26, y = v.v >> 26;
                    if (x < 0 || x >= w - 1 || y < 0 || y >= h - 1)
                        continue;
                    const int64_t fx = ((u.v - (x << 26)) * 65536 + (1 << 25)) >> 26;
                    const int64_t fy = ((v.v - (y << 26)) * 65536 + (1 << 25)) >> 26;
                    const int64_t top = (P(x + 1, y, 0) * fx + P(x, y, 0) * (65536 - fx)) >> 15;
                    const int64_t bottom = (P(x + 1, y + 1, 0) * fx + P(x, y + 1, 0) * (65536 - fx)) >> 15;
                    ASSERT_EQ(got[0], (bottom * fy + top * (65536 - fy)) >> 17) << round << ": " << i << "," << j;
                }
            }
        }
    }
}

} // namespace
