// Filter functions and resamplers. Expected values are worked by hand from the
// filter formulas and the tap and edge rules; the random cases compare with a
// plain per-pixel transcription of the same rules written here.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "surface/PXResampler.h"
#include "surface/PXSurface.h"

namespace {

using Filter = int (*)(float);

TEST(ResampleFilters, ValuesAtWorkedPoints)
{
    // Each value is the formula evaluated by hand, times 128, truncated.
    struct Case {
        const char* name;
        Filter f;
        float t;
        int expected;
    } cases[] = {
        {"bilinear 0", PXDoResampler::BilinearX128, 0.0f, 128},
        {"bilinear .25", PXDoResampler::BilinearX128, 0.25f, 96},
        {"bilinear 1 is outside", PXDoResampler::BilinearX128, 1.0f, 0},
        {"hermite 0", PXBilinearResampler::HermiteX128, 0.0f, 128},
        {"hermite .25: 4 - 24 + 128", PXBilinearResampler::HermiteX128, 0.25f, 108},
        {"hermite .75: 108 - 216 + 128", PXBilinearResampler::HermiteX128, 0.75f, 20},
        {"bicubic 0", PXCubicResampler::BiCubicInterpolatorX128, 0.0f, 128},
        {"bicubic 1: 192 - 320 + 128", PXCubicResampler::BiCubicInterpolatorX128, 1.0f, 0},
        {"bicubic -.5: 24 - 80 + 128", PXCubicResampler::BiCubicInterpolatorX128, -0.5f, 72},
        {"bicubic 1.5: -216 + 720 - 768 + 256", PXCubicResampler::BiCubicInterpolatorX128, 1.5f, -8},
        {"bicubic 2", PXCubicResampler::BiCubicInterpolatorX128, 2.0f, 0},
        {"catmull-rom 1: -64 + 320 - 512 + 256", PXCubicResampler::BiCubicCatmullRomInterpolatorX128, 1.0f, 0},
        {"catmull-rom .75", PXCubicResampler::BiCubicCatmullRomInterpolatorX128, 0.75f, 29},
        {"catmull-rom -1.25", PXCubicResampler::BiCubicCatmullRomInterpolatorX128, -1.25f, -9},
        {"catmull-rom 1.75", PXCubicResampler::BiCubicCatmullRomInterpolatorX128, 1.75f, -3},
        {"b-spline 0: 85.33", PXCubicResampler::BiCubicBSplineInterpolatorX128, 0.0f, 85},
        {"b-spline 1: 21.33", PXCubicResampler::BiCubicBSplineInterpolatorX128, 1.0f, 21},
        {"b-spline .5: 8 - 32 + 85.33", PXCubicResampler::BiCubicBSplineInterpolatorX128, 0.5f, 61},
        {"b-spline 1.5: .125 * 21.33", PXCubicResampler::BiCubicBSplineInterpolatorX128, 1.5f, 2},
        {"mitchell 0: 113.71", PXCubicResampler::BiCubicMitchellInterpolatorX128, 0.0f, 113},
        {"mitchell 1: 7.11", PXCubicResampler::BiCubicMitchellInterpolatorX128, 1.0f, 7},
        {"mitchell .5: 68.38", PXCubicResampler::BiCubicMitchellInterpolatorX128, 0.5f, 68},
        {"mitchell -1.5: -4.45", PXCubicResampler::BiCubicMitchellInterpolatorX128, -1.5f, -4},
        {"bell 0", PXDoResampler::BiCubicBellInterpolatorX128, 0.0f, 96},
        {"bell .5: 64 * 1", PXDoResampler::BiCubicBellInterpolatorX128, 0.5f, 64},
        {"bell -1: 64 * .25", PXDoResampler::BiCubicBellInterpolatorX128, -1.0f, 16},
        {"bell 1.5", PXDoResampler::BiCubicBellInterpolatorX128, 1.5f, 0},
        {"lanczos3 0", PXDoResampler::Lanczos3FilterX128, 0.0f, 128},
        {"lanczos3 3", PXDoResampler::Lanczos3FilterX128, 3.0f, 0},
        {"lanczos3 1, a zero of the sinc", PXDoResampler::Lanczos3FilterX128, 1.0f, 0},
        {"lanczos3 .5: .6366 * .9549", PXDoResampler::Lanczos3FilterX128, 0.5f, 77},
        {"lanczos3 -1.5: -.2122 * .6366", PXDoResampler::Lanczos3FilterX128, -1.5f, -17},
        {"lanczos3 2.5: .1273 * .1910", PXDoResampler::Lanczos3FilterX128, 2.5f, 3},
        {"lanczos4 0", PXDoResampler::Lanczos4FilterX128, 0.0f, 128},
        {"lanczos4 .5: .6366 * .9745", PXDoResampler::Lanczos4FilterX128, 0.5f, 79},
        {"lanczos4 3.5: -.0909 * .1392", PXDoResampler::Lanczos4FilterX128, 3.5f, -1},
        {"lanczos4 4", PXDoResampler::Lanczos4FilterX128, 4.0f, 0},
        {"lanczos5 0", PXDoResampler::Lanczos5FilterX128, 0.0f, 128},
        {"lanczos5 1.5: -.2122 * .8584", PXDoResampler::Lanczos5FilterX128, 1.5f, -23},
        {"lanczos5 4.5: .0707 * .1093 is below 1", PXDoResampler::Lanczos5FilterX128, 4.5f, 0},
        {"lanczos5 5", PXDoResampler::Lanczos5FilterX128, 5.0f, 0},
    };
    for (const Case& c : cases)
        EXPECT_EQ(c.f(c.t), c.expected) << c.name;
}

// A surface over its own vector, with a padded stride so that stride
// handling is exercised.
struct Image {
    int w, h, stride;
    std::vector<PXPixel> buf;
    PXSurface surface;

