// The three scaling qualities. Small cases are worked by hand from the
// stepwise rules; random ones check properties that any correct walk keeps.
#include <gtest/gtest.h>

#include <cmath>
#include <algorithm>
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

enum Quality { Fast, Normal, Best };
const char* const kName[] = {"fast", "normal", "best"};

bool Scale(const CLHBmp& s, Quality q, LHFIX64 sx, LHFIX64 sy, _LHPOINT o, CLHBmp* d)
{
    switch (q) {
    case Fast: return s.bmp_scale_fast_to(sx, sy, o, d);
    case Normal: return s.bmp_scale_normal_to(sx, sy, o, d);
    default: return s.bmp_scale_best_to(sx, sy, o, d);
    }
}

bool IScale(const CLHBmp32& s, Quality q, LHFIX64 sx, LHFIX64 sy, _LHPOINT o, CLHBmp* d)
{
    switch (q) {
    case Fast: return s.bmp_iscale_fast_to(sx, sy, o, d);
    case Normal: return s.bmp_iscale_normal_to(sx, sy, o, d);
    default: return s.bmp_iscale_best_to(sx, sy, o, d);
    }
}

std::vector<int> Bytes(const CLHBmp& b)
{
    std::vector<int> v;
    for (int y = 0; y < b.height; ++y)
        for (int x = 0; x < b.width * b.depth / 8; ++x)
            v.push_back(b.bits[y * b.stride + x]);
    return v;
}

// An 8-bit image from rows of values; bytes not given stay 99 in the result.
std::unique_ptr<CLHBmp8> Gray(int w, int h, std::vector<int> px)
{
    auto b = std::make_unique<CLHBmp8>(w, h, w + 1);
    for (int i = 0; i < w * h; ++i)
        b->bits[(i / w) * b->stride + i % w] = static_cast<unsigned char>(px[i]);
    return b;
}

struct Case {
    const char* name;
    Quality q;
    int w, h;
    std::vector<int> src;
    double sx, sy;
    _LHPOINT origin;
    int dw, dh;
    std::vector<int> want; // 99 marks a pixel left as it was
};

TEST(CLHBmp8, ScaleByHand)
{
    const Case cases[] = {
        // 16.16 step 32768: each column twice; mirrored walks from the end.
        {"fast x2", Fast, 3, 1, {1, 2, 3}, 2, 1, {0, 0}, 6, 1, {1, 1, 2, 2, 3, 3}},
        {"fast x-2", Fast, 3, 1, {1, 2, 3}, -2, 1, {0, 0}, 6, 1, {3, 3, 2, 2, 1, 1}},
        {"fast x0.5", Fast, 4, 1, {1, 2, 3, 4}, 0.5, 1, {0, 0}, 3, 1, {1, 3, 99}},
        // origin 10 at scale 2 is round(10 / 2) = column 5 for fast, 10 for normal
        {"fast origin in scaled units", Fast, 1, 1, {7}, 2, 1, {10, 0}, 12, 1, {99, 99, 99, 99, 99, 7, 7, 99, 99, 99, 99, 99}},
        {"normal origin as given", Normal, 1, 1, {7}, 2, 1, {10, 0}, 12, 1, {99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 7, 7}},
        // clipped by one on the left: the backward walk still starts at the last column
        {"fast mirror clipped", Fast, 3, 1, {1, 2, 3}, -1, 1, {-1, 0}, 3, 1, {3, 2, 99}},
        {"fast forward clipped", Fast, 3, 1, {1, 2, 3}, 1, 1, {-1, 0}, 3, 1, {2, 3, 99}},
        // last line: 0, (200 * 32768) >> 16, then the end pixel; column 3 unwritten
        {"normal x2 row", Normal, 2, 1, {0, 200}, 2, 1, {0, 0}, 4, 1, {0, 100, 200, 99}},
        {"normal one column", Normal, 1, 2, {5, 9}, 3, 1, {0, 0}, 3, 2, {5, 5, 5, 9, 9, 9}},
        // 4 rows doubled: rows 0, .5, 1, 1.5, 2, 2.5 by mid lines, row 3 by the
        // last line into destination row 6; row 7 left as it was. The end
        // pixel of a mid line weighs the rows by the horizontal fraction (0).
        {"normal 4 rows x2", Normal, 2, 4, {0, 0, 40, 40, 80, 80, 120, 120}, 1, 2, {0, 0}, 2, 8,
         {0, 0, 20, 0, 40, 40, 60, 40, 80, 80, 100, 80, 120, 120, 99, 99}},
        // a one-column run fills a mid line from row a alone
        {"normal one column x2", Normal, 1, 3, {0, 40, 80}, 1, 2, {0, 0}, 1, 6, {0, 0, 40, 40, 80, 99}},
        // right clip by 1 on a mirror drops source column 0: samples 3, 2
        {"normal mirror right clip", Normal, 3, 1, {1, 2, 3}, -1, 1, {0, 0}, 2, 1, {3, 2}},
        // k = 2048: (2048 * 20 + 2048 * 10) >> 12 = 15, then 35
        {"best x0.5", Best, 4, 1, {10, 20, 30, 40}, 0.5, 1, {0, 0}, 2, 1, {15, 35}},
        {"best x-0.5", Best, 4, 1, {10, 20, 30, 40}, -0.5, 1, {0, 0}, 2, 1, {35, 15}},
        // acc 10, then 10 + 2048 * 30 / 2048 = 40, (40 * 2048) >> 12 = 20
        {"best y0.5", Best, 1, 2, {10, 30}, 1, 0.5, {0, 0}, 1, 1, {20}},
        // step 2048: 0, (2048 * 100) >> 12 = 50, then cells left over take 100
        {"best x2", Best, 2, 1, {0, 100}, 2, 1, {0, 0}, 4, 1, {0, 50, 100, 100}},
        // k = 2048: a, a, blend at pos 4096 (still a), 40, blend 40, then a copy
        {"best y2", Best, 1, 3, {0, 40, 80}, 1, 2, {0, 0}, 1, 6, {0, 0, 0, 40, 40, 40}},
        // mirrored: written from the bottom row upward
        {"best y-2", Best, 1, 3, {0, 40, 80}, 1, -2, {0, 0}, 1, 6, {40, 40, 40, 0, 0, 0}},
    };
    for (const Case& c : cases) {
        auto src = Gray(c.w, c.h, c.src);
        CLHBmp8 dst(c.dw, c.dh, c.dw);
        std::memset(dst.bits, 99, size_t(c.dw * c.dh));
        EXPECT_TRUE(Scale(*src, c.q, F(c.sx), F(c.sy), c.origin, &dst)) << c.name;
        EXPECT_EQ(Bytes(dst), c.want) << c.name;
    }
}

