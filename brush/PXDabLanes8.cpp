// The flat tip's dabs eight columns at a time, for processors with AVX2:
// the loops of PXDabLanes.cpp with the same operations and the same error
// bounds, in 256-bit lanes. Only these functions are built for AVX2; they
// are called only after HasAvx2.
#include <cmath>
#include <cstdlib>

#include "PXDabInk.h"
#include "PXFixed.h"
#include "PXTipWeights.h"

#if defined(__x86_64__) || defined(__i386__)

#include <immintrin.h>

#define SP_AVX2 __attribute__((target("avx2")))

namespace pxdab {

// SP_NO_AVX2 in the environment keeps to the four-lane loops (the tests run
// both).
bool HasAvx2() {
    static const bool has = __builtin_cpu_supports("avx2") && !std::getenv("SP_NO_AVX2");
    return has;
}

// The weight of eight samples, as in SmallFlatDabLanes.
SP_AVX2 static inline __m256 Weight8(__m256 d, __m256 rr, __m256 qq, __m256 q) {
    const __m256 in = _mm256_cmp_ps(d, rr, _CMP_LE_OQ);
    const __m256 out = _mm256_cmp_ps(d, qq, _CMP_GE_OQ);
    const __m256 ringw = _mm256_mul_ps(_mm256_sub_ps(q, _mm256_sqrt_ps(d)), _mm256_set1_ps(0.5f));
    const __m256 w = _mm256_or_ps(_mm256_and_ps(in, _mm256_set1_ps(1.0f)), _mm256_andnot_ps(in, ringw));
    return _mm256_andnot_ps(_mm256_andnot_ps(in, out), w);
}

// SmallFlatDabLanes eight columns at a time, where the processor has AVX2:
// a small dab's row is then one step. Same operations, same bound.
SP_AVX2 void SmallFlatDab8(PXPaintBrush& b, float x, float y, float r, int left, int top, int right, int bottom) {
    const int width = right - left;
    Ink ink(b);
    PXSurface* s = b.surface;
    const float q = r + 1.0f;
    const float qq = q * q;
    alignas(32) float f0[kSmallColumns + 8], f1[kSmallColumns + 8];
    for (int i = 0; i < width + 8; ++i) {
        const float dx0 = (float)(left + i) + 0.25f - x, dx1 = (float)(left + i) + 0.75f - x;
        f0[i] = dx0 * dx0;
        f1[i] = dx1 * dx1;
    }
    const __m256 vrr = _mm256_set1_ps(r * r), vqq = _mm256_set1_ps(qq), vq = _mm256_set1_ps(q);
    const __m256 two = _mm256_set1_ps(2.0f), margin = _mm256_set1_ps(1e-4f);
    const __m256 no_sign = _mm256_castsi256_ps(_mm256_set1_epi32(0x7FFFFFFF));
    for (int row = top; row < bottom; ++row)
        __builtin_prefetch(s->pixels + (size_t)row * s->stride + left, 1);
    for (int row = top; row < bottom; ++row) {
        const float dy0 = (float)row + 0.25f - y, dy1 = (float)row + 0.75f - y;
        const float e0 = dy0 * dy0, e1 = dy1 * dy1;
        if (!((e0 < e1 ? e0 : e1) < qq))
            continue;
        PXPixel* line = s->pixels + (size_t)row * s->stride + left;
        const __m256 ve0 = _mm256_set1_ps(e0), ve1 = _mm256_set1_ps(e1);
        for (int i = 0; i < width; i += 8) {
            const __m256 g0 = _mm256_load_ps(f0 + i), g1 = _mm256_load_ps(f1 + i);
            const __m256 d00 = _mm256_add_ps(g0, ve0), d01 = _mm256_add_ps(g0, ve1);
            const __m256 d10 = _mm256_add_ps(g1, ve0), d11 = _mm256_add_ps(g1, ve1);
            const int lanes = width - i < 8 ? (1 << (width - i)) - 1 : 255;
            __m256 sum = Weight8(d00, vrr, vqq, vq);
            sum = _mm256_add_ps(sum, Weight8(d01, vrr, vqq, vq));
            sum = _mm256_add_ps(sum, Weight8(d10, vrr, vqq, vq));
            sum = _mm256_add_ps(sum, Weight8(d11, vrr, vqq, vq));
            const __m256 far =
                _mm256_cmp_ps(_mm256_and_ps(_mm256_sub_ps(sum, two), no_sign), margin, _CMP_GT_OQ);
            int solid = _mm256_movemask_ps(_mm256_and_ps(far, _mm256_cmp_ps(sum, two, _CMP_GT_OQ))) & lanes;
            for (int close = ~_mm256_movemask_ps(far) & lanes; close != 0; close &= close - 1) {
                const int k = i + __builtin_ctz(close);
                float exact = pxtip::Flat(r, (double)(f0[k] + e0));
                exact += pxtip::Flat(r, (double)(f0[k] + e1));
                exact += pxtip::Flat(r, (double)(f1[k] + e0));
                exact += pxtip::Flat(r, (double)(f1[k] + e1));
                if (!(exact * 255.0 * 0.25 <= 127.5))
                    solid |= 1 << (k - i);
            }
            for (; solid != 0; solid &= solid - 1)
                ink.Solid(line[i + __builtin_ctz(solid)]);
        }
    }
    b.new_pixels += ink.fresh;
}


// AccumulateLanes of eight pixel words v: the words after.
SP_AVX2 static inline __m256i Over8(Ink& ink, __m256i v, __m256i a) {
    const __m256i zero = _mm256_setzero_si256(), low24 = _mm256_set1_epi32(0x00FFFFFF);
    const __m256i byte = _mm256_set1_epi32(255), vcap = _mm256_set1_epi32(ink.cap);
    const __m256i A = _mm256_srli_epi32(v, 24);
    const __m256i prod = _mm256_mullo_epi32(A, _mm256_add_epi32(a, _mm256_set1_epi32(1)));
    __m256i n = _mm256_and_si256(_mm256_sub_epi32(_mm256_add_epi32(A, a), _mm256_srai_epi32(prod, 8)), byte);
    n = _mm256_min_epi32(n, vcap);  // both within 0..255
    const __m256i over = _mm256_or_si256(_mm256_and_si256(v, low24), _mm256_slli_epi32(n, 24));
    const __m256i first = _mm256_or_si256(_mm256_set1_epi32((int)(ink.word & 0x00FFFFFFu)),
                                          _mm256_slli_epi32(_mm256_and_si256(a, byte), 24));
    const __m256i empty = _mm256_cmpeq_epi32(A, zero);
    const __m256i inked = _mm256_cmpgt_epi32(a, zero);
    const __m256i res = _mm256_blendv_epi8(over, first, empty);
    const int m = _mm256_movemask_ps(_mm256_castsi256_ps(_mm256_and_si256(inked, empty)));
    ink.fresh += (int)((0x4332322132212110ull >> (4 * (m & 15))) & 15) +
                 (int)((0x4332322132212110ull >> (4 * (m >> 4))) & 15);
    return _mm256_blendv_epi8(v, res, inked);
}

// AccumulateLanes of eight pixels.
SP_AVX2 static inline void AccumulateLanes8(Ink& ink, PXPixel* px, __m256i a) {
    const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(px));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(px), Over8(ink, v, a));
}