    Image(const Image&) = delete;
    Image& operator=(const Image&) = delete;
    Image(int width, int height, int pad = 2)
        : w(width), h(height), stride(width + pad), buf(static_cast<size_t>(stride) * height + 1),
          surface(width, height, stride, buf.data(), true)
    {
    }
    uint8_t& at(int x, int y, int ch) { return (&buf[static_cast<size_t>(y) * stride + x].b)[ch]; }
    uint8_t at(int x, int y, int ch) const { return (&buf[static_cast<size_t>(y) * stride + x].b)[ch]; }
};

// The 3x3 source of the worked cases: channel b a checkerboard of 0 and 255
// (so that negative lobes undershoot and overshoot), g a gradient, r
// arbitrary, alpha 255 (so that unnormalised weights show).
void FillWorked(Image& img)
{
    const int b[3][3] = {{0, 255, 0}, {255, 0, 255}, {0, 255, 0}};
    const int g[3][3] = {{0, 40, 80}, {60, 100, 140}, {120, 160, 200}};
    const int r[3][3] = {{200, 10, 90}, {30, 250, 5}, {128, 64, 32}};
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 3; ++x) {
            img.at(x, y, 0) = static_cast<uint8_t>(b[y][x]);
            img.at(x, y, 1) = static_cast<uint8_t>(g[y][x]);
            img.at(x, y, 2) = static_cast<uint8_t>(r[y][x]);
            img.at(x, y, 3) = 255;
        }
}

using Taps = std::vector<std::pair<int, int>>; // (index, weight)

// Worked case: for each destination row the source rows and their weights,
// for each destination column the intermediate cells and their weights, all
// derived by hand from the filter values and edge rules. A cell index past the
// source width reads the following intermediate row (0 past the last row).
struct Worked {
    const char* name;
    int mode;
    int dw, dh;
    std::vector<Taps> rows;
    std::vector<Taps> cols;
};

int Expected(const Image& src, const Worked& c, int x, int y, int ch)
{
    auto cell = [&](long flat) -> long {
        long row = flat / src.w, col = flat % src.w;
        if (row >= c.dh)
            return 0;
        long s = 0;
        for (auto [sr, w] : c.rows[row])
            s += static_cast<long>(src.at(static_cast<int>(col), sr, ch)) * w;
        return s;
    };
    long sum = 0;
    for (auto [ci, w] : c.cols[x])
        sum += cell(static_cast<long>(y) * src.w + ci) * w;
    long v = sum >> 14;
    return v < 0 ? 0 : (v > 255 ? 255 : static_cast<int>(v));
}

