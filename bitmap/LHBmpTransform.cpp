// Drawing through an affine matrix by inverse mapping: each destination pixel
// asks where it comes from, samples there bilinearly, and fades over the
// one-pixel ring just outside the source (the source's last row and column
// and the ring before its first ones form the soft edge).
#include "LHBmpPixels.h"
#include "LHBmpSimd.h"

using namespace lhbmp;

namespace {

// Where a sample lies along one axis, by integer position i in a source of n.
enum Place { Inside, Before, Last, Outside };

inline Place placeOf(int64_t i, int n)
{
    if (i >= 0 && i < n - 1)
        return Inside;
    if (i == -1)
        return Before;
    if (i == n - 1)
        return Last;
    return Outside;
}

// The product of a matrix factor and a whole number n, as the factor's
// multiplication gives it, is f * n for a small factor and (f >> 12 << 12) * n
// for a large one, as long as nothing overflows on the way: true for
// |f| < 2^40 and |n| < 2^20. Along a row the position then moves by that
// step exactly (sums wrap alike). Returns false where that does not hold.
bool rowSteps(const _LHMATRIX& inv, int64_t x0, int width, int64_t& du, int64_t& dv)
{
    const int64_t lim = int64_t(1) << 40, big = int64_t(1) << 28;
    const int64_t last = x0 + width - 1;
    if (inv.a.v <= -lim || inv.a.v >= lim || inv.b.v <= -lim || inv.b.v >= lim || x0 <= -(1 << 20) ||
        x0 >= (1 << 20) || last <= -(1 << 20) || last >= (1 << 20))
        return false;
    auto step = [&](int64_t f) { return f < -big || f > big ? int64_t(uint64_t(f >> 12) << 12) : f; };
    du = step(inv.a.v);
    dv = step(inv.b.v);
    return true;
}

// Walks every destination pixel and hands its source position to sample;
// with row, whole rows go to row(u, v, du, dv, j) where the steps are exact.
template <typename Sample, typename Row>
bool frame(const CLHBmp& s, const _LHMATRIX& m, const _LHPOINT& origin, CLHBmp* dest, Sample sample, Row row)
{
    if (!dest || dest->depth != s.depth || dest->width < 1 || dest->height < 1 || !dest->bits)
        return false;
    _LHMATRIX inv = m;
    inv.do_invert();
    int64_t du = 0, dv = 0;
    const bool stepped = rowSteps(inv, origin.x, dest->width, du, dv);
    for (int j = 0; j < dest->height; ++j) {
        if (stepped) {
            LHFIX64 u = LHFIX64::from_int(origin.x), v = LHFIX64::from_int(int64_t(origin.y) + j);
            inv.transform_point(u, v);
            if (row(uint64_t(u.v), uint64_t(v.v), uint64_t(du), uint64_t(dv), j))
                continue;
            uint64_t uu = uint64_t(u.v), vv = uint64_t(v.v);
            for (int i = 0; i < dest->width; ++i, uu += uint64_t(du), vv += uint64_t(dv))
                sample(LHFIX64::raw(int64_t(uu)), LHFIX64::raw(int64_t(vv)), i, j);
            continue;
        }
        for (int i = 0; i < dest->width; ++i) {
            LHFIX64 u = LHFIX64::from_int(int64_t(origin.x) + i), v = LHFIX64::from_int(int64_t(origin.y) + j);
            inv.transform_point(u, v);
            sample(u, v, i, j);
        }
    }
    return true;
}

template <typename Sample>
bool frame(const CLHBmp& s, const _LHMATRIX& m, const _LHPOINT& origin, CLHBmp* dest, Sample sample)
{
    return frame(s, m, origin, dest, sample, [](uint64_t, uint64_t, uint64_t, uint64_t, int) { return false; });
}

inline int64_t mulw(int64_t a, int64_t b)
{
    return int64_t(uint64_t(a) * uint64_t(b));
}

// u rounded to 1/256 of a pixel; wraps like the machine for the huge
// coordinates a singular matrix gives.
inline int64_t roundTo256(LHFIX64 u)
{
    return int64_t(uint64_t(mulw(u.v, 256)) + uint64_t(LHFIX64::kHalf)) >> 26;
}

struct Sample32 {
    const CLHBmp& s;
    CLHBmp* dest;

    const unsigned char* P(int64_t x, int64_t y) const { return rowOf(s, y) + x * 4; }