TEST(CLHBmp32, ScaleRefusalsAndChannelOrder)
{
    CLHBmp32 s(2, 2, 8);
    CLHBmp8 g(4, 4, 4);
    EXPECT_FALSE(s.bmp_scale_best_to(F(1), F(1), {0, 0}, &g));
    EXPECT_FALSE(s.bmp_iscale_best_to(F(1), F(1), {0, 0}, &g));

    // A pure byte-0 image comes out as pure byte 2 from every iscale quality.
    for (int i = 0; i < 4; ++i)
        s.bits[i * 4] = 200;
    for (Quality q : {Fast, Normal, Best}) {
        CLHBmp32 d(3, 3, 12);
        IScale(s, q, F(1.5), F(1.5), {0, 0}, &d);
        const std::vector<int> got = Bytes(d);
        EXPECT_EQ(std::vector<int>(got.begin(), got.begin() + 4), std::vector<int>({0, 0, 200, 0})) << kName[q];
    }
}

// Large destinations take another store path in fast scaling (from 1 MiB on
// in the run bitmap_scale_stream): its pixels must still be the ones the
// walk names. At scale 2.5 the 16.16 step
// is 65536 / 2.5 rounded, 26214, so output i takes source column
// floor(i * 26214 / 65536); at scale 1 row j is source row j (no row repeats,
// so none is copied from the one above). The source encodes its own column
// and row. A stride of 751 pixels leaves rows off 16-byte alignment.
TEST(CLHBmp32, FastScaleLargeDestination)
{
    const int w = 300, h = 400, dw = 751, dh = 400;
    CLHBmp32 s(w, h, w * 4), d(dw, dh, dw * 4);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            for (int k = 0; k < 4; ++k)
                s.bits[y * s.stride + x * 4 + k] = static_cast<unsigned char>(k == 0 ? x : k == 1 ? x >> 8 : k == 2 ? y : y >> 8);
    std::memset(d.bits, 0x77, size_t(d.stride * dh));
    s.bmp_scale_fast_to(F(2.5), F(1), {0, 0}, &d);
    for (int j = 0; j < dh; ++j) {
        for (int i = 0; i < 750; ++i) { // 2.5 * 300 columns written
            const unsigned char* p = d.bits + j * d.stride + i * 4;
            ASSERT_EQ(p[0] + 256 * p[1], i * 26214 / 65536) << i << "," << j;
            ASSERT_EQ(p[2] + 256 * p[3], j) << i << "," << j;
        }
        ASSERT_EQ(d.bits[j * d.stride + 750 * 4], 0x77);
    }
}