TEST(Resample, WorkedThreeByThreeCases)
{
    // Reductions to 2x2 have scale 1.5: index 0 has b 0, r 0; index 1 has b 1, r .5.
    // Enlargement to 4x4: scale .75, r of 0, .75, .5, .25; to 6x6: scale .5.
    const std::vector<Worked> cases = {
        // Single-tap branch from b >= 3 - 2 down and b >= 2 - 2 across: a plain pick.
        {"bilinear 2x2", 1, 2, 2, {{{0, 128}}, {{1, 128}}}, {{{0, 128}}, {{1, 128}}}},
        // Two taps only while b < 1 down, b < 4 across; column 5 reaches the next row.
        {"bilinear 6x6", 1, 6, 6,
         {{{0, 128}}, {{0, 64}, {1, 64}}, {{1, 128}}, {{1, 128}}, {{2, 128}}, {{2, 128}}},
         {{{0, 128}}, {{0, 64}, {1, 64}}, {{1, 128}}, {{1, 64}, {2, 64}}, {{2, 128}}, {{2, 64}, {3, 64}}}},
        {"mode 11 acts as bilinear", 11, 6, 6,
         {{{0, 128}}, {{0, 64}, {1, 64}}, {{1, 128}}, {{1, 128}}, {{2, 128}}, {{2, 128}}},
         {{{0, 128}}, {{0, 64}, {1, 64}}, {{1, 128}}, {{1, 64}, {2, 64}}, {{2, 128}}, {{2, 64}, {3, 64}}}},
        // Hermite weights at .75/.25 are 20/108; two taps while b < 1 down, b < 2 across.
        {"hermite 4x4", 5, 4, 4,
         {{{0, 128}}, {{0, 20}, {1, 108}}, {{1, 128}}, {{2, 128}}},
         {{{0, 128}}, {{0, 20}, {1, 108}}, {{1, 64}, {2, 64}}, {{2, 128}}}},
        // Bicubic at r .5: -8, 72, 72, -8. Row 1 is b == height - 2; column 1 falls
        // to the last fold: C0 * -8 + C1 * (72 + 72 - 8).
        {"bicubic 2x2", 2, 2, 2,
         {{{0, 128}}, {{0, -8}, {1, 72}, {2, 64}}},
         {{{0, 128}}, {{0, -8}, {1, 136}}}},
        // B-spline at r 0: 21, 85, 21, 0; at r .5: 2, 61, 61, 2.
        {"b-spline 2x2", 3, 2, 2,
         {{{0, 106}, {1, 21}}, {{0, 2}, {1, 61}, {2, 63}}},
         {{{0, 106}, {1, 21}}, {{0, 2}, {1, 124}}}},
        // Mitchell at r 0: 7, 113, 7, 0; at r .5: -4, 68, 68, -4.
        {"mitchell 2x2", 4, 2, 2,
         {{{0, 120}, {1, 7}}, {{0, -4}, {1, 68}, {2, 64}}},
         {{{0, 120}, {1, 7}}, {{0, -4}, {1, 132}}}},
        // Catmull-Rom at r .75: -3, 29, 111, -9; at .5: -8, 72, 72, -8; at .25:
        // -9, 111, 29, -3. Column 2 is a full four-tap sum reaching cell 3.
        {"catmull-rom 4x4", 10, 4, 4,
         {{{0, 128}}, {{0, 26}, {1, 111}, {2, -9}}, {{0, -8}, {1, 72}, {2, 64}}, {{1, -9}, {2, 137}}},
         {{{0, 128}}, {{0, 26}, {1, 111}, {2, -9}}, {{0, -8}, {1, 72}, {2, 72}, {3, -8}}, {{1, -9}, {2, 137}}}},
        // Bell, 3 taps from first = T(k0 + f): index 0 has first -1 (off the edge,
        // so row b = 0), index 1 has k0 -1, first 0 and weights 0, 64, 64.
        {"bell 2x2", 6, 2, 2,
         {{{0, 112}, {1, 16}}, {{1, 64}, {2, 64}}},
         {{{0, 112}, {1, 16}}, {{1, 64}, {2, 64}}}},
        // Lanczos3 at index 1: k0 -2, first T(-.5) = 0; weights 3, -17, 77 on 0..2,
        // then 77, -17, 3 off the edge on the centre b = 1.
        {"lanczos3 2x2", 7, 2, 2,
         {{{0, 128}}, {{0, 3}, {1, 46}, {2, 77}}},
         {{{0, 128}}, {{0, 3}, {1, 46}, {2, 77}}}},
        // Lanczos4 at index 1: first -1, weights -1, 7, -21, 79, 79, -21, 7, -1;
        // all but positions 0..2 land on the centre b = 1.
        {"lanczos4 2x2", 8, 2, 2,
         {{{0, 128}}, {{0, 7}, {1, 42}, {2, 79}}},
         {{{0, 128}}, {{0, 7}, {1, 42}, {2, 79}}}},
        // Lanczos5 at index 1: first -2, weights 0, -4, 10, -23, 80, 80, -23, 10, -4, 0.
        {"lanczos5 2x2", 9, 2, 2,
         {{{0, 128}}, {{0, 10}, {1, 36}, {2, 80}}},
         {{{0, 128}}, {{0, 10}, {1, 36}, {2, 80}}}},
    };

    Image src(3, 3);
    FillWorked(src);
    for (const Worked& c : cases) {
        Image dst(c.dw, c.dh, 3);
        PXSurface::Resample(&src.surface, &dst.surface, static_cast<PXInterpolationMode>(c.mode));
        for (int y = 0; y < c.dh; ++y)
            for (int x = 0; x < c.dw; ++x)
                for (int ch = 0; ch < 4; ++ch)
                    EXPECT_EQ(dst.at(x, y, ch), Expected(src, c, x, y, ch))
                        << c.name << " at (" << x << ", " << y << ") channel " << ch;
    }
}

