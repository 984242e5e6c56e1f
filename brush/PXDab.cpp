// The round dab of the base brush: the large dab weighted by the tip, and the
// hard four-sample dab for radii below 2.0.
//
// The five tip classes of this library are run inline (picked by exact type,
// so a tip of any other class still goes through its virtual GetWeight), and
// the flat tip skips work it can prove: rows and columns its outer ring
// cannot reach, and the run of full-weight pixels in its core. Every pixel
// still gets the value the per-pixel rule gives.
#include <cmath>
#include <cstring>
#include <typeinfo>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "PXDabParts.h"
#include "PXTipWeights.h"
#include "brush/PXPaintBrush.h"

namespace {

// The ink kept in locals while a dab runs: pixel writes are byte writes and
// would otherwise make the compiler reload the brush's fields every pixel.
struct Ink {
    uint32_t word;  // color as a pixel word; alpha is the top byte
    int cap;        // color.a
    int fresh = 0;  // pixels found empty

    explicit Ink(const PXPaintBrush& b) : cap(b.color.a) { std::memcpy(&word, &b.color, 4); }

    // Alpha accumulation: a first touch takes the colour and the dab's own
    // strength (low eight bits) above the cap; an overlap is the integer
    // "over" of the two coverages, capped.
    void Accumulate(PXPixel& px, int a) {
        if (px.a == 0) {
            const uint32_t w = (word & 0x00FFFFFFu) | ((uint32_t)(a & 255) << 24);
            std::memcpy(&px, &w, 4);
            fresh++;
            return;
        }
        const int A = px.a;
        int n = (A + a - ((A * (a + 1)) >> 8)) & 255;
        if (n > cap)
            n = cap;
        px.a = (uint8_t)n;
    }

    // The same for a run of pixels of one strength, without a branch per
    // pixel: the first-touch word and the overlap word are both formed and
    // one is picked, which keeps dabs over a half-inked area fast.
    void AccumulateRun(PXPixel* px, int n, int a) {
        const uint32_t first = (word & 0x00FFFFFFu) | ((uint32_t)(a & 255) << 24);
        const uint32_t a1 = (uint32_t)a + 1u;
        const uint32_t ceiling = (uint32_t)cap;
        int fresh_here = 0;
        int i = 0;
#if defined(__SSE2__)
        // Four pixels a lane set, in 32-bit integer lanes that wrap like the
        // scalar words below; the product is formed from two 32 x 32 -> 64
        // multiplies (low halves kept), as SSE2 has no 32-bit multiply.
        const __m128i vfirst = _mm_set1_epi32((int)first), va = _mm_set1_epi32(a), va1 = _mm_set1_epi32((int)a1);
        const __m128i vcap = _mm_set1_epi32((int)ceiling), low24 = _mm_set1_epi32(0x00FFFFFF);
        const __m128i byte = _mm_set1_epi32(255), zero = _mm_setzero_si128();
        __m128i empties = zero;
        for (; i + 4 <= n; i += 4) {
            const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(px + i));
            const __m128i A = _mm_srli_epi32(v, 24);
            const __m128i p02 = _mm_mul_epu32(A, va1);
            const __m128i p13 = _mm_mul_epu32(_mm_srli_epi64(A, 32), _mm_srli_epi64(va1, 32));
            const __m128i prod = _mm_unpacklo_epi32(_mm_shuffle_epi32(p02, _MM_SHUFFLE(0, 0, 2, 0)),
                                                    _mm_shuffle_epi32(p13, _MM_SHUFFLE(0, 0, 2, 0)));
            __m128i m = _mm_and_si128(_mm_sub_epi32(_mm_add_epi32(A, va), _mm_srli_epi32(prod, 8)), byte);
            const __m128i over_cap = _mm_cmpgt_epi32(m, vcap);  // both within 0..255
            m = _mm_or_si128(_mm_and_si128(over_cap, vcap), _mm_andnot_si128(over_cap, m));
            const __m128i over = _mm_or_si128(_mm_and_si128(v, low24), _mm_slli_epi32(m, 24));
            const __m128i empty = _mm_cmpeq_epi32(A, zero);
            const __m128i out = _mm_or_si128(_mm_and_si128(empty, vfirst), _mm_andnot_si128(empty, over));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(px + i), out);
            empties = _mm_sub_epi32(empties, empty);  // an empty lane is -1
        }
        alignas(16) int counts[4];
        _mm_store_si128(reinterpret_cast<__m128i*>(counts), empties);
        fresh_here = counts[0] + counts[1] + counts[2] + counts[3];
#endif
        for (; i < n; ++i) {
            uint32_t v;
            std::memcpy(&v, px + i, 4);
            const uint32_t A = v >> 24;
            uint32_t m = (A + (uint32_t)a - ((A * a1) >> 8)) & 255u;
            m = m > ceiling ? ceiling : m;
            const uint32_t over = (v & 0x00FFFFFFu) | (m << 24);
            const uint32_t out = A != 0 ? over : first;
            fresh_here += A == 0;
            std::memcpy(px + i, &out, 4);
        }
        fresh += fresh_here;
    }

    // The small dab's solid pixel.
    void Solid(PXPixel& px) {
        if (px.a == 0) {
            const uint32_t w = word | 0xFF000000u;
            std::memcpy(&px, &w, 4);
            fresh++;
        } else {
            px.a = (uint8_t)(cap < 255 ? cap : 255);
        }
    }
};

