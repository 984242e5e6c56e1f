// SSE4.1 row kernel of the 32-bit transform (see LHBmpSimd.h).
#include <cstring>

#include <immintrin.h>

#include "LHBmpSimd.h"

namespace lhbmp {

__attribute__((target("sse4.1,ssse3"))) void transformRow32(const unsigned char* bits, int64_t stride, int w, int h,
                                                             uint64_t u, uint64_t v, uint64_t du, uint64_t dv,
                                                             unsigned char* dst, int n, EdgeFn edge, const void* ctx)
{
    const __m128i low = _mm_setr_epi8(0, 4, 8, 12, -128, -128, -128, -128, -128, -128, -128, -128, -128, -128, -128, -128);
    for (int i = 0; i < n; ++i, u += du, v += dv) {
        // Rounded to 1/256 of a pixel, wrapping like the plain path.
        const int64_t pu = int64_t(u * 256 + (uint64_t(1) << 25)) >> 26;
        const int64_t pv = int64_t(v * 256 + (uint64_t(1) << 25)) >> 26;
        const int64_t ix = pu >> 8, iy = pv >> 8;
        if (ix < 0 || ix >= int64_t(w) - 1 || iy < 0 || iy >= int64_t(h) - 1) {
            // Beyond the one-pixel ring nothing is sampled: a clear pixel.
            if (ix < -1 || ix >= w || iy < -1 || iy >= h)
                std::memset(dst + size_t(i) * 4, 0, 4);
            else
                edge(ctx, int64_t(u), int64_t(v), i);
            continue;
        }
        const int fx = int(pu & 255), fy = int(pv & 255);
        const unsigned char* p0 = bits + iy * stride + ix * 4;
        const __m128i r0 = _mm_cvtepu8_epi16(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p0)));
        const __m128i r1 = _mm_cvtepu8_epi16(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p0 + stride)));
        // Left and right byte of each channel side by side against (256 - fx, fx).
        const __m128i wx = _mm_set1_epi32((fx << 16) | (256 - fx));
        const __m128i h0 = _mm_madd_epi16(_mm_unpacklo_epi16(r0, _mm_srli_si128(r0, 8)), wx);
        const __m128i h1 = _mm_madd_epi16(_mm_unpacklo_epi16(r1, _mm_srli_si128(r1, 8)), wx);
        const __m128i r = _mm_srli_epi32(
            _mm_add_epi32(_mm_mullo_epi32(h1, _mm_set1_epi32(fy)), _mm_mullo_epi32(h0, _mm_set1_epi32(256 - fy))), 16);
        const int px = _mm_cvtsi128_si32(_mm_shuffle_epi8(r, low));
        std::memcpy(dst + size_t(i) * 4, &px, 4);
    }
}

} // namespace lhbmp