TEST(Resample, WorkedValuesShowClampAndUnnormalisedWeights)
{
    // A few results of the cases above written out in full.
    Image src(3, 3);
    FillWorked(src);
    Image cubic(2, 2);
    PXSurface::Resample(&src.surface, &cubic.surface, PXInterpolationMode(2));
    // Channel b at (1, 0): row 0 is source row 0 * 128, so -8 * 0 + 136 * 255 * 128
    // = 4,439,040; >> 14 = 270, clamped to 255.
    EXPECT_EQ(cubic.at(1, 0, 0), 255);
    // Channel b at (0, 1): 128 * (-8 * 0 + 72 * 255 + 64 * 0) = 2,350,080 >> 14 = 143.
    EXPECT_EQ(cubic.at(0, 1, 0), 143);
    // Channel b at (1, 1): cells C0 = 72 * 255 = 18360, C1 = -8 * 255 + 64 * 255 =
    // 14280; -8 * 18360 + 136 * 14280 = 1,795,200 >> 14 = 109.
    EXPECT_EQ(cubic.at(1, 1, 0), 109);

    Image lanczos(2, 2);
    PXSurface::Resample(&src.surface, &lanczos.surface, PXInterpolationMode(7));
    // Alpha at (1, 1): 255 * 126 * 126 >> 14 = 247, the taps summing to 126.
    EXPECT_EQ(lanczos.at(1, 1, 3), 247);

    Image bspline(2, 2);
    PXSurface::Resample(&src.surface, &bspline.surface, PXInterpolationMode(3));
    // Alpha at (0, 0): 255 * 127 * 127 >> 14 = 251.
    EXPECT_EQ(bspline.at(0, 0, 3), 251);
}