// Column bound from a double, held within [lo, hi]: floor or ceiling, then
// the clamp (the clamp first keeps the conversion in range, and saves the
// library call that floor and ceil are on the baseline instruction set).
inline int FloorClamp(double v, int lo, int hi) {
    if (!(v > (double)lo))
        return lo;
    if (v > (double)hi)
        return hi;
    const int i = (int)v;
    return (double)i > v ? i - 1 : i;
}

inline int CeilClamp(double v, int lo, int hi) {
    if (!(v > (double)lo))
        return lo;
    if (v > (double)hi)
        return hi;
    const int i = (int)v;
    return (double)i < v ? i + 1 : i;
}

// Columns whose points at offset `off` in the pixel can lie within distance
// h of x, with two pixels of margin for rounding, clipped to [left, right).
inline void Span(float x, float off, double h, int left, int right, int& lo, int& hi) {
    lo = FloorClamp((double)x - off - h - 2.0, left, right);
    hi = CeilClamp((double)x - off + h + 3.0, left, right);
}

struct VirtualTip {
    PXTipFunction* t;
    float operator()(float r, double d) const { return t->GetWeight(r, d); }
};

template <float (*F)(float, double)>
struct InlineTip {
    float operator()(float r, double d) const { return F(r, d); }
};

template <class W>
void LargeDab(PXPaintBrush& b, W weight, float x, float y, float r, double S, int left, int top, int right,
              int bottom) {
    Ink ink(b);
    PXSurface* s = b.surface;
    for (int row = top; row < bottom; ++row) {
        PXPixel* line = s->pixels + (size_t)row * s->stride;
        const float dy = (float)row + 0.5f - y;
        const float dy2 = dy * dy;
        for (int col = left; col < right; ++col) {
            const float dx = (float)col + 0.5f - x;
            const int a = (int)((double)weight(r, (double)(dx * dx + dy2)) * S);
            if (a > 0)
                ink.Accumulate(line[col], a);
        }
    }
    b.new_pixels += ink.fresh;
}