    void operator()(LHFIX64 u, LHFIX64 v, int i, int j) const
    {
        unsigned char* d = rowOf(*dest, j) + size_t(i) * 4;
        const int w = s.width, h = s.height;
        const int64_t pu = roundTo256(u), pv = roundTo256(v);
        const int64_t ix = pu >> 8, iy = pv >> 8;
        const uint32_t fx = uint32_t(pu & 255), fy = uint32_t(pv & 255), gx = 256 - fx, gy = 256 - fy;
        const Place px = w > 0 && h > 0 ? placeOf(ix, w) : Outside, py = w > 0 && h > 0 ? placeOf(iy, h) : Outside;
        if (px == Outside || py == Outside) {
            std::memset(d, 0, 4);
            return;
        }
        if (px == Inside && py == Inside) {
            const unsigned char *p00 = P(ix, iy), *p01 = P(ix, iy + 1);
            for (int k = 0; k < 4; ++k)
                d[k] = static_cast<unsigned char>(
                    ((p01[k + 4] * fx + p01[k] * gx) * fy + (p00[k + 4] * fx + p00[k] * gx) * gy) >> 16);
            return;
        }
        if (px != Inside && py != Inside) { // a corner: nearest colour, alpha falls off
            const unsigned char* p = P(px == Before ? 0 : w - 1, py == Before ? 0 : h - 1);
            std::memcpy(d, p, 3);
            d[3] = static_cast<unsigned char>((p[3] * (px == Before ? fx : gx) * (py == Before ? fy : gy)) >> 16);
            return;
        }
        if (px == Inside) { // top ring or bottom row
            const unsigned char* p = P(ix, py == Before ? 0 : h - 1);
            for (int k = 0; k < 3; ++k)
                d[k] = static_cast<unsigned char>((p[k + 4] * fx + p[k] * gx) >> 8);
            d[3] = static_cast<unsigned char>(((p[7] * fx + p[3] * gx) * (py == Before ? fy : gy)) >> 16);
            return;
        }
        // left ring or right column
        const unsigned char *p0 = P(px == Before ? 0 : w - 1, iy), *p1 = P(px == Before ? 0 : w - 1, iy + 1);
        const uint32_t wx = px == Before ? fx : gx;
        for (int k = 0; k < 3; ++k)
            d[k] = static_cast<unsigned char>((p1[k] * fy + p0[k] * gy) >> 8);
        d[3] = static_cast<unsigned char>((p1[3] * wx * fy + p0[3] * wx * gy) >> 16);
    }
};

// The 8-bit sample: the value without fall-off (what dest of the coverage
// form receives), and the coverage weight as a fixed-point fraction.
struct Gray {
    int64_t value;     // bilinear inside, nearest or edge blend on the border, 0 outside
    LHFIX64 coverage;  // 1.0 inside, 0 outside, the product of the border weights
    bool inside;
    bool outside;
};

Gray sample8(const CLHBmp& s, LHFIX64 u, LHFIX64 v)
{
    const int w = s.width, h = s.height;
    const int64_t ix = u.v >> 26, iy = v.v >> 26;
    // The floor keeps both fractions in [0, 1.0).
    const LHFIX64 ru = LHFIX64::raw(u.v - int64_t(uint64_t(ix) << 26)), rv = LHFIX64::raw(v.v - int64_t(uint64_t(iy) << 26));
    const Place px = w > 0 && h > 0 ? placeOf(ix, w) : Outside, py = w > 0 && h > 0 ? placeOf(iy, h) : Outside;
    if (px == Outside || py == Outside)
        return {0, LHFIX64(), false, true};
    auto P = [&](int64_t x, int64_t y) { return int64_t(rowOf(s, y)[x]); };
    if (px == Inside && py == Inside) {
        const int64_t fx = (ru.v * 65536 + LHFIX64::kHalf) >> 26, fy = (rv.v * 65536 + LHFIX64::kHalf) >> 26;
        const int64_t gx = 65536 - fx, gy = 65536 - fy;
        const int64_t val = (((P(ix + 1, iy + 1) * fx + P(ix, iy + 1) * gx) >> 15) * fy +
                             ((P(ix + 1, iy) * fx + P(ix, iy) * gx) >> 15) * gy) >> 17;
        return {val, LHFIX64::raw(LHFIX64::kOne), true, false};
    }
    const LHFIX64 one = LHFIX64::raw(LHFIX64::kOne);
    const LHFIX64 wx = px == Before ? ru : one - ru, wy = py == Before ? rv : one - rv;
    auto N = [](int64_t n) { return LHFIX64::from_int(n); };
    if (px != Inside && py != Inside) {
        const int64_t n = P(px == Before ? 0 : w - 1, py == Before ? 0 : h - 1);
        return {n, wx * wy, false, false};
    }
    if (px == Inside) {
        const int64_t y = py == Before ? 0 : h - 1;
        const LHFIX64 blend = N(P(ix + 1, y)) * ru + N(P(ix, y)) * (one - ru);
        return {blend.round_int(), wy, false, false};
    }
    const int64_t x = px == Before ? 0 : w - 1;
    const LHFIX64 blend = N(P(x, iy + 1)) * rv + N(P(x, iy)) * (one - rv);
    return {blend.round_int(), wx, false, false};
}

// The border value with the fall-off, in fixed point as the pixel and its
// weights multiply out, rounded to nearest.
int64_t fadeOf(const CLHBmp& s, LHFIX64 u, LHFIX64 v)
{
    const int w = s.width, h = s.height;
    const int64_t ix = u.v >> 26, iy = v.v >> 26;
    const LHFIX64 ru = LHFIX64::raw(u.v - int64_t(uint64_t(ix) << 26)), rv = LHFIX64::raw(v.v - int64_t(uint64_t(iy) << 26));
    const Place px = placeOf(ix, w), py = placeOf(iy, h);
    const LHFIX64 one = LHFIX64::raw(LHFIX64::kOne);
    const LHFIX64 wx = px == Before ? ru : one - ru, wy = py == Before ? rv : one - rv;
    auto N = [&](int64_t x, int64_t y) { return LHFIX64::from_int(rowOf(s, y)[x]); };
    if (px != Inside && py != Inside)
        return (N(px == Before ? 0 : w - 1, py == Before ? 0 : h - 1) * wx * wy).round_int();
    if (px == Inside) {
        const int64_t y = py == Before ? 0 : h - 1;
        return ((N(ix + 1, y) * ru + N(ix, y) * (one - ru)) * wy).round_int();
    }
    const int64_t x = px == Before ? 0 : w - 1;
    return (N(x, iy + 1) * wx * rv + N(x, iy) * wx * (one - rv)).round_int();
}

} // namespace

