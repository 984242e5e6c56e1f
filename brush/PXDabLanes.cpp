// The flat tip's dabs four columns at a time.
//
// Along a row the squared distance d of a pixel is dx^2 + dy^2 with dx^2
// taken from a table made once per dab, the same float operations as the
// rule's, so every d is the rule's own. d falls and then rises along a row
// (each rounding step is monotone), so the pixels of each zone of the tip
// are one run of columns; the runs are walked from row to row instead of
// being solved for.
//
// The ring's weight needs a square root, which the rule takes in double. Here
// it is taken in float, which is several times cheaper, and the result is
// only used where an error bound shows that it cannot change the pixel;
// elsewhere the rule itself is run for that pixel.
#include <cmath>
#include <cstdlib>

#include "PXDabInk.h"
#include "PXTipWeights.h"

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#endif

#if defined(__SSE2__)

namespace {

// Widest box the column tables take; wider boxes go through the rule.
constexpr int kMaxColumns = 2048;
// Widest box of the eight-lane small dab (a small dab's box is about 8 wide).
constexpr int kSmallColumns = 64;

}  // namespace

namespace pxdab {

// Four samples a pixel at .25 and .75; only whether the four weights sum
// above 2.0 matters (sum * 255.0 * 0.25 > 127.5 is exact in double for any
// float sum). Against the rule's double root rounded to float, each float
// weight is off by less than (2q + 1) * 2^-24 < 5e-7 (q < 3 here), each sum
// with its own roundings by less than 3e-6. Sums within 1e-4 of 2.0 (and
// NaN) go through the rule; every other pixel is decided as the rule would.
#if defined(__x86_64__) || defined(__i386__)
#define SP_AVX2 __attribute__((target("avx2")))

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
SP_AVX2 static void SmallFlatDab8(PXPaintBrush& b, float x, float y, float r, int left, int top, int right, int bottom) {
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

// SP_NO_AVX2 in the environment keeps to the four-lane loops (the tests run
// both).
static bool HasAvx2() {
    static const bool has = __builtin_cpu_supports("avx2") && !std::getenv("SP_NO_AVX2");
    return has;
}
#endif

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

#if defined(__x86_64__) || defined(__i386__)
// AccumulateLanes of eight pixels.
SP_AVX2 static inline void AccumulateLanes8(Ink& ink, PXPixel* px, __m256i a) {
    const __m256i zero = _mm256_setzero_si256(), low24 = _mm256_set1_epi32(0x00FFFFFF);
    const __m256i byte = _mm256_set1_epi32(255), vcap = _mm256_set1_epi32(ink.cap);
    const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(px));
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
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(px), _mm256_blendv_epi8(v, res, inked));
    const int m = _mm256_movemask_ps(_mm256_castsi256_ps(_mm256_and_si256(inked, empty)));
    ink.fresh += (int)((0x4332322132212110ull >> (4 * (m & 15))) & 15) +
                 (int)((0x4332322132212110ull >> (4 * (m >> 4))) & 15);
}

// LargeFlatDabLanes eight columns at a time, where the processor has AVX2;
// same operations, same bound.
SP_AVX2 static void LargeFlatDab8(PXPaintBrush& b, float x, float y, float r, double S, int left, int top,
                                  int right, int bottom) {
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
#endif

// The large dab: the core (d <= r * r) is one run of the dab's full strength,
// the ring (r * r < d < (r + 1)^2) is weighed four columns at a time. Against
// the rule (double root, weight rounded to float, times S in double, then
// truncated) the float strength w * (float)S is off by less than
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
