// The ink of a round dab kept in locals while the dab runs, and the lane
// kernels of the flat tip (PXDabLanes.cpp).
#pragma once

#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "brush/PXPaintBrush.h"

namespace pxdab {

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
        // In 64 bits: a strength far above 255 (a pressure far above 1)
        // would take A * (a + 1) past the int range; the low eight bits are
        // those of wrapping 32-bit arithmetic either way.
        const int64_t A = px.a;
        int n = (int)((A + a - ((A * ((int64_t)a + 1)) >> 8)) & 255);
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

#if defined(__SSE2__)
    // Accumulate on four neighbouring pixels, each with its own strength;
    // a lane whose strength is not above 0 keeps its pixel. The strengths
    // must lie within +-2^23, so that no product below overflows (the
    // lanes then agree with the int arithmetic of Accumulate).
    void AccumulateLanes(PXPixel* px, __m128i a) {
        const __m128i zero = _mm_setzero_si128(), low24 = _mm_set1_epi32(0x00FFFFFF);
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(px));
        const __m128i A = _mm_srli_epi32(v, 24);
        const __m128i a1 = _mm_add_epi32(a, _mm_set1_epi32(1));
        const __m128i p02 = _mm_mul_epu32(A, a1);
        const __m128i p13 = _mm_mul_epu32(_mm_srli_epi64(A, 32), _mm_srli_epi64(a1, 32));
        const __m128i prod = _mm_unpacklo_epi32(_mm_shuffle_epi32(p02, _MM_SHUFFLE(0, 0, 2, 0)),
                                                _mm_shuffle_epi32(p13, _MM_SHUFFLE(0, 0, 2, 0)));
        const __m128i byte = _mm_set1_epi32(255), vcap = _mm_set1_epi32(cap);
        __m128i n = _mm_and_si128(_mm_sub_epi32(_mm_add_epi32(A, a), _mm_srai_epi32(prod, 8)), byte);
        const __m128i over_cap = _mm_cmpgt_epi32(n, vcap);
        n = _mm_or_si128(_mm_and_si128(over_cap, vcap), _mm_andnot_si128(over_cap, n));
        const __m128i over = _mm_or_si128(_mm_and_si128(v, low24), _mm_slli_epi32(n, 24));
        const __m128i first = _mm_or_si128(_mm_set1_epi32((int)(word & 0x00FFFFFFu)),
                                           _mm_slli_epi32(_mm_and_si128(a, byte), 24));
        const __m128i empty = _mm_cmpeq_epi32(A, zero);
        const __m128i inked = _mm_cmpgt_epi32(a, zero);
        const __m128i res = _mm_or_si128(_mm_and_si128(empty, first), _mm_andnot_si128(empty, over));
        const __m128i out = _mm_or_si128(_mm_and_si128(inked, res), _mm_andnot_si128(inked, v));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(px), out);
        // Lanes found empty, counted from the 4-bit mask (a population count
        // is a library call on the baseline instruction set).
        fresh += (0x4332322132212110ull >> (4 * _mm_movemask_ps(_mm_castsi128_ps(_mm_and_si128(inked, empty))))) & 15;
    }
#endif

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

// Widest box the column tables of the lane loops take; wider boxes go
// through the rule.
constexpr int kMaxColumns = 2048;
// Widest box of the eight-lane small dab (a small dab's box is about 8 wide).
constexpr int kSmallColumns = 64;

// The flat tip's dabs in SSE2 lanes, each pixel as the per-pixel rule gives
// it. They return false, having drawn nothing, for what they do not take
// (boxes wider than their column tables, strengths too large for their
// error bound); the caller then runs the rule.
bool SmallFlatDabLanes(PXPaintBrush& b, float x, float y, float r, int left, int top, int right, int bottom);
bool LargeFlatDabLanes(PXPaintBrush& b, float x, float y, float r, double S, int left, int top, int right,
                       int bottom);
// The soft disc (see SoftDisc), exact in double lanes.
bool SoftDiscLanes(PXPaintBrush& b, float x, float y, float r, float S, int left, int top, int right, int bottom);

#if defined(__x86_64__) || defined(__i386__)
// True where the processor has AVX2 and SP_NO_AVX2 is not set.
bool HasAvx2();
// The eight-lane loops (PXDabLanes8.cpp); call them only when HasAvx2().
void SmallFlatDab8(PXPaintBrush& b, float x, float y, float r, int left, int top, int right, int bottom);
void LargeFlatDab8(PXPaintBrush& b, float x, float y, float r, double S, int left, int top, int right, int bottom);
// The soft disc (SoftDiscLanes' cases) in float lanes with an error bound.
void SoftDisc8(PXPaintBrush& b, float x, float y, float r, float S, int left, int top, int right, int bottom);
// blend_out over rows top..bottom, columns left..right.
void BlendOutRows8(PXPixel* target, size_t tstride, const PXPixel* source, size_t sstride,
                   const PXPixel* stroke, size_t mstride, int left, int top, int right, int bottom);
#endif

}  // namespace pxdab