// Fast scaling's 32-bit row gather (eight outputs from sixteen source
// pixels where they fit, four at a time or one by one where not) against its
// channel-swapping twin, which copies pixel by pixel: iscale must equal scale
// with bytes 0 and 2 exchanged, every byte of the destination included.
// Reductions and enlargements, mirrored walks, odd strides, a destination
// past 1 MiB (streamed rows) and a clipped origin.
TEST(CLHBmp32, FastScaleGatherMatchesPixelCopies)
{
    struct Run {
        double sx, sy;
        int w, h;
        _LHPOINT o;
    } runs[] = {
        {0.6667, 0.6667, 301, 40, {0, 0}},  {0.55, 1.0, 257, 9, {0, 0}},    {0.9, 0.9, 1000, 400, {0, 0}},
        {1.3, 1.0, 123, 7, {0, 0}},         {-0.6667, 0.75, 301, 40, {0, 0}}, {0.75, -1.0, 77, 5, {3, 2}},
        {0.6667, 1.0, 301, 20, {-37, -3}},  {2.0, 1.0, 50, 3, {0, 0}},
    };
    std::mt19937 rng(7);
    for (const Run& r : runs) {
        CLHBmp32 s(r.w, r.h, r.w * 4 + 12);
        for (int i = 0; i < s.stride * r.h; ++i)
            s.bits[i] = static_cast<unsigned char>(rng());
        const int dw = int(std::abs(r.sx) * r.w) + 9, dh = int(std::abs(r.sy) * r.h) + 1;
        CLHBmp32 a(dw, dh, dw * 4 + 4), b(dw, dh, dw * 4 + 4);
        std::memset(a.bits, 0x77, size_t(a.stride * dh));
        std::memset(b.bits, 0x77, size_t(b.stride * dh));
        s.bmp_scale_fast_to(F(r.sx), F(r.sy), r.o, &a);
        s.bmp_iscale_fast_to(F(r.sx), F(r.sy), r.o, &b);
        for (int y = 0; y < dh; ++y)
            for (int x = 0; x < dw; ++x)
                std::swap(b.bits[y * b.stride + x * 4], b.bits[y * b.stride + x * 4 + 2]);
        ASSERT_EQ(Bytes(a), Bytes(b)) << "sx " << r.sx << " sy " << r.sy << " w " << r.w;
        const std::vector<int> got = Bytes(a);
        ASSERT_LT(std::count(got.begin(), got.end(), 0x77), int(got.size() / 2)) << "sx " << r.sx;  // mostly written
    }
}

// Random images under random scales; properties of all three qualities.
TEST(CLHBmp, ScaleProperties)
{
    std::mt19937 rng(12);
    auto pick = [&](int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); };
    const double scales[] = {1.0, -1.0, 2.0, -2.0, 0.5, -0.3, 1.7, 0.34, -3.1, 0.05};
    for (int round = 0; round < 60; ++round) {
        const int w = pick(1, 9), h = pick(1, 9);
        const Quality q = Quality(round % 3);
        for (int depth : {8, 32}) {
            const int bpp = depth / 8, stride = w * bpp + pick(0, 3);
            std::vector<unsigned char> px(size_t(stride * h)), flat(px.size(), 0);
            for (auto& b : px)
                b = static_cast<unsigned char>(pick(0, 255));
            const unsigned char level = static_cast<unsigned char>(pick(0, 255));
            for (int y = 0; y < h; ++y)
                std::memset(&flat[size_t(y * stride)], level, size_t(w * bpp));
            CLHBmp8Ref s8(px.data(), w, h, stride), f8(flat.data(), w, h, stride);
            CLHBmp32Ref s32(px.data(), w, h, stride), f32(flat.data(), w, h, stride);
            CLHBmp& s = depth == 8 ? static_cast<CLHBmp&>(s8) : s32;
            CLHBmp& f = depth == 8 ? static_cast<CLHBmp&>(f8) : f32;
            auto fresh = [&](int dw, int dh) -> CLHBmp* {
                CLHBmp* d = depth == 8 ? static_cast<CLHBmp*>(new CLHBmp8(dw, dh, dw * bpp + 2))
                                       : new CLHBmp32(dw, dh, dw * bpp + 2);
                std::memset(d->bits, 0x77, size_t(d->stride * dh));
                return d;
            };

            // Unit scale at the origin reproduces the source, byte for byte.
            std::unique_ptr<CLHBmp> d(fresh(w, h));
            Scale(s, q, F(1), F(1), {0, 0}, d.get());
            EXPECT_EQ(Bytes(*d), Bytes(s)) << kName[q] << " unit, depth " << depth;

            // A constant image scales to the constant wherever anything is
            // written (0x77 marks pixels left alone; the level avoids it).
            // Best quality's weights sum to one whole but each share is
            // truncated, so it may come out up to 2 below; its one-row
            // output of unscaled sums is left out.
            const double sx = scales[pick(0, 9)], sy = scales[pick(0, 9)];
            const _LHPOINT o{pick(-4, 4), pick(-4, 4)};
            const int slack = q == Best ? 2 : 0;
            if (level != 0x77 && level >= slack && !(q == Best && std::abs(sy) * h <= 1.0)) {
                std::unique_ptr<CLHBmp> c(fresh(pick(1, 12), pick(1, 12)));
                Scale(f, q, F(sx), F(sy), o, c.get());
                for (int v : Bytes(*c)) {
                    if (v != 0x77) {
                        ASSERT_TRUE(v <= level && v >= level - slack)
                            << v << " from " << int(level) << " " << kName[q] << " sx " << sx << " sy " << sy;
                    }
                }
            }

            // iscale equals scale with bytes 0 and 2 exchanged.
            if (depth == 32) {
                std::unique_ptr<CLHBmp> a(fresh(10, 10)), b(fresh(10, 10));
                Scale(s32, q, F(sx), F(sy), o, a.get());
                IScale(s32, q, F(sx), F(sy), o, b.get());
                for (int y = 0; y < 10; ++y)
                    for (int x = 0; x < 10; ++x)
                        std::swap(a->bits[y * a->stride + x * 4], a->bits[y * a->stride + x * 4 + 2]);
                EXPECT_EQ(Bytes(*a), Bytes(*b)) << kName[q] << " sx " << sx << " sy " << sy;
            }
        }
    }
}