// The flat tip: weight 1 where d <= r * r, a ring out to (r + 1)^2, 0 beyond,
// all comparisons on the float d. Along a row d first falls and then rises
// (every rounding step is monotone), so both zones are runs of columns.
void LargeFlatDab(PXPaintBrush& b, float x, float y, float r, double S, int left, int top, int right, int bottom) {
    Ink ink(b);
    PXSurface* s = b.surface;
    const float rr = r * r;
    const float q = r + 1.0f;
    const float qq = q * q;
    const int full = (int)((double)1.0f * S);
    auto dist = [x](int col, float dy2) {
        const float dx = (float)col + 0.5f - x;
        return dx * dx + dy2;
    };
    auto ring = [&](PXPixel* line, int from, int to, float dy2) {
        for (int col = from; col < to; ++col) {
            const int a = (int)((double)pxtip::Flat(r, (double)dist(col, dy2)) * S);
            if (a > 0)
                ink.Accumulate(line[col], a);
        }
    };
    for (int row = top; row < bottom; ++row) {
        const float dy = (float)row + 0.5f - y;
        const float dy2 = dy * dy;
        if (!(dy2 < qq))
            continue;  // d >= dy2 everywhere on this row: all weights 0
        PXPixel* line = s->pixels + (size_t)row * s->stride;
        int lo, hi;
        Span(x, 0.5f, std::sqrt((double)qq - dy2), left, right, lo, hi);
        // The estimate has margin; d is monotone on either side of its
        // lowest point, so trimming columns where d >= (r + 1)^2 from both
        // ends leaves exactly the run of columns with weight above 0.
        while (lo < hi && !(dist(lo, dy2) < qq))
            ++lo;
        while (hi > lo && !(dist(hi - 1, dy2) < qq))
            --hi;
        // Each row of a wide surface is a page of its own: ask for the next
        // row's part while this one is worked.
        if (row + 1 < bottom)
            for (int col = lo; col < hi; col += 16)
                __builtin_prefetch(line + s->stride + col, 1);
        int in_lo = hi, in_hi = hi;
        if (rr > dy2) {
            // The core shrunk by a pixel, then proven: d at both ends within
            // rr means d within rr on every column between.
            const double h = std::sqrt((double)rr - dy2);
            const int a0 = CeilClamp((double)x - 0.5 - h + 1.0, lo, hi);
            const int a1 = FloorClamp((double)x - 0.5 + h, lo, hi);
            if (a0 < a1 && dist(a0, dy2) <= rr && dist(a1 - 1, dy2) <= rr) {
                in_lo = a0;
                in_hi = a1;
                // Grown to the whole run of full weight, for the same reason.
                while (in_lo > lo && dist(in_lo - 1, dy2) <= rr)
                    --in_lo;
                while (in_hi < hi && dist(in_hi, dy2) <= rr)
                    ++in_hi;
            }
        }
        ring(line, lo, in_lo, dy2);
        if (full > 0 && in_hi > in_lo)
            ink.AccumulateRun(line + in_lo, in_hi - in_lo, full);
        ring(line, in_hi, hi, dy2);
    }
    b.new_pixels += ink.fresh;
}

// Four samples a pixel at .25 and .75, summed in the order (.25, .25),
// (.25, .75), (.75, .25), (.75, .75); solid above half coverage. With the flat
// tip, rows and columns whose samples all lie past the ring sum to 0 and are
// left out.
template <class W>
void SmallDabLoop(PXPaintBrush& b, W weight, bool flat, float x, float y, float r, int left, int top, int right,
                  int bottom) {
    Ink ink(b);
    PXSurface* s = b.surface;
    const float q = r + 1.0f;
    const float qq = q * q;
    for (int row = top; row < bottom; ++row) {
        const float dy0 = (float)row + 0.25f - y, dy1 = (float)row + 0.75f - y;
        const float e0 = dy0 * dy0, e1 = dy1 * dy1;
        int lo = left, hi = right;
        if (flat) {
            const float e = e0 < e1 ? e0 : e1;
            if (!(e < qq))
                continue;
            Span(x, 0.5f, std::sqrt((double)qq - e) + 0.25, left, right, lo, hi);
        }
        PXPixel* line = s->pixels + (size_t)row * s->stride;
        for (int col = lo; col < hi; ++col) {
            const float dx0 = (float)col + 0.25f - x, dx1 = (float)col + 0.75f - x;
            const float f0 = dx0 * dx0, f1 = dx1 * dx1;
            float sum = weight(r, (double)(f0 + e0));
            sum += weight(r, (double)(f0 + e1));
            sum += weight(r, (double)(f1 + e0));
            sum += weight(r, (double)(f1 + e1));
            if (sum * 255.0 * 0.25 <= 127.5)
                continue;
            ink.Solid(line[col]);
        }
    }
    b.new_pixels += ink.fresh;
}