// LargeFlatDabLanes eight columns at a time, where the processor has AVX2;
// same operations, same bound.
SP_AVX2 void LargeFlatDab8(PXPaintBrush& b, float x, float y, float r, double S, int left, int top, int right,
                           int bottom) {
    const int width = right - left;
    Ink ink(b);
    PXSurface* s = b.surface;
    const float rr = r * r;
    const float q = r + 1.0f;
    const float qq = q * q;
    const int full = (int)((double)1.0f * S);
    alignas(32) float fx[kMaxColumns + 8];
    int m = 0;
    for (int i = 0; i < width + 8; ++i) {
        const float dx = (float)(left + i) + 0.5f - x;
        fx[i] = dx * dx;
        if (i < width && fx[i] < fx[m])
            m = i;
    }
    const float eps = (float)(std::fabs(S) * (2.0 * q + 8.0) * 0x1p-25 + 0x1p-20);
    const __m256 vq = _mm256_set1_ps(q), half = _mm256_set1_ps(0.5f), vS = _mm256_set1_ps((float)S);
    const __m256 veps = _mm256_set1_ps(eps), vrr = _mm256_set1_ps(rr);
    const __m256i vfull = _mm256_set1_epi32(full), lane = _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7);
    for (int row = top; row < bottom; ++row)
        for (int i = 0; i < width; i += 16)
            __builtin_prefetch(s->pixels + (size_t)row * s->stride + left + i, 1);
    int lo = m, hi = m + 1;
    for (int row = top; row < bottom; ++row) {
        const float dy = (float)row + 0.5f - y;
        const float dy2 = dy * dy;
        if (!(fx[m] + dy2 < qq))
            continue;
        PXPixel* line = s->pixels + (size_t)row * s->stride + left;
        lo = lo < m ? lo : m;
        hi = hi > m ? hi : m + 1;
        while (lo > 0 && fx[lo - 1] + dy2 < qq)
            --lo;
        while (!(fx[lo] + dy2 < qq))
            ++lo;
        while (hi < width && fx[hi] + dy2 < qq)
            ++hi;
        while (!(fx[hi - 1] + dy2 < qq))
            --hi;
        const __m256 vdy2 = _mm256_set1_ps(dy2);
        for (int i = lo; i < hi; i += 8) {
            const int n = hi - i < 8 ? hi - i : 8;
            const __m256 d = _mm256_add_ps(_mm256_loadu_ps(fx + i), vdy2);
            const __m256 in = _mm256_cmp_ps(d, vrr, _CMP_LE_OQ);
            __m256i a = vfull;
            if (_mm256_movemask_ps(in) != 255) {
                const __m256 af = _mm256_mul_ps(_mm256_mul_ps(_mm256_sub_ps(vq, _mm256_sqrt_ps(d)), half), vS);
                const __m256i below = _mm256_cvttps_epi32(_mm256_sub_ps(af, veps));
                const __m256i above = _mm256_cvttps_epi32(_mm256_add_ps(af, veps));
                a = _mm256_blendv_epi8(below, vfull, _mm256_castps_si256(in));
                const int unsure = ~(_mm256_movemask_ps(_mm256_castsi256_ps(_mm256_cmpeq_epi32(below, above))) |
                                     _mm256_movemask_ps(in)) & ((1 << n) - 1);
                if (unsure) {
                    alignas(32) int v[8];
                    _mm256_store_si256(reinterpret_cast<__m256i*>(v), a);
                    for (int k = 0; k < n; ++k)
                        if (unsure >> k & 1)
                            v[k] = (int)((double)pxtip::Flat(r, (double)(fx[i + k] + dy2)) * S);
                    a = _mm256_load_si256(reinterpret_cast<const __m256i*>(v));
                }
            }
            if (i + 8 <= width) {
                AccumulateLanes8(ink, line + i, _mm256_and_si256(a, _mm256_cmpgt_epi32(_mm256_set1_epi32(n), lane)));
            } else {
                alignas(32) int v[8];
                _mm256_store_si256(reinterpret_cast<__m256i*>(v), a);
                for (int k = 0; k < n; ++k)
                    if (v[k] > 0)
                        ink.Accumulate(line[i + k], v[k]);
            }
        }
    }
    b.new_pixels += ink.fresh;
}

