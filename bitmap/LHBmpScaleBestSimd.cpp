// Vector kernels of the area reduction (see LHBmpSimd.h).
#include <cstdlib>
#include <cstring>

#include <immintrin.h>

#include "LHBmpSimd.h"

namespace lhbmp {

// SP_BITMAP_NO_SIMD in the environment keeps to the plain loops (the tests
// run both ways).
bool haveSse41()
{
    static const bool yes =
        __builtin_cpu_supports("sse4.1") && __builtin_cpu_supports("ssse3") && !std::getenv("SP_BITMAP_NO_SIMD");
    return yes;
}

bool haveAvx2()
{
    static const bool yes = __builtin_cpu_supports("avx2") && !std::getenv("SP_BITMAP_NO_SIMD");
    return yes;
}

bool haveAvx512()
{
    // SP_BITMAP_NO_AVX512 keeps to the AVX2 kernels (the tests run them too).
    static const bool yes = haveAvx2() && __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vl") &&
                            __builtin_cpu_supports("avx512vbmi") && !std::getenv("SP_BITMAP_NO_AVX512");
    return yes;
}

namespace {

#define LH_SSE41 __attribute__((target("sse4.1,ssse3")))

LH_SSE41 inline __m128i pixel4(const unsigned char* p)
{
    int v;
    std::memcpy(&v, p, 4);
    return _mm_cvtepu8_epi32(_mm_cvtsi32_si128(v));
}

} // namespace

LH_SSE41 void shrinkScan4(const unsigned char* src, unsigned int* line, int dst, bool neg, const int* begin,
                          const int* close, const uint32_t* kp, const uint32_t* carryMul, size_t from, size_t to,
                          uint32_t k)
{
    const __m128i kv = _mm_set1_epi32(int(k));
    __m128i carry = _mm_setzero_si128();
    if (from > 0)
        carry = _mm_srli_epi32(
            _mm_mullo_epi32(pixel4(src + size_t(close[from - 1]) * 4), _mm_set1_epi32(int(carryMul[from - 1]))), 20);
    for (size_t o = from; o < to; ++o) {
        __m128i sum = carry;
        for (int i = begin[o]; i < close[o]; ++i)
            sum = _mm_add_epi32(sum, pixel4(src + size_t(i) * 4));
        const __m128i q = pixel4(src + size_t(close[o]) * 4);
        const __m128i val = _mm_srli_epi32(
            _mm_add_epi32(_mm_mullo_epi32(q, _mm_set1_epi32(int(kp[o]))), _mm_mullo_epi32(sum, kv)), 12);
        __m128i* cell = reinterpret_cast<__m128i*>(line + size_t(neg ? dst - 1 - int(o) : int(o)) * 4);
        _mm_storeu_si128(cell, _mm_add_epi32(_mm_loadu_si128(cell), val));
        carry = _mm_srli_epi32(_mm_mullo_epi32(q, _mm_set1_epi32(int(carryMul[o]))), 20);
    }
}

// One output per 128-bit lane; the 16 bytes from the pixel before begin[o]
// hold that pixel (whose share carries in), the run and the closing pixel
// (stride 3), or the run, the closing pixel and one more (stride 2).
// carry = (q * m) >> 20 with m = mh * 65536 + ml splits into
// (q * mh + ((q * ml) >> 16)) >> 4, all in 16 bits (q * mh <= 255 * 16).
__attribute__((target("avx2"))) size_t shrinkScan4Stride(const unsigned char* src, int srcCount, unsigned int* line,
                                                          int dst, bool neg, const int* begin, const uint16_t* wk,
                                                          const uint16_t* mh, const uint16_t* ml, size_t from,
                                                          size_t outs, int stride)
{
    if (from == 0 || (stride != 2 && stride != 3))
        return from;
    const __m256i zero = _mm256_setzero_si256();
    size_t o = from;
    for (; o + 2 <= outs && begin[o + 1] + 3 <= srcCount; o += 2) {
        const __m128i w0 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + size_t(begin[o] - 1) * 4));
        const __m128i w1 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + size_t(begin[o + 1] - 1) * 4));
        const __m256i w = _mm256_inserti128_si256(_mm256_castsi128_si256(w0), w1, 1);
        const __m256i lo = _mm256_unpacklo_epi8(w, zero), hi = _mm256_unpackhi_epi8(w, zero);
        const __m256i h = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(mh + o * 8));
        const __m256i l = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(ml + o * 8));
        const __m256i carry = _mm256_srli_epi16(_mm256_add_epi16(_mm256_mullo_epi16(lo, h), _mm256_mulhi_epu16(lo, l)), 4);
        __m256i sum = _mm256_add_epi16(carry, _mm256_bsrli_epi128(lo, 8));
        __m256i q = hi;
        if (stride == 3) {
            sum = _mm256_add_epi16(sum, hi);
            q = _mm256_bsrli_epi128(hi, 8);
        }
        const __m256i wkv = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(wk + o * 8));
        __m256i val = _mm256_srli_epi32(_mm256_madd_epi16(_mm256_unpacklo_epi16(q, sum), wkv), 12);
        __m256i* cell;
        if (neg) {
            val = _mm256_permute2x128_si256(val, val, 0x01);
            cell = reinterpret_cast<__m256i*>(line + size_t(dst - 2 - int(o)) * 4);
        } else {
            cell = reinterpret_cast<__m256i*>(line + o * 4);
        }
        _mm256_storeu_si256(cell, _mm256_add_epi32(_mm256_loadu_si256(cell), val));
    }
    return o;
}