// The bilinear scaler against its rows walked by hand with the public line
// helpers (the straight transcription of one line each), on random images,
// scales and origins without clipping: catches a faster line that drifts.
TEST(CLHBmp32, NormalMatchesItsLineHelpers)
{
    std::mt19937 rng(5);
    auto pick = [&](int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); };
    for (int round = 0; round < 200; ++round) {
        const int w = pick(1, 40), h = pick(2, 12);
        std::vector<unsigned char> px(size_t(w * 4 * h));
        for (auto& b : px)
            b = static_cast<unsigned char>(pick(0, 255));
        CLHBmp32Ref s(px.data(), w, h, w * 4);
        const LHFIX64 sx = LHFIX64::raw(int64_t(pick(1 << 22, 4 << 26)) * (pick(0, 1) ? 1 : -1));
        const LHFIX64 sy = LHFIX64::raw(int64_t(pick(1 << 24, 3 << 26)) * (pick(0, 1) ? 1 : -1));
        const bool swap = pick(0, 1);
        const int dw = int((std::abs(sx.v) * w + 0x3FFFFFF) >> 26), dh = int((std::abs(sy.v) * h + 0x3FFFFFF) >> 26);
        if (dw < 2 || dh < 2)
            continue;
        CLHBmp32 got(dw, dh, dw * 4), want(dw, dh, dw * 4);
        swap ? s.bmp_iscale_normal_to(sx, sy, {0, 0}, &got) : s.bmp_scale_normal_to(sx, sy, {0, 0}, &got);

        // 16.16 steps from the reciprocal; rows: 0, then the stepped walk
        // while below the last row, then one last line.
        const unsigned stepX = unsigned((LHFIX64::raw(std::abs(sx.v)).reciprocal().v) >> 10);
        const unsigned stepY = unsigned((LHFIX64::raw(std::abs(sy.v)).reciprocal().v) >> 10);
        auto out = [&](int k) { return want.bits + (sy.v < 0 ? dh - 1 - k : k) * want.stride; };
        auto mid = [&](int r, int k, unsigned fy) {
            const bool neg = sx.v < 0;
            (swap ? (neg ? CLHBmp32::pro_iscan_normal_line_mid_neg : CLHBmp32::pro_iscan_normal_line_mid_pos)
                  : (neg ? CLHBmp32::pro_scan_normal_line_mid_neg : CLHBmp32::pro_scan_normal_line_mid_pos))(
                px.data() + r * w * 4, unsigned(w), unsigned(w * 4), out(k), unsigned(dw), stepX, fy);
        };
        mid(0, 0, 0);
        int k = 1;
        unsigned row = stepY >> 16, fy = stepY & 0xFFFF;
        for (; k < dh && row < unsigned(h - 1); ++k) {
            mid(int(row), k, fy);
            fy += stepY;
            row += fy >> 16;
            fy &= 0xFFFF;
        }
        if (k < dh) {
            const bool neg = sx.v < 0;
            (swap ? (neg ? CLHBmp32::pro_iscan_normal_line_last_neg : CLHBmp32::pro_iscan_normal_line_last_pos)
                  : (neg ? CLHBmp32::pro_scan_normal_line_last_neg : CLHBmp32::pro_scan_normal_line_last_pos))(
                px.data() + std::min<int>(int(row), h - 1) * w * 4, unsigned(w), unsigned(w * 4), out(k), unsigned(dw),
                stepX);
        }
        ASSERT_EQ(Bytes(got), Bytes(want)) << "w " << w << " h " << h << " sx " << sx.v << " sy " << sy.v;
    }
}