TEST(Resample, NearestPicksByRoundedPosition)
{
    // Each source pixel carries its own coordinates.
    Image src(4, 4);
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x)
            src.buf[static_cast<size_t>(y) * src.stride + x] = PXPixel(uint8_t(x), uint8_t(y), 7, 9);
    struct Case {
        int dw, dh;
        std::vector<int> sx, sy;
    } cases[] = {
        {2, 2, {0, 2}, {0, 2}},             // scale 2: T(0 + .5), T(2 + .5)
        {3, 4, {0, 1, 3}, {0, 1, 2, 3}},    // scale 4/3: T(1.83) = 1, T(3.17) = 3
        {8, 8, {0, 1, 1, 2, 2, 3, 3, 3}, {0, 1, 1, 2, 2, 3, 3, 3}}, // T(3.5 + .5) = 4, lowered to 3
    };
    for (const Case& c : cases) {
        Image dst(c.dw, c.dh);
        PXSurface::Resample(&src.surface, &dst.surface, PXInterpolationMode(0));
        for (int y = 0; y < c.dh; ++y)
            for (int x = 0; x < c.dw; ++x) {
                EXPECT_EQ(dst.at(x, y, 0), c.sx[x]) << c.dw << "x" << c.dh << " at " << x << "," << y;
                EXPECT_EQ(dst.at(x, y, 1), c.sy[y]) << c.dw << "x" << c.dh << " at " << x << "," << y;
                EXPECT_EQ(dst.at(x, y, 3), 9);
            }
    }
}

TEST(Resample, BilinearAtEqualSizeIsExact)
{
    // r is 0 everywhere, so each value comes back as v * 128 * 128 >> 14,
    // the single-tap last row and column included.
    std::mt19937 rng(7);
    Image src(7, 5, 3);
    for (auto& p : src.buf)
        p = PXPixel(uint8_t(rng()), uint8_t(rng()), uint8_t(rng()), uint8_t(rng()));
    Image dst(7, 5, 1);
    PXSurface::Resample(&src.surface, &dst.surface, PXInterpolationMode(1));
    for (int y = 0; y < 5; ++y)
        for (int x = 0; x < 7; ++x)
            for (int ch = 0; ch < 4; ++ch)
                ASSERT_EQ(dst.at(x, y, ch), src.at(x, y, ch)) << x << "," << y;
}

TEST(Resample, EmptyDestinationIsLeftAlone)
{
    Image src(3, 3);
    FillWorked(src);
    std::vector<PXPixel> sentinel(4, PXPixel(1, 2, 3, 4));
    for (int mode = 0; mode <= 10; ++mode) {
        PXSurface noRows(2, 0, 2, sentinel.data(), true);
        PXSurface noCols(0, 2, 2, sentinel.data(), true);
        PXSurface::Resample(&src.surface, &noRows, PXInterpolationMode(mode));
        PXSurface::Resample(&src.surface, &noCols, PXInterpolationMode(mode));
        for (const PXPixel& p : sentinel)
            EXPECT_EQ(p.r, 3) << "mode " << mode;
    }
}

TEST(Resample, DestinationSharingTheSourceMemory)
{
    // The source is read whole before the destination is written, so a
    // destination view inside the source gives what a separate copy gives.
    std::mt19937 rng(3);
    for (int mode = 1; mode <= 10; ++mode) {
        Image whole(6, 6, 0);
        for (auto& p : whole.buf)
            p = PXPixel(uint8_t(rng()), uint8_t(rng()), uint8_t(rng()), uint8_t(rng()));
        Image apart(6, 6, 0);
        apart.buf = whole.buf;
        Image want(4, 3, 0);
        PXSurface::Resample(&apart.surface, &want.surface, PXInterpolationMode(mode));

        PXSurface* inside = whole.surface.SubSurface(1, 2, 4, 3);
        ASSERT_NE(inside, &whole.surface);
        PXSurface::Resample(&whole.surface, inside, PXInterpolationMode(mode));
        for (int y = 0; y < 3; ++y)
            for (int x = 0; x < 4; ++x)
                for (int ch = 0; ch < 4; ++ch)
                    EXPECT_EQ(whole.at(1 + x, 2 + y, ch), want.at(x, y, ch)) << "mode " << mode;
        delete inside;
    }
}

// ---- Plain transcription of the rules, pixel by pixel, over a whole
// intermediate with spare zero cells at its end.

long SrcAt(const Image& s, int x, int y, int ch) { return s.at(x, y, ch); }

