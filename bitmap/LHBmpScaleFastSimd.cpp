// Row gather of nearest-sample scaling (see LHBmpSimd.h): four loads, one
// store; SSE2, so no run-time choice.
#include <cstdint>
#include <cstring>

#include <immintrin.h>

#include "LHBmpSimd.h"

namespace lhbmp {

void gatherRow32(const unsigned char* src, const int32_t* cols, size_t n, unsigned char* dst, bool stream)
{
    auto at = [&](size_t i) {
        int v;
        std::memcpy(&v, src + size_t(cols[i]) * 4, 4);
        return v;
    };
    size_t i = 0;
    if (stream)
        for (; i < n && (uintptr_t(dst + i * 4) & 15); ++i)
            std::memcpy(dst + i * 4, src + size_t(cols[i]) * 4, 4);
    for (; i + 4 <= n; i += 4) {
        const __m128i v = _mm_setr_epi32(at(i), at(i + 1), at(i + 2), at(i + 3));
        if (stream)
            _mm_stream_si128(reinterpret_cast<__m128i*>(dst + i * 4), v);
        else
            _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i * 4), v);
    }
    if (stream)
        _mm_sfence();
    for (; i < n; ++i)
        std::memcpy(dst + i * 4, src + size_t(cols[i]) * 4, 4);
}

} // namespace lhbmp