LH_SSE41 size_t shrinkScan1Stride(const unsigned char* src, int srcCount, unsigned int* line, int dst, bool neg,
                                  const int* begin, const int* close, const uint32_t* kp, const uint32_t* carryMul,
                                  size_t from, size_t outs, uint32_t k, int stride)
{
    if (from == 0 || stride < 2 || stride > 4)
        return from;
    // Byte j of the four outputs' windows into the low byte of lanes 0..3.
    auto pick = [&](int j) {
        char m[16];
        std::memset(m, -128, sizeof m);
        for (int l = 0; l < 4; ++l)
            m[4 * l] = char(stride * l + j);
        return _mm_loadu_si128(reinterpret_cast<const __m128i*>(m));
    };
    const __m128i m0 = pick(0), m1 = pick(1), m2 = pick(2), mq = pick(stride - 1);
    const __m128i kv = _mm_set1_epi32(int(k));
    // Lane 3 holds the weighted pixel of the output before the block.
    __m128i qLast = _mm_set1_epi32(src[close[from - 1]]);
    size_t o = from;
    for (; o + 4 <= outs && begin[o] + 16 <= srcCount; o += 4) {
        const __m128i w = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + begin[o]));
        const __m128i q = _mm_shuffle_epi8(w, mq);
        __m128i sum = _mm_shuffle_epi8(w, m0);
        if (stride >= 3)
            sum = _mm_add_epi32(sum, _mm_shuffle_epi8(w, m1));
        if (stride == 4)
            sum = _mm_add_epi32(sum, _mm_shuffle_epi8(w, m2));
        const __m128i qPrev = _mm_alignr_epi8(q, qLast, 12);
        const __m128i carry = _mm_srli_epi32(
            _mm_mullo_epi32(qPrev, _mm_loadu_si128(reinterpret_cast<const __m128i*>(carryMul + o - 1))), 20);
        __m128i val = _mm_add_epi32(_mm_mullo_epi32(q, _mm_loadu_si128(reinterpret_cast<const __m128i*>(kp + o))),
                                    _mm_mullo_epi32(_mm_add_epi32(sum, carry), kv));
        val = _mm_srli_epi32(val, 12);
        __m128i* cell;
        if (neg) {
            val = _mm_shuffle_epi32(val, _MM_SHUFFLE(0, 1, 2, 3));
            cell = reinterpret_cast<__m128i*>(line + (dst - 4 - int(o)));
        } else {
            cell = reinterpret_cast<__m128i*>(line + o);
        }
        _mm_storeu_si128(cell, _mm_add_epi32(_mm_loadu_si128(cell), val));
        qLast = q;
    }
    return o;
}

LH_SSE41 size_t shrinkClose(unsigned int* acc, unsigned int* line, unsigned char* out, size_t cells, uint32_t partMul,
                            uint32_t overMul, uint32_t k, bool swap)
{
    const __m128i pm = _mm_set1_epi32(int(partMul)), om = _mm_set1_epi32(int(overMul)), kv = _mm_set1_epi32(int(k));
    const __m128i low = swap ? _mm_setr_epi8(8, 4, 0, 12, -128, -128, -128, -128, -128, -128, -128, -128, -128, -128, -128, -128)
                             : _mm_setr_epi8(0, 4, 8, 12, -128, -128, -128, -128, -128, -128, -128, -128, -128, -128, -128, -128);
    const __m128i zero = _mm_setzero_si128();
    size_t i = 0;
    for (; i + 4 <= cells; i += 4) {
        __m128i* a = reinterpret_cast<__m128i*>(acc + i);
        __m128i* l = reinterpret_cast<__m128i*>(line + i);
        const __m128i lv = _mm_loadu_si128(l);
        const __m128i av = _mm_add_epi32(_mm_loadu_si128(a), _mm_srli_epi32(_mm_mullo_epi32(lv, pm), 22));
        const int bytes = _mm_cvtsi128_si32(_mm_shuffle_epi8(_mm_srli_epi32(_mm_mullo_epi32(av, kv), 12), low));
        std::memcpy(out + i, &bytes, 4);
        _mm_storeu_si128(a, _mm_srli_epi32(_mm_mullo_epi32(lv, om), 22));
        _mm_storeu_si128(l, zero);
    }
    return i;
}

} // namespace lhbmp