std::vector<uint8_t> Reference(const Image& src, int dw, int dh, int mode)
{
    std::vector<uint8_t> out(static_cast<size_t>(dw) * dh * 4);
    const float xs = float(src.w) / float(dw), ys = float(src.h) / float(dh);
    if (mode == 0) {
        for (int y = 0; y < dh; ++y)
            for (int x = 0; x < dw; ++x) {
                int sx = int(xs * x + 0.5), sy = int(ys * y + 0.5);
                sx = sx > src.w - 1 ? src.w - 1 : sx;
                sy = sy > src.h - 1 ? src.h - 1 : sy;
                for (int ch = 0; ch < 4; ++ch)
                    out[(size_t(y) * dw + x) * 4 + ch] = src.at(sx, sy, ch);
            }
        return out;
    }
    Filter f = PXDoResampler::BilinearX128;
    int kind = 2; // 2 two taps, 4 four taps, 0 any radius
    float radius = 0;
    switch (mode) {
    case 2: f = PXCubicResampler::BiCubicInterpolatorX128, kind = 4; break;
    case 3: f = PXCubicResampler::BiCubicBSplineInterpolatorX128, kind = 4; break;
    case 4: f = PXCubicResampler::BiCubicMitchellInterpolatorX128, kind = 4; break;
    case 5: f = PXBilinearResampler::HermiteX128; break;
    case 6: f = PXDoResampler::BiCubicBellInterpolatorX128, kind = 0, radius = 1.5f; break;
    case 7: f = PXDoResampler::Lanczos3FilterX128, kind = 0, radius = 3; break;
    case 8: f = PXDoResampler::Lanczos4FilterX128, kind = 0, radius = 4; break;
    case 9: f = PXDoResampler::Lanczos5FilterX128, kind = 0, radius = 5; break;
    case 10: f = PXCubicResampler::BiCubicCatmullRomInterpolatorX128, kind = 4; break;
    default: break;
    }
    std::vector<long> mid((size_t(src.w) * dh + 2) * 4, 0);
    auto M = [&](int y, int i, int ch) -> long { return mid[(size_t(y) * src.w + i) * 4 + ch]; };
    for (int y = 0; y < dh; ++y) {
        float fy = y * ys;
        int b = int(fy);
        float r = fy - b;
        for (int x = 0; x < src.w; ++x)
            for (int ch = 0; ch < 4; ++ch) {
                auto S = [&](int row) { return SrcAt(src, x, row, ch); };
                long v = 0;
                if (kind == 2) {
                    long w0 = f(r), w1 = f(1 - r);
                    v = b < src.h - 2 ? S(b) * w0 + S(b + 1) * w1 : S(b) * (w0 + w1);
                } else if (kind == 4) {
                    long w0 = f(r + 1), w1 = f(r), w2 = f(1 - r), w3 = f(2 - r);
                    if (0 < b && b < src.h - 2)
                        v = S(b - 1) * w0 + S(b) * w1 + S(b + 1) * w2 + S(b + 2) * w3;
                    else if (b == 0)
                        v = S(0) * (w0 + w1) + S(1) * w2 + S(2) * w3;
                    else if (b == src.h - 2)
                        v = S(b - 1) * w0 + S(b) * w1 + S(b + 1) * (w2 + w3);
                    else
                        v = S(b - 1) * w0 + S(b) * (w1 + w2 + w3);
                } else {
                    int taps = int(radius + radius), k0 = int(r - radius), first = int(k0 + fy);
                    for (int t = 0; t < taps; ++t) {
                        int k = k0 + t, at = first + t;
                        long w = k > 0 ? f(k - r) : f(r - k);
                        v += S(at < 0 || at > src.h - 1 ? b : at) * w;
                    }
                }
                mid[(size_t(y) * src.w + x) * 4 + ch] = v;
            }
    }
    for (int y = 0; y < dh; ++y)
        for (int x = 0; x < dw; ++x) {
            float fx = x * xs;
            int b = int(fx);
            float r = fx - b;
            for (int ch = 0; ch < 4; ++ch) {
                auto C = [&](int i) { return M(y, i, ch); };
                long v = 0;
                if (kind == 2) {
                    long w0 = f(r), w1 = f(1 - r);
                    v = b < dw - 2 ? C(b) * w0 + C(b + 1) * w1 : C(b) * (w0 + w1);
                } else if (kind == 4) {
                    long w0 = f(r + 1), w1 = f(r), w2 = f(1 - r), w3 = f(2 - r);
                    if (0 < b && b < dw - 2)
                        v = C(b - 1) * w0 + C(b) * w1 + C(b + 1) * w2 + C(b + 2) * w3;
                    else if (b == 0)
                        v = C(0) * (w0 + w1) + C(1) * w2 + C(2) * w3;
                    else
                        v = C(b - 1) * w0 + C(b) * (w1 + w2 + w3);
                } else {
                    int taps = int(radius + radius), k0 = int(r - radius), first = int(k0 + fx);
                    for (int t = 0; t < taps; ++t) {
                        int k = k0 + t, at = first + t;
                        long w = k > 0 ? f(k - r) : f(r - k);
                        v += C(at < 0 || at > src.w - 1 ? b : at) * w;
                    }
                }
                v >>= 14;
                out[(size_t(y) * dw + x) * 4 + ch] = uint8_t(v < 0 ? 0 : (v > 255 ? 255 : v));
            }
        }
    return out;
}