// The table of dx^2 of the columns left .. left + width (rounded up to
// eight, and eight more), each the rule's float operations, and the first
// column of least dx^2 within the width.
SP_AVX2 static int Columns8(float* fx, int left, int width, float x) {
    const __m256 half = _mm256_set1_ps(0.5f), vx = _mm256_set1_ps(x), inf = _mm256_set1_ps(INFINITY);
    const __m256i lane = _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7);
    __m256 least = inf;
    for (int i = 0; i < width + 8; i += 8) {
        const __m256i col = _mm256_add_epi32(_mm256_set1_epi32(left + i), lane);
        const __m256 dx = _mm256_sub_ps(_mm256_add_ps(_mm256_cvtepi32_ps(col), half), vx);
        const __m256 d = _mm256_mul_ps(dx, dx);
        _mm256_store_ps(fx + i, d);
        const __m256 within = _mm256_castsi256_ps(_mm256_cmpgt_epi32(_mm256_set1_epi32(width - i), lane));
        least = _mm256_min_ps(least, _mm256_blendv_ps(inf, d, within));
    }
    // The least value in every lane, then its first column.
    least = _mm256_min_ps(least, _mm256_permute2f128_ps(least, least, 1));
    least = _mm256_min_ps(least, _mm256_shuffle_ps(least, least, _MM_SHUFFLE(1, 0, 3, 2)));
    least = _mm256_min_ps(least, _mm256_shuffle_ps(least, least, _MM_SHUFFLE(2, 3, 0, 1)));
    for (int i = 0; i < width; i += 8) {
        const int hit = _mm256_movemask_ps(_mm256_cmp_ps(_mm256_load_ps(fx + i), least, _CMP_EQ_OQ));
        if (hit != 0)
            return i + __builtin_ctz(hit);
    }
    return 0;  // no column compares (NaN): every row is skipped
}