#if defined(__SSE2__)
// The flat tip's four-sample dab, four columns at a time. Only whether the
// four weights sum above 2.0 matters (sum * 255.0 * 0.25 > 127.5 is exact in
// double for any float sum), so the ring's square root is taken in float:
// against the rule's double root, rounded to float, each weight differs by
// less than (2q + 1) * 2^-24 < 5e-7 (q < 3 here) and each sum, with its own
// roundings, by less than 3e-6. Sums within 1e-4 of 2.0 (and NaN) go through
// the rule itself; every other pixel is decided exactly as the rule would.
void SmallFlatDab(PXPaintBrush& b, float x, float y, float r, int left, int top, int right, int bottom) {
    Ink ink(b);
    PXSurface* s = b.surface;
    const float q = r + 1.0f;
    const float qq = q * q;
    const __m128 vrr = _mm_set1_ps(r * r), vqq = _mm_set1_ps(qq), vx = _mm_set1_ps(x), vq = _mm_set1_ps(q);
    const __m128 one = _mm_set1_ps(1.0f), two = _mm_set1_ps(2.0f), half = _mm_set1_ps(0.5f);
    const __m128 quarter = _mm_set1_ps(0.25f), three_quarters = _mm_set1_ps(0.75f);
    const __m128 margin = _mm_set1_ps(1e-4f), no_sign = _mm_castsi128_ps(_mm_set1_epi32(0x7FFFFFFF));
    auto weight = [&](__m128 d) {
        const __m128 in = _mm_cmple_ps(d, vrr);
        const __m128 out = _mm_cmpge_ps(d, vqq);
        const __m128 ringw = _mm_mul_ps(_mm_sub_ps(vq, _mm_sqrt_ps(d)), half);
        const __m128 w = _mm_or_ps(_mm_and_ps(in, one), _mm_andnot_ps(in, ringw));
        return _mm_andnot_ps(_mm_andnot_ps(in, out), w);
    };
    // The few rows are pages of their own on a wide surface: ask for all of
    // them before the first is worked.
    for (int row = top; row < bottom; ++row)
        __builtin_prefetch(s->pixels + (size_t)row * s->stride + left, 1);
    for (int row = top; row < bottom; ++row) {
        const float dy0 = (float)row + 0.25f - y, dy1 = (float)row + 0.75f - y;
        const float e0 = dy0 * dy0, e1 = dy1 * dy1;
        const float e = e0 < e1 ? e0 : e1;
        if (!(e < qq))
            continue;
        int lo, hi;
        Span(x, 0.5f, std::sqrt((double)qq - e) + 0.25, left, right, lo, hi);
        PXPixel* line = s->pixels + (size_t)row * s->stride;
        const __m128 ve0 = _mm_set1_ps(e0), ve1 = _mm_set1_ps(e1);
        for (int col = lo; col < hi; col += 4) {
            const __m128 c = _mm_cvtepi32_ps(_mm_setr_epi32(col, col + 1, col + 2, col + 3));
            const __m128 dx0 = _mm_sub_ps(_mm_add_ps(c, quarter), vx);
            const __m128 dx1 = _mm_sub_ps(_mm_add_ps(c, three_quarters), vx);
            const __m128 f0 = _mm_mul_ps(dx0, dx0), f1 = _mm_mul_ps(dx1, dx1);
            __m128 sum = weight(_mm_add_ps(f0, ve0));
            sum = _mm_add_ps(sum, weight(_mm_add_ps(f0, ve1)));
            sum = _mm_add_ps(sum, weight(_mm_add_ps(f1, ve0)));
            sum = _mm_add_ps(sum, weight(_mm_add_ps(f1, ve1)));
            const int lanes = hi - col < 4 ? (1 << (hi - col)) - 1 : 15;
            const __m128 far = _mm_cmpgt_ps(_mm_and_ps(_mm_sub_ps(sum, two), no_sign), margin);
            int solid = _mm_movemask_ps(_mm_and_ps(far, _mm_cmpgt_ps(sum, two))) & lanes;
            int close = ~_mm_movemask_ps(far) & lanes;
            for (; close != 0; close &= close - 1) {
                const int i = __builtin_ctz(close);
                const float fx0 = (float)(col + i) + 0.25f - x, fx1 = (float)(col + i) + 0.75f - x;
                const float g0 = fx0 * fx0, g1 = fx1 * fx1;
                float exact = pxtip::Flat(r, (double)(g0 + e0));
                exact += pxtip::Flat(r, (double)(g0 + e1));
                exact += pxtip::Flat(r, (double)(g1 + e0));
                exact += pxtip::Flat(r, (double)(g1 + e1));
                if (!(exact * 255.0 * 0.25 <= 127.5))
                    solid |= 1 << i;
            }
            for (; solid != 0; solid &= solid - 1)
                ink.Solid(line[col + __builtin_ctz(solid)]);
        }
    }
    b.new_pixels += ink.fresh;
}
#endif

}  // namespace

