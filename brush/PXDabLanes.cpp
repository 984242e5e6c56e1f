// The flat tip's dabs and the soft disc four columns at a time (SSE2); the
// flat tip's go eight at a time where the processor has AVX2
// (PXDabLanes8.cpp).
//
// Along a row the squared distance d of a pixel is dx^2 + dy^2 with dx^2
// taken from a table made once per dab, the same float operations as the
// rule's, so every d is the rule's own. d falls and then rises along a row
// (each rounding step is monotone), so the pixels of each zone of the tip
// are one run of columns; the runs are walked from row to row instead of
// being solved for.
//
// The flat tip's ring weight needs a square root, which the rule takes in
// double. Here it is taken in float, which is several times cheaper, and the
// result is only used where an error bound shows that it cannot change the
// pixel; elsewhere the rule itself is run for that pixel.
#include <cmath>

#include "PXDabInk.h"
#include "PXTipWeights.h"

#if defined(__SSE2__)

namespace pxdab {

// Four samples a pixel at .25 and .75; only whether the four weights sum
// above 2.0 matters (sum * 255.0 * 0.25 > 127.5 is exact in double for any
// float sum). Against the rule's double root rounded to float, each float
// weight is off by less than (2q + 1) * 2^-24 < 5e-7 (q < 3 here), each sum
// with its own roundings by less than 3e-6. Sums within 1e-4 of 2.0 (and
// NaN) go through the rule; every other pixel is decided as the rule would.
bool SmallFlatDabLanes(PXPaintBrush& b, float x, float y, float r, int left, int top, int right, int bottom) {
    const int width = right - left;
    if (width > kMaxColumns)
        return false;
    if (width <= 0 || bottom <= top)
        return true;
#if defined(__x86_64__) || defined(__i386__)
    if (width <= kSmallColumns && HasAvx2()) {
        SmallFlatDab8(b, x, y, r, left, top, right, bottom);
        return true;
    }
#endif
    Ink ink(b);
    PXSurface* s = b.surface;
    const float q = r + 1.0f;
    const float qq = q * q;
    alignas(16) float f0[kMaxColumns + 4], f1[kMaxColumns + 4];
    for (int i = 0; i < width + 4; ++i) {
        const float dx0 = (float)(left + i) + 0.25f - x, dx1 = (float)(left + i) + 0.75f - x;
        f0[i] = dx0 * dx0;
        f1[i] = dx1 * dx1;
    }
    const __m128 vrr = _mm_set1_ps(r * r), vqq = _mm_set1_ps(qq), vq = _mm_set1_ps(q);
    const __m128 one = _mm_set1_ps(1.0f), two = _mm_set1_ps(2.0f), half = _mm_set1_ps(0.5f);
    const __m128 margin = _mm_set1_ps(1e-4f), no_sign = _mm_castsi128_ps(_mm_set1_epi32(0x7FFFFFFF));
    // Weight 1 where d <= r * r, 0 where d >= (r + 1)^2, the ring between.
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
        if (!((e0 < e1 ? e0 : e1) < qq))
            continue;  // every sample of the row lies past the ring
        PXPixel* line = s->pixels + (size_t)row * s->stride + left;
        const __m128 ve0 = _mm_set1_ps(e0), ve1 = _mm_set1_ps(e1);
        for (int i = 0; i < width; i += 4) {
            const __m128 g0 = _mm_load_ps(f0 + i), g1 = _mm_load_ps(f1 + i);
            const __m128 d00 = _mm_add_ps(g0, ve0), d01 = _mm_add_ps(g0, ve1);
            const __m128 d10 = _mm_add_ps(g1, ve0), d11 = _mm_add_ps(g1, ve1);
            const int lanes = width - i < 4 ? (1 << (width - i)) - 1 : 15;
            // All sixteen samples past the ring: nothing to do.
            if ((_mm_movemask_ps(_mm_and_ps(_mm_and_ps(_mm_cmpge_ps(d00, vqq), _mm_cmpge_ps(d01, vqq)),
                                            _mm_and_ps(_mm_cmpge_ps(d10, vqq), _mm_cmpge_ps(d11, vqq)))) &
                 lanes) == lanes)
                continue;
            __m128 sum = weight(d00);
            sum = _mm_add_ps(sum, weight(d01));
            sum = _mm_add_ps(sum, weight(d10));
            sum = _mm_add_ps(sum, weight(d11));
            const __m128 far = _mm_cmpgt_ps(_mm_and_ps(_mm_sub_ps(sum, two), no_sign), margin);
            int solid = _mm_movemask_ps(_mm_and_ps(far, _mm_cmpgt_ps(sum, two))) & lanes;
            for (int close = ~_mm_movemask_ps(far) & lanes; close != 0; close &= close - 1) {
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
    return true;
}

// The large dab: each row's run of d < (r + 1)^2 four columns at a time,
// lanes of the core (d <= r * r) at the full strength, ring lanes weighed.
// Against the rule (double root, weight rounded to float, times S in double,
// then truncated) the float strength w * (float)S is off by less than
// |S| * (q + 4) * 2^-25 (the subtraction q - root is exact, as the root lies
// within [q / 2, q]); where the interval of twice that around it holds no
// integer, truncation gives the rule's value.
bool LargeFlatDabLanes(PXPaintBrush& b, float x, float y, float r, double S, int left, int top, int right,
                       int bottom) {
    const int width = right - left;
    if (width > kMaxColumns || !(std::fabs(S) < 1e6))
        return false;
    if (width <= 0 || bottom <= top)
        return true;
#if defined(__x86_64__) || defined(__i386__)
    if (HasAvx2()) {
        LargeFlatDab8(b, x, y, r, S, left, top, right, bottom);
        return true;
    }
#endif
    Ink ink(b);
    PXSurface* s = b.surface;
    const float rr = r * r;
    const float q = r + 1.0f;
    const float qq = q * q;
    const int full = (int)((double)1.0f * S);
    alignas(16) float fx[kMaxColumns + 4];
    int m = 0;  // a column of least d on every row
    for (int i = 0; i < width + 4; ++i) {
        const float dx = (float)(left + i) + 0.5f - x;
        fx[i] = dx * dx;
        if (i < width && fx[i] < fx[m])
            m = i;
    }
    const float Sf = (float)S;
    const float eps = (float)(std::fabs(S) * (2.0 * q + 8.0) * 0x1p-25 + 0x1p-20);
    const __m128 vq = _mm_set1_ps(q), half = _mm_set1_ps(0.5f), vS = _mm_set1_ps(Sf), veps = _mm_set1_ps(eps);
    const __m128 vrr = _mm_set1_ps(rr);
    const __m128i vfull = _mm_set1_epi32(full);
    // Every row of the box is asked for at once: on a wide surface each is a
    // page of its own, and their misses then overlap.
    for (int row = top; row < bottom; ++row)
        for (int i = 0; i < width; i += 16)
            __builtin_prefetch(s->pixels + (size_t)row * s->stride + left + i, 1);
    int lo = m, hi = m + 1;
    for (int row = top; row < bottom; ++row) {
        const float dy = (float)row + 0.5f - y;
        const float dy2 = dy * dy;
        if (!(fx[m] + dy2 < qq))
            continue;  // the whole row lies past the ring: all weights 0
        PXPixel* line = s->pixels + (size_t)row * s->stride + left;
        // The run of d < (r + 1)^2 holds m; its ends move a little from row
        // to row.
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
        const __m128 vdy2 = _mm_set1_ps(dy2);
        for (int i = lo; i < hi; i += 4) {
            const int n = hi - i < 4 ? hi - i : 4;
            const __m128 d = _mm_add_ps(_mm_loadu_ps(fx + i), vdy2);
            const __m128 in = _mm_cmple_ps(d, vrr);
            __m128i a = vfull;
            if (_mm_movemask_ps(in) != 15) {
                // Ring lanes: r * r < d < (r + 1)^2 for every lane up to n.
                const __m128 af = _mm_mul_ps(_mm_mul_ps(_mm_sub_ps(vq, _mm_sqrt_ps(d)), half), vS);
                const __m128i below = _mm_cvttps_epi32(_mm_sub_ps(af, veps));
                const __m128i above = _mm_cvttps_epi32(_mm_add_ps(af, veps));
                const __m128i core = _mm_castps_si128(in);
                a = _mm_or_si128(_mm_and_si128(core, vfull), _mm_andnot_si128(core, below));
                const int unsure = ~(_mm_movemask_ps(_mm_castsi128_ps(_mm_cmpeq_epi32(below, above))) |
                                     _mm_movemask_ps(in)) & ((1 << n) - 1);
                if (unsure) {
                    alignas(16) int v[4];
                    _mm_store_si128(reinterpret_cast<__m128i*>(v), a);
                    for (int k = 0; k < n; ++k)
                        if (unsure >> k & 1)
                            v[k] = (int)((double)pxtip::Flat(r, (double)(fx[i + k] + dy2)) * S);
                    a = _mm_load_si128(reinterpret_cast<const __m128i*>(v));
                }
            }
            if (i + 4 <= width) {
                // Lanes past the run keep their pixels (strength 0).
                const __m128i keep = _mm_cmplt_epi32(_mm_setr_epi32(0, 1, 2, 3), _mm_set1_epi32(n));
                ink.AccumulateLanes(line + i, _mm_and_si128(a, keep));
            } else {
                // The box's last few columns one by one: lanes past them may
                // lie past the surface.
                alignas(16) int v[4];
                _mm_store_si128(reinterpret_cast<__m128i*>(v), a);
                for (int k = 0; k < n; ++k)
                    if (v[k] > 0)
                        ink.Accumulate(line[i + k], v[k]);
            }
        }
    }
    b.new_pixels += ink.fresh;
    return true;
}

// The soft disc: the same float and double operations as SoftDisc, two
// double lanes at a time, one square root a pixel (of 1 - d / r^2 inside the
// inner circle, of d in the ring), so every strength is the scalar one.
bool SoftDiscLanes(PXPaintBrush& b, float x, float y, float r, float S, int left, int top, int right, int bottom) {
    const int width = right - left;
    if (width > kMaxColumns || !(std::fabs(S) < 32768.0f))
        return false;  // strengths up to 255 * |S| stay within AccumulateLanes' range
    if (width <= 0 || bottom <= top)
        return true;
#if defined(__x86_64__) || defined(__i386__)
    if (HasAvx2()) {
        SoftDisc8(b, x, y, r, S, left, top, right, bottom);
        return true;
    }
#endif
    Ink ink(b);
    PXSurface* s = b.surface;
    const float inner = (r - 0.2f) * (r - 0.2f);
    const float outer = (r + 0.8f) * (r + 0.8f);
    const float rr = r * r;
    alignas(16) float fx[kMaxColumns + 4];
    int m = 0;
    for (int i = 0; i < width + 4; ++i) {
        const float dx = (float)(left + i) + 0.5f - x;
        fx[i] = dx * dx;
        if (i < width && fx[i] < fx[m])
            m = i;
    }
    const __m128 vinner = _mm_set1_ps(inner), vrr = _mm_set1_ps(rr);
    const __m128d one = _mm_set1_pd(1.0), vS = _mm_set1_pd((double)S), v255 = _mm_set1_pd(255.0);
    const __m128d v51 = _mm_set1_pd(51.0), vrOuter = _mm_set1_pd((double)r + 0.8);
    // Strengths of two lanes (their d, d / r^2 and inner mask as doubles).
    auto strength = [&](__m128d d, __m128d t, __m128d in) {
        const __m128d arg = _mm_or_pd(_mm_and_pd(in, _mm_sub_pd(one, t)), _mm_andnot_pd(in, d));
        const __m128d root = _mm_sqrt_pd(arg);
        const __m128d a_in = _mm_mul_pd(_mm_mul_pd(vS, root), v255);
        const __m128d a_ring = _mm_mul_pd(_mm_mul_pd(_mm_sub_pd(vrOuter, root), vS), v51);
        return _mm_cvttpd_epi32(_mm_or_pd(_mm_and_pd(in, a_in), _mm_andnot_pd(in, a_ring)));
    };
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
        const __m128 vdy2 = _mm_set1_ps(dy2);
        for (int i = lo; i < hi; i += 4) {
            const __m128 d = _mm_add_ps(_mm_loadu_ps(fx + i), vdy2);
            const __m128 t = _mm_div_ps(d, vrr);
            const __m128 in = _mm_cmplt_ps(d, vinner);
            const __m128 dh = _mm_movehl_ps(d, d), th = _mm_movehl_ps(t, t);
            const __m128 in_lo = _mm_unpacklo_ps(in, in), in_hi = _mm_unpackhi_ps(in, in);
            const __m128i a01 = strength(_mm_cvtps_pd(d), _mm_cvtps_pd(t), _mm_castps_pd(in_lo));
            const __m128i a23 = strength(_mm_cvtps_pd(dh), _mm_cvtps_pd(th), _mm_castps_pd(in_hi));
            const __m128i a = _mm_unpacklo_epi64(a01, a23);
            if (i + 4 <= hi) {
                ink.AccumulateLanes(line + i, a);
            } else {
                // The last few columns one by one: the lanes past the run
                // may lie past the surface.
                alignas(16) int v[4];
                _mm_store_si128(reinterpret_cast<__m128i*>(v), a);
                for (int k = 0; k < hi - i; ++k)
                    if (v[k] > 0)
                        ink.Accumulate(line[i + k], v[k]);
            }
        }
    }
    b.new_pixels += ink.fresh;
    return true;
}

}  // namespace pxdab

#endif
