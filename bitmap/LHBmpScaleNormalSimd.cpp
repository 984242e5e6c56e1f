// AVX2 kernels of the bilinear scaler (see LHBmpSimd.h).
#include <immintrin.h>

#include "LHBmpSimd.h"

namespace lhbmp {

#define LH_AVX2 __attribute__((target("avx2")))

// With d = b - a and fy = 256 fh + fl:
//   (a * 65536 + d * fy) >> 8 = 256 a + d fh + floor(d fl / 256)
// and floor(d fl / 256) = floor((d + 256) fl 256 / 65536) - fl, an unsigned
// high product. The result lies in 0..65280, so 16-bit lanes that wrap on
// the way still end exact.
LH_AVX2 size_t normalBlendRows(const unsigned char* a, const unsigned char* b, uint16_t* v, size_t i, size_t end,
                               uint32_t fy)
{
    const __m256i fh = _mm256_set1_epi16(short(fy >> 8)), fl = _mm256_set1_epi16(short(fy & 255));
    const __m256i fl8 = _mm256_set1_epi16(short((fy & 255) << 8)), k256 = _mm256_set1_epi16(256);
    for (; i + 16 <= end; i += 16) {
        const __m256i va = _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(a + i)));
        const __m256i vb = _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(b + i)));
        const __m256i d = _mm256_sub_epi16(vb, va);
        __m256i r = _mm256_add_epi16(_mm256_slli_epi16(va, 8), _mm256_mullo_epi16(d, fh));
        r = _mm256_add_epi16(r, _mm256_sub_epi16(_mm256_mulhi_epu16(_mm256_add_epi16(d, k256), fl8), fl));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(v + i), r);
    }
    return i;
}

namespace {

// One output per 128-bit lane: (cur << 16) + next * f - cur * f, exact in 32 bits.
template <bool Neg>
LH_AVX2 inline __m256i interp(__m256i w, __m256i f)
{
    const __m256i zero = _mm256_setzero_si256();
    const __m256i lo = _mm256_mullo_epi16(w, f), hi = _mm256_mulhi_epu16(w, f);
    const __m256i first = _mm256_unpacklo_epi16(lo, hi), second = _mm256_unpackhi_epi16(lo, hi);
    const __m256i r = Neg ? _mm256_sub_epi32(_mm256_add_epi32(_mm256_unpackhi_epi16(zero, w), first), second)
                          : _mm256_sub_epi32(_mm256_add_epi32(_mm256_unpacklo_epi16(zero, w), second), first);
    return _mm256_srli_epi32(r, 24);
}

template <bool Neg, bool Swap>
LH_AVX2 size_t line4(const uint16_t* v, const uint32_t* xs, const uint16_t* fw, size_t count, unsigned char* dst)
{
    const __m256i order = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
    const __m256i swap = _mm256_setr_epi8(2, 1, 0, 3, 6, 5, 4, 7, 10, 9, 8, 11, 14, 13, 12, 15, 2, 1, 0, 3, 6, 5, 4, 7,
                                          10, 9, 8, 11, 14, 13, 12, 15);
    size_t o = 0;
    for (; o + 4 <= count; o += 4) {
        auto px = [&](size_t j) {
            return _mm_loadu_si128(reinterpret_cast<const __m128i*>(v + (size_t(xs[j]) - (Neg ? 1 : 0)) * 4));
        };
        const __m256i w01 = _mm256_inserti128_si256(_mm256_castsi128_si256(px(o)), px(o + 1), 1);
        const __m256i w23 = _mm256_inserti128_si256(_mm256_castsi128_si256(px(o + 2)), px(o + 3), 1);
        const __m256i f01 = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(fw + o * 8));
        const __m256i f23 = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(fw + o * 8 + 16));
        // lanes: (p0 p2 | p1 p3) as words, then bytes; the dword order puts them right
        __m256i p = _mm256_packs_epi32(interp<Neg>(w01, f01), interp<Neg>(w23, f23));
        p = _mm256_packus_epi16(p, p);
        if (Swap)
            p = _mm256_shuffle_epi8(p, swap);
        p = _mm256_permutevar8x32_epi32(p, order);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + o * 4), _mm256_castsi256_si128(p));
    }
    return o;
}

} // namespace

LH_AVX2 size_t normalLine4(const uint16_t* v, const uint32_t* xs, const uint16_t* fw, size_t count, unsigned char* dst,
                           bool neg, bool swap)
{
    if (neg)
        return swap ? line4<true, true>(v, xs, fw, count, dst) : line4<true, false>(v, xs, fw, count, dst);
    return swap ? line4<false, true>(v, xs, fw, count, dst) : line4<false, false>(v, xs, fw, count, dst);
}

} // namespace lhbmp
