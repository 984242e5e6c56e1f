// Row gather of nearest-sample scaling (see LHBmpSimd.h): four loads, one
// store (SSE2, always there); or, where the processor has AVX2, eight
// outputs from two loads of the sixteen source pixels they lie in.
#include <cstdint>
#include <cstring>

#include <immintrin.h>

#include "LHBmpSimd.h"

namespace lhbmp {

namespace {

#define LH_AVX2 __attribute__((target("avx2")))

// Outputs i.. in steps of eight while the eight lie within sixteen source
// pixels inside the row (a reduction, or an enlargement); returns where it
// stopped. The columns of a walk are monotone, so the eight lie between the
// first and the last.
LH_AVX2 size_t gather8(const unsigned char* src, int srcCount, const int32_t* cols, size_t i, size_t n,
                       unsigned char* dst, bool stream)
{
    const __m256i seven = _mm256_set1_epi32(7);
    for (; i + 8 <= n; i += 8) {
        const int32_t first = cols[i], last = cols[i + 7];
        const int32_t base = first < last ? first : last;
        if ((first < last ? last - first : first - last) >= 16 || base > srcCount - 16)
            break;
        const __m256i at = _mm256_sub_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(cols + i)),
                                            _mm256_set1_epi32(base));
        const unsigned char* p = src + size_t(base) * 4;
        const __m256i lo = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
        const __m256i hi = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p + 32));
        const __m256i v = _mm256_blendv_epi8(_mm256_permutevar8x32_epi32(lo, at), _mm256_permutevar8x32_epi32(hi, at),
                                             _mm256_cmpgt_epi32(at, seven));
        if (stream)
            _mm256_stream_si256(reinterpret_cast<__m256i*>(dst + i * 4), v);
        else
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst + i * 4), v);
    }
    return i;
}

} // namespace

void gatherRow32(const unsigned char* src, int srcCount, const int32_t* cols, size_t n, unsigned char* dst,
                 bool stream)
{
    auto at = [&](size_t i) {
        int v;
        std::memcpy(&v, src + size_t(cols[i]) * 4, 4);
        return v;
    };
    const bool wide = haveAvx2();
    const uintptr_t align = wide ? 31 : 15;
    size_t i = 0;
    if (stream)
        for (; i < n && (uintptr_t(dst + i * 4) & align); ++i)
            std::memcpy(dst + i * 4, src + size_t(cols[i]) * 4, 4);
    while (i + 4 <= n) {
        if (wide)
            i = gather8(src, srcCount, cols, i, n, dst, stream);
        // Four at a time where eight did not fit: eight of them keep the
        // 32-byte alignment of a streamed row.
        for (size_t stop = wide ? i + 8 : n; i + 4 <= n && i < stop; i += 4) {
            const __m128i v = _mm_setr_epi32(at(i), at(i + 1), at(i + 2), at(i + 3));
            if (stream)
                _mm_stream_si128(reinterpret_cast<__m128i*>(dst + i * 4), v);
            else
                _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i * 4), v);
        }
    }
    if (stream)
        _mm_sfence();
    for (; i < n; ++i)
        std::memcpy(dst + i * 4, src + size_t(cols[i]) * 4, 4);
}

} // namespace lhbmp