// The soft disc eight columns at a time, where the processor has AVX2. The
// rule (SoftDisc) takes the root and the strength in double; here they are
// taken in float, and a lane's strength is used only where an error bound
// shows that truncation gives the rule's value; elsewhere the rule itself is
// run for that lane. d and d / r^2 are the rule's own float operations.
//
// Inside (d < inner) the lanes take sqrt(r^2 - d) * (S * 255 / r): the
// rule's rounded t = d / r^2 moves 1 - t by at most 2^-24 * rho relative to
// (r^2 - d) / r^2, rho = inner / (r^2 - inner) bounding d / (r^2 - d); the
// float r^2 - d, its root and the product are rounded once each, the factor
// (S * 255 and the division) twice, and r differs from the root of the
// rounded r^2 by 2^-25 relative: the float strength is off by less than
// 255|S| * (rho + 7) * 2^-24. In the ring: r + 0.8f
// differs from the double r + 0.8 by less than (r + 1) * 2^-24, the float
// root of d < (r + 0.8)^2 by less than (r + 0.8) * 2^-24, their difference
// (within 0..1) is rounded once more, then S * 51 and the product: together
// less than 51|S| * (r + 2) * 2^-23. Each eps below is twice its bound plus
// the rounding of af +- eps, so the rule's strength lies within
// [af - eps, af + eps]; where both ends truncate alike, so does it.
SP_AVX2 void SoftDisc8(PXPaintBrush& b, float x, float y, float r, float S, int left, int top, int right,
                       int bottom) {
    const int width = right - left;
    Ink ink(b);
    PXSurface* s = b.surface;
    const float inner = (r - 0.2f) * (r - 0.2f);
    const float outer = (r + 0.8f) * (r + 0.8f);
    const float rr = r * r;
    const double rOuter = (double)r + 0.8;
    const double S255 = (double)S;
    // The bounds in float: their own roundings (a few 2^-24 of them) are
    // far inside the factor of two.
    const float aS = std::fabs(S);
    // d / (r^2 - d) within the inner circle: how far the rule's rounded
    // d / r^2 can move 1 - d / r^2, relative to it.
    const float rho = inner / (rr - inner);
    const float eps_in = 255.0f * aS * (rho + 8.0f) * 0x1p-23f + 0x1p-20f;
    const float eps_ring = 51.0f * aS * (r + 3.0f) * 0x1p-21f + 0x1p-20f;
    const __m256 vinner = _mm256_set1_ps(inner), vrr = _mm256_set1_ps(rr), vouter = _mm256_set1_ps(outer);
    const __m256 vS255 = _mm256_set1_ps(S * 255.0f / r);
    const __m256 vS51 = _mm256_set1_ps(S * 51.0f);
    const __m256 vrOuter = _mm256_set1_ps(r + 0.8f);
    const __m256 veps_in = _mm256_set1_ps(eps_in), veps_ring = _mm256_set1_ps(eps_ring);
    const __m256i lane = _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7);
    // The strengths of eight pixels whose squared distances are d, 0 outside
    // the lanes of `keep` (all within the outer circle and the box).
    auto strengths = [&](__m256 d, __m256i keep) __attribute__((always_inline, target("avx2"))) {
        const __m256 in = _mm256_cmp_ps(d, vinner, _CMP_LT_OQ);
        // Inside, sqrt(1 - d / r^2) as sqrt(r^2 - d) / r, without a division.
        const __m256 root = _mm256_sqrt_ps(_mm256_blendv_ps(d, _mm256_sub_ps(vrr, d), in));
        const __m256 af = _mm256_blendv_ps(_mm256_mul_ps(_mm256_sub_ps(vrOuter, root), vS51),
                                           _mm256_mul_ps(root, vS255), in);
        const __m256 eps = _mm256_blendv_ps(veps_ring, veps_in, in);
        const __m256i below = _mm256_cvttps_epi32(_mm256_sub_ps(af, eps));
        const __m256i above = _mm256_cvttps_epi32(_mm256_add_ps(af, eps));
        __m256i a = _mm256_and_si256(below, keep);
        const int unsure = _mm256_movemask_ps(_mm256_castsi256_ps(_mm256_andnot_si256(_mm256_cmpeq_epi32(below, above), keep)));
        if (unsure) {
            // The rule itself for these lanes.
            alignas(32) int v[8];
            alignas(32) float dv[8];
            _mm256_store_si256(reinterpret_cast<__m256i*>(v), a);
            _mm256_store_ps(dv, d);
            for (int k = 0; k < 8; ++k) {
                if (!(unsure >> k & 1))
                    continue;
                const float dk = dv[k];
                if (inner > dk)
                    v[k] = pxfix::Trunc(S255 * std::sqrt(1.0 - (double)(dk / rr)) * 255.0);
                else
                    v[k] = pxfix::Trunc((rOuter - std::sqrt((double)dk)) * S255 * 51.0);
            }
            a = _mm256_load_si256(reinterpret_cast<const __m256i*>(v));
        }
        return a;
    };
    // Inks the eight pixels at line + i with strengths a.
    auto inkLanes = [&](PXPixel* line, int i, __m256i a) __attribute__((always_inline, target("avx2"))) {
        if (left + i + 8 <= s->width) {
            // Lanes of strength 0 keep their pixels; those past the box lie
            // on the surface and are stored back as they were.
            AccumulateLanes8(ink, line + i, a);
        } else {
            // The surface's last few columns one by one.
            alignas(32) int v[8];
            _mm256_store_si256(reinterpret_cast<__m256i*>(v), a);
            for (int k = 0; k < 8 && left + i + k < s->width; ++k)
                if (v[k] > 0)
                    ink.Accumulate(line[i + k], v[k]);
        }
    };
    if (width <= 4 && left + 4 <= s->width) {
        // The smallest dabs (radius 0.5 to 1, a box of 4 x 4 or less): two
        // rows a step, four columns each.
        const __m256 half = _mm256_set1_ps(0.5f), vx = _mm256_set1_ps(x);
        const __m256i quad = _mm256_setr_epi32(0, 1, 2, 3, 0, 1, 2, 3);
        const __m256 dx = _mm256_sub_ps(_mm256_add_ps(_mm256_cvtepi32_ps(_mm256_add_epi32(_mm256_set1_epi32(left), quad)), half), vx);
        const __m256 fx = _mm256_mul_ps(dx, dx);
        const __m256i box = _mm256_cmpgt_epi32(_mm256_set1_epi32(width), quad);
        for (int row = top; row < bottom; row += 2) {
            const float dy0 = (float)row + 0.5f - y, dy1 = (float)(row + 1) + 0.5f - y;
            const float e0 = dy0 * dy0, e1 = dy1 * dy1;
            const bool two = row + 1 < bottom;
            const __m256 d = _mm256_add_ps(fx, _mm256_setr_ps(e0, e0, e0, e0, e1, e1, e1, e1));
            __m256i keep = _mm256_and_si256(_mm256_castps_si256(_mm256_cmp_ps(vouter, d, _CMP_GT_OQ)), box);
            if (!two)
                keep = _mm256_and_si256(keep, _mm256_setr_epi32(-1, -1, -1, -1, 0, 0, 0, 0));
            if (_mm256_testz_si256(keep, keep))
                continue;
            const __m256i a = strengths(d, keep);
            PXPixel* line0 = s->pixels + (size_t)row * s->stride + left;
            PXPixel* line1 = two ? line0 + s->stride : line0;
            const __m128i v0 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(line0));
            const __m128i v1 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(line1));
            const __m256i out = Over8(ink, _mm256_inserti128_si256(_mm256_castsi128_si256(v0), v1, 1), a);
            _mm_storeu_si128(reinterpret_cast<__m128i*>(line0), _mm256_castsi256_si128(out));
            if (two)
                _mm_storeu_si128(reinterpret_cast<__m128i*>(line1), _mm256_extracti128_si256(out, 1));
        }
        b.new_pixels += ink.fresh;
        return;
    }
    if (width <= 16) {
        // A small dab (most of a stroke's): each row is one or two steps of
        // eight columns, the outer circle a mask, without the runs' branches.
        const __m256 half = _mm256_set1_ps(0.5f), vx = _mm256_set1_ps(x);
        const __m256i c0 = _mm256_add_epi32(_mm256_set1_epi32(left), lane);
        const __m256i c1 = _mm256_add_epi32(c0, _mm256_set1_epi32(8));
        const __m256 dx0 = _mm256_sub_ps(_mm256_add_ps(_mm256_cvtepi32_ps(c0), half), vx);
        const __m256 dx1 = _mm256_sub_ps(_mm256_add_ps(_mm256_cvtepi32_ps(c1), half), vx);
        const __m256 fx0 = _mm256_mul_ps(dx0, dx0), fx1 = _mm256_mul_ps(dx1, dx1);
        const __m256i box0 = _mm256_cmpgt_epi32(_mm256_set1_epi32(width), lane);
        const __m256i box1 = _mm256_cmpgt_epi32(_mm256_set1_epi32(width - 8), lane);
        for (int row = top; row < bottom; ++row) {
            const float dy = (float)row + 0.5f - y;
            const __m256 vdy2 = _mm256_set1_ps(dy * dy);
            PXPixel* line = s->pixels + (size_t)row * s->stride + left;
            const __m256 d0 = _mm256_add_ps(fx0, vdy2);
            const __m256i k0 = _mm256_and_si256(_mm256_castps_si256(_mm256_cmp_ps(vouter, d0, _CMP_GT_OQ)), box0);
            if (!_mm256_testz_si256(k0, k0))
                inkLanes(line, 0, strengths(d0, k0));
            if (width > 8) {
                const __m256 d1 = _mm256_add_ps(fx1, vdy2);
                const __m256i k1 =
                    _mm256_and_si256(_mm256_castps_si256(_mm256_cmp_ps(vouter, d1, _CMP_GT_OQ)), box1);
                if (!_mm256_testz_si256(k1, k1))
                    inkLanes(line, 8, strengths(d1, k1));
            }
        }
        b.new_pixels += ink.fresh;
        return;
    }
    alignas(32) float fx[kMaxColumns + 8];
    const int m = Columns8(fx, left, width, x);
    int lo = m, hi = m + 1;
    for (int row = top; row < bottom; ++row) {
        const float dy = (float)row + 0.5f - y;
        const float dy2 = dy * dy;
        if (!(outer > fx[m] + dy2))
            continue;
        PXPixel* line = s->pixels + (size_t)row * s->stride + left;
        lo = lo < m ? lo : m;
        hi = hi > m ? hi : m + 1;
        while (lo > 0 && outer > fx[lo - 1] + dy2)
            --lo;
        while (!(outer > fx[lo] + dy2))
            ++lo;
        while (hi < width && outer > fx[hi] + dy2)
            ++hi;
        while (!(outer > fx[hi - 1] + dy2))
            --hi;
        const __m256 vdy2 = _mm256_set1_ps(dy2);
        for (int i = lo; i < hi; i += 8) {
            const __m256 d = _mm256_add_ps(_mm256_loadu_ps(fx + i), vdy2);
            inkLanes(line, i, strengths(d, _mm256_cmpgt_epi32(_mm256_set1_epi32(hi - i), lane)));
        }
    }
    b.new_pixels += ink.fresh;
}