TEST(Resample, MatchesPlainRulesOnRandomSurfaces)
{
    // Reductions, enlargements and mixed aspect changes in every mode.
    struct Size {
        int sw, sh, dw, dh;
    } sizes[] = {
        {3, 3, 8, 5}, {9, 7, 4, 3}, {16, 9, 41, 23}, {40, 25, 13, 31}, {5, 12, 12, 5}, {37, 3, 37, 3},
    };
    std::mt19937 rng(12345);
    for (const Size& s : sizes) {
        Image src(s.sw, s.sh, 1);
        for (auto& p : src.buf)
            p = PXPixel(uint8_t(rng()), uint8_t(rng()), uint8_t(rng()), uint8_t(rng()));
        for (int mode = 0; mode <= 11; ++mode) {
            Image dst(s.dw, s.dh, 2);
            PXSurface::Resample(&src.surface, &dst.surface, PXInterpolationMode(mode));
            std::vector<uint8_t> want = Reference(src, s.dw, s.dh, mode);
            int bad = 0;
            for (int y = 0; y < s.dh && bad < 5; ++y)
                for (int x = 0; x < s.dw && bad < 5; ++x)
                    for (int ch = 0; ch < 4; ++ch)
                        if (dst.at(x, y, ch) != want[(size_t(y) * s.dw + x) * 4 + ch]) {
                            ADD_FAILURE() << "mode " << mode << " " << s.sw << "x" << s.sh << " to " << s.dw
                                          << "x" << s.dh << " at (" << x << ", " << y << ") ch " << ch << ": "
                                          << int(dst.at(x, y, ch)) << " want "
                                          << int(want[(size_t(y) * s.dw + x) * 4 + ch]);
                            ++bad;
                        }
        }
    }
}

TEST(Resample, FloatOverloadsUseWeightsAsTheyCome)
{
    // A tent of height 1: at equal size every value comes back truncated from
    // v * 1 * 1; a flat weight of 1.5 per tap over two taps triples the value
    // and clamps.
    Image src(3, 3);
    FillWorked(src);
    Image same(3, 3);
    PXBilinearResampler::DoResample(&src.surface, &same.surface, +[](float t) { return t < 1 ? 1 - t : 0.0f; });
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 3; ++x)
            for (int ch = 0; ch < 4; ++ch)
                EXPECT_EQ(same.at(x, y, ch), src.at(x, y, ch));

    Image flat(3, 3);
    PXDoResampler::DoResample(&src.surface, &flat.surface, +[](float) { return 0.5f; }, 1.0f);
    // Two taps of .5 in each pass: the value comes back as v * 1 * 1, wherever
    // the taps land. Channel g of a gradient checks the landing: at (1, 1),
    // first = T(-1 + 1) = 0, so taps 0 and 1 in both passes.
    EXPECT_EQ(flat.at(1, 1, 1), (0 + 40 + 60 + 100) / 4);
}

} // namespace