namespace pxdab {

void SmallDab(PXPaintBrush& b, float x, float y, float r, int left, int top, int right, int bottom) {
    const std::type_info& t = typeid(*b.tip);
    if (t == typeid(PXFlatTipFunction))
#if defined(__SSE2__)
        SmallFlatDab(b, x, y, r, left, top, right, bottom);
#else
        SmallDabLoop(b, InlineTip<pxtip::Flat>(), true, x, y, r, left, top, right, bottom);
#endif
    else if (t == typeid(PXDullAntiAliasingTipFunction))
        SmallDabLoop(b, InlineTip<pxtip::DullAA>(), false, x, y, r, left, top, right, bottom);
    else
        SmallDabLoop(b, VirtualTip{b.tip}, false, x, y, r, left, top, right, bottom);
}

}  // namespace pxdab

float PXPaintBrush::ApplyDab(float x, float y, float pressure) {
    const float D = (pressure + (1.0f - pressure) * min_size) * size;
    float r = D > 1.0f ? D * 0.5f : 0.5f;
    int left, top, right, bottom;
    if (!pxdab::Box(x, y, r, left, top, right, bottom))
        return 0.0f;
    const float q = 1.0f - pressure;
    // The jitter moves the centre and radius, and a jittered colour stays in
    // the brush; the box is not recomputed.
    if (use_jitter)
        ApplyJitter(x, y, r, color);
    pxdab::Clip(surface, right, bottom);
    if (r < 2.0f) {
        pxdab::SmallDab(*this, x, y, r, left, top, right, bottom);
        return r;
    }
    const double S = (double)((min_opacity * q + pressure) * opacity) * 255.0;
    const std::type_info& t = typeid(*tip);
    if (t == typeid(PXFlatTipFunction))
        LargeFlatDab(*this, x, y, r, S, left, top, right, bottom);
    else if (t == typeid(PXDullAntiAliasingTipFunction))
        LargeDab(*this, InlineTip<pxtip::DullAA>(), x, y, r, S, left, top, right, bottom);
    else if (t == typeid(PXDullTipFunction))
        LargeDab(*this, InlineTip<pxtip::Dull>(), x, y, r, S, left, top, right, bottom);
    else if (t == typeid(PXLinearTipFunction))
        LargeDab(*this, InlineTip<pxtip::Linear>(), x, y, r, S, left, top, right, bottom);
    else if (t == typeid(PXLinearTipFunction2))
        LargeDab(*this, InlineTip<pxtip::Linear2>(), x, y, r, S, left, top, right, bottom);
    else
        LargeDab(*this, VirtualTip{tip}, x, y, r, S, left, top, right, bottom);
    return r;
}
