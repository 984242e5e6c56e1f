// Resamplers and their filter functions. Expected values are worked by hand
// from the filter formulas and the tap and edge rules.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "surface/PXResampler.h"

namespace {

// A surface over its own vector, with a padded stride.
struct Image {
    int w, h, stride;
    std::vector<PXPixel> buf;
    PXSurface surface;

    Image(int width, int height, int pad = 2)
        : w(width), h(height), stride(width + pad), buf(size_t(stride) * height + 1),
          surface(width, height, stride, buf.data(), true) {}
    uint8_t& at(int x, int y, int ch) { return (&buf[size_t(y) * stride + x].b)[ch]; }
    void Randomise(std::mt19937& rng) { for (auto& p : buf) p = PXPixel(rng(), rng(), rng(), rng()); }
};

// The worked 3x3 source: b a checkerboard of 0 and 255 (negative lobes under-
// and overshoot), g a gradient, r arbitrary, alpha 255 (unnormalised weights show).
void FillWorked(Image& img)
{
    const int b[9] = {0, 255, 0, 255, 0, 255, 0, 255, 0}, g[9] = {0, 40, 80, 60, 100, 140, 120, 160, 200},
              r[9] = {200, 10, 90, 30, 250, 5, 128, 64, 32};
    for (int i = 0; i < 9; ++i)
        img.buf[size_t(i / 3) * img.stride + i % 3] = PXPixel(b[i], g[i], r[i], 255);
}

using Taps = std::vector<std::pair<int, int>>; // (index, weight)

// For each destination row the source rows and weights, for each destination
// column the intermediate cells and weights.
struct Worked {
    int mode, dw, dh;
    std::vector<Taps> rows, cols;
};

// Resamples src as c says and checks every channel of every pixel against
// the sum of its taps; a cell past the source width is read from the
// following intermediate row (0 past the last row).
void CheckAgainstTaps(Image& src, const Worked& c)
{
    Image dst(c.dw, c.dh, 3);
    PXSurface::Resample(&src.surface, &dst.surface, PXInterpolationMode(c.mode));
    auto cell = [&](long flat, int ch) {
        long row = flat / src.w, s = 0;
        for (auto [sr, w] : row < c.dh ? c.rows[row] : Taps())
            s += long(src.at(int(flat % src.w), sr, ch)) * w;
        return s;
    };
    for (int i = 0; i < c.dw * c.dh * 4; ++i) {
        const int x = i / 4 % c.dw, y = i / 4 / c.dw, ch = i % 4;
        long sum = 0;
        for (auto [ci, w] : c.cols[x])
            sum += cell(long(y) * src.w + ci, ch) * w;
        ASSERT_EQ(dst.at(x, y, ch), std::clamp(sum >> 14, 0L, 255L))
            << "mode " << c.mode << " to " << c.dw << "x" << c.dh << " at " << x << "," << y << " ch " << ch;
    }
}

TEST(Resample, WorkedThreeByThreeCases)
{
    // To 2x2: scale 1.5, index 0 has b 0, r 0; index 1 has b 1, r .5.
    // To 4x4: scale .75, r 0, .75, .5, .25. To 6x6: scale .5.
    const Taps one0{{0, 128}}, one1{{1, 128}}, one2{{2, 128}};
    const std::vector<Worked> cases = {
        // Single tap from b >= height - 2 down and b >= width - 2 across: a plain pick.
        {1, 2, 2, {one0, one1}, {one0, one1}},
        // Two taps only while b < 1 down and b < 4 across; column 5 reaches the next row.
        {1, 6, 6, {one0, {{0, 64}, {1, 64}}, one1, one1, one2, one2},
         {one0, {{0, 64}, {1, 64}}, one1, {{1, 64}, {2, 64}}, one2, {{2, 64}, {3, 64}}}},
        // Hermite at .75/.25: 20/108.
        {5, 4, 4, {one0, {{0, 20}, {1, 108}}, one1, one2}, {one0, {{0, 20}, {1, 108}}, {{1, 64}, {2, 64}}, one2}},
        // Bicubic at r .5: -8, 72, 72, -8. Row 1 is b == height - 2; column 1
        // takes the last fold: C0 * -8 + C1 * (72 + 72 - 8).
        {2, 2, 2, {one0, {{0, -8}, {1, 72}, {2, 64}}}, {one0, {{0, -8}, {1, 136}}}},
        // B-spline at r 0: 21, 85, 21, 0; at .5: 2, 61, 61, 2.
        {3, 2, 2, {{{0, 106}, {1, 21}}, {{0, 2}, {1, 61}, {2, 63}}}, {{{0, 106}, {1, 21}}, {{0, 2}, {1, 124}}}},
        // Mitchell at r 0: 7, 113, 7, 0; at .5: -4, 68, 68, -4.
        {4, 2, 2, {{{0, 120}, {1, 7}}, {{0, -4}, {1, 68}, {2, 64}}}, {{{0, 120}, {1, 7}}, {{0, -4}, {1, 132}}}},
        // Catmull-Rom at r .75: -3, 29, 111, -9; at .25 reversed. Column 2 is a
        // full four-tap sum reaching cell 3.
        {10, 4, 4, {one0, {{0, 26}, {1, 111}, {2, -9}}, {{0, -8}, {1, 72}, {2, 64}}, {{1, -9}, {2, 137}}},
         {one0, {{0, 26}, {1, 111}, {2, -9}}, {{0, -8}, {1, 72}, {2, 72}, {3, -8}}, {{1, -9}, {2, 137}}}},
        // Bell, 3 taps: index 0 has first -1 (off the edge: centre row 0);
        // index 1 has k0 -1, first T(-1 + 1.5) = 0 and weights 0, 64, 64.
        {6, 2, 2, {{{0, 112}, {1, 16}}, {{1, 64}, {2, 64}}}, {{{0, 112}, {1, 16}}, {{1, 64}, {2, 64}}}},
        // Lanczos3 at index 1: first T(-.5) = 0; 3, -17, 77 on 0..2, then 77,
        // -17, 3 off the edge land on the centre b = 1.
        {7, 2, 2, {one0, {{0, 3}, {1, 46}, {2, 77}}}, {one0, {{0, 3}, {1, 46}, {2, 77}}}},
        // Lanczos4 at index 1: first -1; -1, 7, -21, 79, 79, -21, 7, -1.
        {8, 2, 2, {one0, {{0, 7}, {1, 42}, {2, 79}}}, {one0, {{0, 7}, {1, 42}, {2, 79}}}},
        // Lanczos5 at index 1: first -2; 0, -4, 10, -23, 80, 80, -23, 10, -4, 0.
        {9, 2, 2, {one0, {{0, 10}, {1, 36}, {2, 80}}}, {one0, {{0, 10}, {1, 36}, {2, 80}}}},
        // Modes outside 0..10 act as 1.
        {11, 2, 2, {one0, one1}, {one0, one1}}, {-1, 2, 2, {one0, one1}, {one0, one1}},
    };
    Image src(3, 3);
    FillWorked(src);
    for (const Worked& c : cases)
        CheckAgainstTaps(src, c);

}

TEST(Resample, NearestPicksByRoundedPosition)
{
    // Each source pixel holds its x in b and y in g; the picks are T(scale * i + .5).
    Image src(4, 4);
    for (int i = 0; i < 16; ++i)
        src.buf[size_t(i / 4) * src.stride + i % 4] = PXPixel(i % 4, i / 4, 7, 9);
    // Picks for 2, 3 and 8 destination pixels from 4; at 8, T(4.0) is lowered to 3.
    const std::vector<int> picks[] = {{0, 2}, {0, 1, 3}, {0, 1, 1, 2, 2, 3, 3, 3}};
    for (const auto& sx : picks)
        for (const auto& sy : picks) {
            const int w = int(sx.size()), h = int(sy.size());
            Image dst(w, h);
            PXSurface::Resample(&src.surface, &dst.surface, PXInterpolationMode(0));
            for (int i = 0; i < w * h; ++i)
                EXPECT_EQ(std::make_pair(dst.at(i % w, i / w, 0), dst.at(i % w, i / w, 1)),
                          std::make_pair(uint8_t(sx[i % w]), uint8_t(sy[i / w]))) << w << "x" << h << " at " << i;
        }
}

TEST(Resample, EmptyDestinationsAreLeftAlone)
{
    Image src(3, 3);
    FillWorked(src);
    std::vector<PXPixel> guard(4, PXPixel(1, 2, 3, 4));
    PXSurface noRows(2, 0, 2, guard.data(), true), noCols(0, 2, 2, guard.data(), true);
    for (int mode = 0; mode <= 10; ++mode) {
        PXSurface::Resample(&src.surface, &noRows, PXInterpolationMode(mode));
        PXSurface::Resample(&src.surface, &noCols, PXInterpolationMode(mode));
    }
    EXPECT_TRUE(std::all_of(guard.begin(), guard.end(), [](const PXPixel& p) { return p.r == 3; }));
}

// The filters times 128, transcribed from their formulas, for the oracle
// below: no weight comes from the library. Each takes t >= 0 where the
// library would take a magnitude.
int RuleWeight(int mode, float t)
{
    const float a = t < 0 ? -t : t;
    auto sinc = [](float x) {
        const float y = float(x * 3.1415926);
        return x == 0.0f ? 1.0 : std::sin(double(y)) / y;
    };
    switch (mode) {
    case 1: return t < 1 ? int(128.0f - 128.0f * t) : 0;
    case 5: return t < 1 ? int(256.0f * (t * t * t) - 384.0f * (t * t) + 128.0f) : 0;
    case 2: case 10:
        if (mode == 2 ? a <= 1 : a < 1) return int(192.0f * (a * a * a) - 320.0f * (a * a) + 128.0f);
        return a < 2 ? int(-64.0f * (a * a * a) + 320.0f * (a * a) - 512.0f * a + 256.0f) : 0;
    case 3:
        if (a < 1) return int(64.0f * a * a * a - 128.0f * a * a + 85.33f);
        return a < 2 ? int((2.0f - a) * (2.0f - a) * (2.0f - a) * 21.33f) : 0;
    case 4: {
        const double cube = double(a) * a * a;
        if (a < 1) return int(149.33 * cube - 256.0f * (a * a) + 113.71);
        return a < 2 ? int(-49.78 * cube + 256.0f * (a * a) - 426.67 * a + 227.56) : 0;
    }
    case 6:
        if (a < 0.5f) return int(96.0f - 128.0f * a * a);
        return a < 1.5f ? int(64.0f * (a - 1.5f) * (a - 1.5f)) : 0;
    case 7: return a < 3 ? int(sinc(a) * sinc(a / 3.0f) * 128) : 0;
    case 8: return a < 4 ? int(sinc(a) * sinc(a * 0.25f) * 128) : 0;
    case 9: return a < 5 ? int(sinc(a) * sinc(a * 0.2f) * 128) : 0;
    }
    return 0;
}

// The taps of one pass, transcribed plainly from the tap and edge rules: an
// oracle for the vectorised, tap-merging passes at sizes no hand case reaches.
std::vector<Taps> RuleTaps(int mode, int count, int from, int limit, bool vertical)
{
    static const float kRadius[] = {0, 0, 0, 0, 0, 0, 1.5f, 3, 4, 5, 0};
    auto f = [mode](float t) { return RuleWeight(mode, t); };
    std::vector<Taps> out(count);
    for (int i = 0; i < count; ++i) {
        float fi = i * (float(from) / float(count)), r = fi - int(fi);
        int b = int(fi);
        Taps& t = out[i];
        if (mode == 1 || mode == 5) {
            if (b < limit - 2) t = {{b, f(r)}, {b + 1, f(1 - r)}};
            else t = {{b, f(r) + f(1 - r)}};
        } else if (kRadius[mode] == 0) {
            int w0 = f(r + 1), w1 = f(r), w2 = f(1 - r), w3 = f(2 - r);
            if (0 < b && b < limit - 2) t = {{b - 1, w0}, {b, w1}, {b + 1, w2}, {b + 2, w3}};
            else if (b == 0) t = {{0, w0 + w1}, {1, w2}, {2, w3}};
            else if (vertical && b == limit - 2) t = {{b - 1, w0}, {b, w1}, {b + 1, w2 + w3}};
            else t = {{b - 1, w0}, {b, w1 + w2 + w3}};
        } else {
            float radius = kRadius[mode];
            int k0 = int(r - radius), first = int(k0 + fi);
            for (int k = k0; k < k0 + int(radius + radius); ++k) {
                int at = first + k - k0;
                t.push_back({at < 0 || at > from - 1 ? b : at, k > 0 ? f(k - r) : f(r - k)});
            }
        }
    }
    return out;
}

TEST(Resample, MatchesPlainRulesOnRandomSurfaces)
{
    // Reductions, enlargements and mixed aspect changes in every filter mode.
    struct {
        int sw, sh, dw, dh;
    } sizes[] = {{3, 3, 8, 5}, {9, 7, 4, 3}, {16, 9, 41, 23}, {40, 25, 13, 31}, {5, 12, 12, 5}, {37, 3, 37, 3}};
    std::mt19937 rng(12345);
    for (const auto& s : sizes) {
        Image src(s.sw, s.sh, 1);
        src.Randomise(rng);
        for (int mode : {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, -1, 1000}) { // others act as 1
            int m = mode < 0 || mode > 10 ? 1 : mode;
            CheckAgainstTaps(src, {mode, s.dw, s.dh, RuleTaps(m, s.dh, s.sh, s.sh, true),
                                   RuleTaps(m, s.dw, s.sw, s.dw, false)});
        }
    }
}

TEST(Resample, FloatOverloadsUseWeightsAsTheyCome)
{
    // A tent of height 1 at equal size returns every value; two flat taps of .5
    // per pass average four pixels: at (1, 1), first = T(-1 + 1) = 0, so taps 0
    // and 1 both ways: g (0 + 40 + 60 + 100) / 4.
    Image src(3, 3), same(3, 3), flat(3, 3);
    FillWorked(src);
    PXBilinearResampler::DoResample(&src.surface, &same.surface, +[](float t) { return t < 1 ? 1 - t : 0.0f; });
    PXDoResampler::DoResample(&src.surface, &flat.surface, +[](float) { return 0.5f; }, 1.0f);
    for (int i = 0; i < 36; ++i)
        EXPECT_EQ(same.at(i / 4 % 3, i / 12, i % 4), src.at(i / 4 % 3, i / 12, i % 4));
    EXPECT_EQ(flat.at(1, 1, 1), 50);
}

} // namespace