// blend_out's rows eight pixels at a time: where the stroke pixel m is
// inked, the target takes the source pixel if that is inked, else m.
SP_AVX2 void BlendOutRows8(PXPixel* target, size_t tstride, const PXPixel* source, size_t sstride,
                           const PXPixel* stroke, size_t mstride, int left, int top, int right, int bottom) {
    const __m256i alpha = _mm256_set1_epi32((int)0xFF000000u), zero = _mm256_setzero_si256();
    const __m256i lane = _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7);
    for (int row = top; row < bottom; ++row) {
        const PXPixel* m = stroke + (size_t)row * mstride;
        const PXPixel* s = source + (size_t)row * sstride;
        PXPixel* t = target + (size_t)row * tstride;
        int col = left;
        if (m == s) {
            // The stroke is its own source (as the pen engine blends): an
            // inked pixel goes whole.
            for (; col + 8 <= right; col += 8) {
                const __m256i mv = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(m + col));
                const __m256i m_clear = _mm256_cmpeq_epi32(_mm256_and_si256(mv, alpha), zero);
                if (_mm256_movemask_epi8(m_clear) == -1)
                    continue;
                const __m256i tv = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(t + col));
                _mm256_storeu_si256(reinterpret_cast<__m256i*>(t + col), _mm256_blendv_epi8(mv, tv, m_clear));
            }
        }
        for (; col + 8 <= right; col += 8) {
            const __m256i mv = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(m + col));
            const __m256i m_clear = _mm256_cmpeq_epi32(_mm256_and_si256(mv, alpha), zero);
            if (_mm256_movemask_epi8(m_clear) == -1)
                continue;  // nothing inked here: the target keeps its pixels
            const __m256i sv = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(s + col));
            const __m256i tv = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(t + col));
            const __m256i s_clear = _mm256_cmpeq_epi32(_mm256_and_si256(sv, alpha), zero);
            const __m256i ink = _mm256_blendv_epi8(sv, mv, s_clear);
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(t + col), _mm256_blendv_epi8(ink, tv, m_clear));
        }
        if (col < right) {
            // The last few pixels under a lane mask: nothing past the
            // rectangle is read or written.
            const __m256i within = _mm256_cmpgt_epi32(_mm256_set1_epi32(right - col), lane);
            const __m256i mv = _mm256_maskload_epi32(reinterpret_cast<const int*>(m + col), within);
            const __m256i m_clear = _mm256_cmpeq_epi32(_mm256_and_si256(mv, alpha), zero);
            const __m256i put = _mm256_andnot_si256(m_clear, within);
            if (!_mm256_testz_si256(put, put)) {
                const __m256i sv = _mm256_maskload_epi32(reinterpret_cast<const int*>(s + col), put);
                const __m256i s_clear = _mm256_cmpeq_epi32(_mm256_and_si256(sv, alpha), zero);
                _mm256_maskstore_epi32(reinterpret_cast<int*>(t + col), put, _mm256_blendv_epi8(sv, mv, s_clear));
            }
        }
    }
}

}  // namespace pxdab

#endif