// The area scaler's own path (reduction planned once per call, divisions
// as multiplications) against the named vertical passes, which take each
// rule step by step, on random images, scales, origins and destinations.
TEST(CLHBmp, BestMatchesItsVerticalPasses)
{
    std::mt19937 rng(9);
    auto pick = [&](int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); };
    // Half the rounds reduce by about 1/2 to 1/5 over wider rows, where every
    // output after the first takes the same number of pixels.
    auto even = [&]() { return LHFIX64::raw(((int64_t(1) << 26) / pick(2, 5) + pick(-2, 2)) * (pick(0, 1) ? 1 : -1)); };
    for (int round = 0; round < 400; ++round) {
        const bool regular = round % 2;
        const int w = regular ? pick(1, 200) : pick(1, 60), h = pick(1, 20), depth = pick(0, 1) ? 32 : 8, bpp = depth / 8;
        std::vector<unsigned char> px(size_t(w * bpp * h));
        for (auto& b : px)
            b = static_cast<unsigned char>(pick(0, 255));
        const LHFIX64 sx = regular ? even() : LHFIX64::raw(int64_t(pick(1 << 16, 3 << 26)) * (pick(0, 1) ? 1 : -1));
        const LHFIX64 sy = regular && pick(0, 1) ? even() : LHFIX64::raw(int64_t(pick(1 << 16, 3 << 26)) * (pick(0, 1) ? 1 : -1));
        const _LHPOINT o{pick(-10, 10), pick(-10, 10)};
        const int dw = pick(1, 80), dh = pick(1, 30);
        const bool swap = depth == 32 && pick(0, 1);
        const bool up = sy.v > (1 << 26), down = sy.v < -(1 << 26), neg = !up && !down && sy.v <= 0;
        std::vector<int> got, want;
        for (int pass = 0; pass < 2; ++pass) {
            std::unique_ptr<CLHBmp> d(depth == 8 ? static_cast<CLHBmp*>(new CLHBmp8(dw, dh, dw))
                                                 : new CLHBmp32(dw, dh, dw * 4));
            if (depth == 8) {
                CLHBmp8Ref s(px.data(), w, h, w);
                if (pass == 0)
                    s.bmp_scale_best_to(sx, sy, o, d.get());
                else
                    (s.*(up ? &CLHBmp8::pro_vert_enlarge_pos : down ? &CLHBmp8::pro_vert_enlarge_neg
                                : neg ? &CLHBmp8::pro_vert_shrink_neg : &CLHBmp8::pro_vert_shrink_pos))(sx, sy, o, d.get());
            } else {
                CLHBmp32Ref s(px.data(), w, h, w * 4);
                if (pass == 0)
                    swap ? s.bmp_iscale_best_to(sx, sy, o, d.get()) : s.bmp_scale_best_to(sx, sy, o, d.get());
                else if (swap)
                    (s.*(up ? &CLHBmp32::pro_ivert_enlarge_pos : down ? &CLHBmp32::pro_ivert_enlarge_neg
                                : neg ? &CLHBmp32::pro_ivert_shrink_neg : &CLHBmp32::pro_ivert_shrink_pos))(sx, sy, o, d.get());
                else
                    (s.*(up ? &CLHBmp32::pro_vert_enlarge_pos : down ? &CLHBmp32::pro_vert_enlarge_neg
                                : neg ? &CLHBmp32::pro_vert_shrink_neg : &CLHBmp32::pro_vert_shrink_pos))(sx, sy, o, d.get());
            }
            (pass == 0 ? got : want) = Bytes(*d);
        }
        ASSERT_EQ(got, want) << "w " << w << " h " << h << " depth " << depth << " sx " << sx.v << " sy " << sy.v;
    }
}

} // namespace