namespace {

struct Edge32 {
    Sample32 sample;
    int j;
    static void at(const void* ctx, int64_t u, int64_t v, int i)
    {
        const Edge32& e = *static_cast<const Edge32*>(ctx);
        e.sample(LHFIX64::raw(u), LHFIX64::raw(v), i, e.j);
    }
};

} // namespace

bool CLHBmp32::bmp_transform_to(const _LHMATRIX& m, const _LHPOINT& origin, CLHBmp* dest) const
{
    const Sample32 sample{*this, dest};
    const bool vec = haveSse41();
    return frame(*this, m, origin, dest, sample, [&](uint64_t u, uint64_t v, uint64_t du, uint64_t dv, int j) {
        if (!vec)
            return false;
        const Edge32 edge{sample, j};
        transformRow32(bits, stride, width, height, u, v, du, dv, rowOf(*dest, j), dest->width, Edge32::at, &edge);
        return true;
    });
}

// The single byte plays the part of alpha: it falls off towards 0 with the
// coverage at the border.
bool CLHBmp8::bmp_transform_to(const _LHMATRIX& m, const _LHPOINT& origin, CLHBmp* dest) const
{
    return frame(*this, m, origin, dest, [&](LHFIX64 u, LHFIX64 v, int i, int j) {
        const Gray g = sample8(*this, u, v);
        const int64_t val = g.inside ? g.value : g.outside ? 0 : fadeOf(*this, u, v);
        rowOf(*dest, j)[i] = static_cast<unsigned char>(val);
    });
}

bool CLHBmp8::bmp_transform_to2(const _LHMATRIX& m, const _LHPOINT& origin, CLHBmp* dest, CLHBmp* dest2) const
{
    return frame(*this, m, origin, dest, [&](LHFIX64 u, LHFIX64 v, int i, int j) {
        const Gray g = sample8(*this, u, v);
        rowOf(*dest, j)[i] = static_cast<unsigned char>(g.value);
        if (dest2) // dest2 is not checked by the rules; a null one is skipped
            rowOf(*dest2, j)[i] = static_cast<unsigned char>(
                g.inside ? 255 : (mulw(g.coverage.v, 255) + LHFIX64::kHalf) >> 26);
    });
}
