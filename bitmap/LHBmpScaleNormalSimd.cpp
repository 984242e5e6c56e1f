// AVX2 and AVX-512 kernels of the bilinear scaler (see LHBmpSimd.h).
#include <cstdint>

#include <immintrin.h>

#include "LHBmpSimd.h"

namespace lhbmp {

#define LH_AVX2 __attribute__((target("avx2")))

// With d = b - a and fy = 256 fh + fl:
//   (a * 65536 + d * fy) >> 8 = 256 a + d fh + floor(d fl / 256)
// and floor(d fl / 256) = floor(2d * 128 fl / 65536), the signed high
// product of 2d (within +-510) and 128 fl (below 32768). The result lies in
// 0..65280, so 16-bit lanes that wrap on the way still end exact.
LH_AVX2 size_t normalBlendRows(const unsigned char* a, const unsigned char* b, uint16_t* v, size_t i, size_t end,
                               uint32_t fy, size_t ahead)
{
    const __m256i fh = _mm256_set1_epi16(short(fy >> 8)), fl7 = _mm256_set1_epi16(short((fy & 255) << 7));
    auto blend = [&](size_t at) __attribute__((always_inline, target("avx2"))) {
        const __m256i va = _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(a + at)));
        const __m256i vb = _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(b + at)));
        const __m256i d = _mm256_sub_epi16(vb, va);
        const __m256i r = _mm256_add_epi16(_mm256_slli_epi16(va, 8), _mm256_mullo_epi16(d, fh));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(v + at),
                            _mm256_add_epi16(r, _mm256_mulhi_epi16(_mm256_add_epi16(d, d), fl7)));
    };
    // The rows after b are those of the next lines: asked for now, one line
    // ahead (an address only; nothing is read from it here).
    const uintptr_t next = uintptr_t(b) + ahead, after = next + ahead;
    for (; i + 64 <= end; i += 64) {
        if (ahead) {
            __builtin_prefetch(reinterpret_cast<const void*>(next + i));
            __builtin_prefetch(reinterpret_cast<const void*>(after + i));
        }
        blend(i);
        blend(i + 16);
        blend(i + 32);
        blend(i + 48);
    }
    for (; i + 16 <= end; i += 16)
        blend(i);
    return i;
}

namespace {

// Four outputs at a time in 16-bit lanes. With S = cur * (65536 - f) +
// next * f (below 2^32) the output is floor(S / 2^24), and
//   floor(S / 65536) = cur + floor((next f - cur f) / 65536)
//                    = cur + hi(next f) - hi(cur f) - (lo(next f) < lo(cur f))
// with hi and lo the unsigned high and low halves of the 16 x 16 products.
// That value lies in 0..65280, so 16-bit lanes that wrap on the way end
// exact; its high byte is the output.
template <bool Neg, bool Swap>
LH_AVX2 size_t line4(const uint16_t* v, const uint32_t* xs, const uint16_t* fw, size_t count, unsigned char* dst)
{
    const __m256i swap = _mm256_setr_epi8(2, 1, 0, 3, 6, 5, 4, 7, 10, 9, 8, 11, 14, 13, 12, 15, 2, 1, 0, 3, 6, 5, 4, 7,
                                          10, 9, 8, 11, 14, 13, 12, 15);
    const __m256i ones = _mm256_set1_epi16(-1), zero = _mm256_setzero_si256();
    // The 16-bit values of outputs o..o+3, in the lane order (o o+2 | o+1 o+3).
    auto four = [&](size_t o) __attribute__((always_inline, target("avx2"))) {
        auto px = [&](size_t j) {
            return _mm_loadu_si128(reinterpret_cast<const __m128i*>(v + (size_t(xs[j]) - (Neg ? 1 : 0)) * 4));
        };
        // Each load holds an output's pixel and its neighbour: (first second).
        const __m256i w01 = _mm256_inserti128_si256(_mm256_castsi128_si256(px(o)), px(o + 1), 1);
        const __m256i w23 = _mm256_inserti128_si256(_mm256_castsi128_si256(px(o + 2)), px(o + 3), 1);
        const __m256i first = _mm256_unpacklo_epi64(w01, w23), second = _mm256_unpackhi_epi64(w01, w23);
        const __m256i cur = Neg ? second : first, next = Neg ? first : second;
        // Weights in the same order, each four times.
        const __m256i f = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(fw + o * 4));
        const __m256i nl = _mm256_mullo_epi16(next, f), cl = _mm256_mullo_epi16(cur, f);
        const __m256i nh = _mm256_mulhi_epu16(next, f), ch = _mm256_mulhi_epu16(cur, f);
        // no_borrow: -1 where lo(next f) >= lo(cur f).
        const __m256i no_borrow = _mm256_cmpeq_epi16(_mm256_subs_epu16(cl, nl), zero);
        const __m256i q = _mm256_sub_epi16(_mm256_add_epi16(_mm256_add_epi16(cur, nh), ones),
                                           _mm256_add_epi16(ch, no_borrow));
        return _mm256_srli_epi16(q, 8);
    };
    size_t o = 0;
    // Eight outputs a step: after the pack the 32-bit words hold outputs
    // (0 2 4 6 | 1 3 5 7).
    const __m256i order8 = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
    for (; o + 8 <= count; o += 8) {
        __m256i p = _mm256_packus_epi16(four(o), four(o + 4));
        if (Swap)
            p = _mm256_shuffle_epi8(p, swap);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst + o * 4), _mm256_permutevar8x32_epi32(p, order8));
    }
    if (o + 4 <= count) {
        __m256i p = _mm256_packus_epi16(four(o), zero);
        if (Swap)
            p = _mm256_shuffle_epi8(p, swap);
        p = _mm256_permutevar8x32_epi32(p, order8);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + o * 4), _mm256_castsi256_si128(p));
        o += 4;
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

namespace lhbmp {

// The AVX-512 kernels: the same arithmetic as the AVX2 ones, twice as wide,
// and the horizontal pass's gather and packing done by permutes, which take
// fewer instructions than the loads, inserts and unpacks.
#define LH_AVX512 __attribute__((target("avx512bw,avx512vl,avx512vbmi")))

LH_AVX512 size_t normalBlendRows512(const unsigned char* a, const unsigned char* b, uint16_t* v, size_t i,
                                    size_t end, uint32_t fy, size_t ahead)
{
    const __m512i fh = _mm512_set1_epi16(short(fy >> 8)), fl7 = _mm512_set1_epi16(short((fy & 255) << 7));
    auto blend = [&](size_t at) __attribute__((always_inline, target("avx512bw,avx512vl,avx512vbmi"))) {
        const __m512i va = _mm512_cvtepu8_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(a + at)));
        const __m512i vb = _mm512_cvtepu8_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(b + at)));
        const __m512i d = _mm512_sub_epi16(vb, va);
        const __m512i r = _mm512_add_epi16(_mm512_slli_epi16(va, 8), _mm512_mullo_epi16(d, fh));
        _mm512_storeu_si512(v + at, _mm512_add_epi16(r, _mm512_mulhi_epi16(_mm512_add_epi16(d, d), fl7)));
    };
    const uintptr_t next = uintptr_t(b) + ahead, after = next + ahead;
    for (; i + 64 <= end; i += 64) {
        if (ahead) {
            __builtin_prefetch(reinterpret_cast<const void*>(next + i));
            __builtin_prefetch(reinterpret_cast<const void*>(after + i));
        }
        blend(i);
        blend(i + 32);
    }
    for (; i + 32 <= end; i += 32)
        blend(i);
    return i;
}

namespace {

// Eight outputs a group: two loads hold the sixteen pixels, two word
// permutes pick the current and next values, line4's arithmetic with the
// borrow as a mask, and one byte permute takes the high bytes of two groups
// (channels swapped or not) in output order.
template <bool Neg>
LH_AVX512 size_t linePerm(const uint16_t* v, const uint32_t* base, const uint16_t* idx, const uint16_t* fw,
                          size_t count, unsigned char* dst, __m512i out)
{
    const __m512i step = _mm512_set1_epi16(Neg ? -4 : 4), one = _mm512_set1_epi16(1);
    auto group = [&](size_t g) __attribute__((always_inline, target("avx512bw,avx512vl,avx512vbmi"))) {
        const uint16_t* p = v + size_t(base[g]) * 4;
        const __m512i lo = _mm512_loadu_si512(p), hi = _mm512_loadu_si512(p + 32);
        const __m512i ci = _mm512_loadu_si512(idx + g * 32);
        const __m512i cur = _mm512_permutex2var_epi16(lo, ci, hi);
        const __m512i next = _mm512_permutex2var_epi16(lo, _mm512_add_epi16(ci, step), hi);
        const __m512i f = _mm512_loadu_si512(fw + g * 32);
        const __m512i nl = _mm512_mullo_epi16(next, f), cl = _mm512_mullo_epi16(cur, f);
        const __m512i nh = _mm512_mulhi_epu16(next, f), ch = _mm512_mulhi_epu16(cur, f);
        const __mmask32 borrow = _mm512_cmpgt_epu16_mask(cl, nl);
        const __m512i q = _mm512_sub_epi16(_mm512_add_epi16(cur, nh), ch);
        return _mm512_mask_sub_epi16(q, borrow, q, one);
    };
    size_t o = 0;
    for (; o + 16 <= count; o += 16)
        _mm512_storeu_si512(dst + o * 4, _mm512_permutex2var_epi8(group(o / 8), out, group(o / 8 + 1)));
    if (o + 8 <= count) {
        const __m512i r = _mm512_permutex2var_epi8(group(o / 8), out, _mm512_setzero_si512());
        _mm512_mask_storeu_epi32(dst + o * 4, 0x00FF, r); // the eight outputs' 32 bytes
        o += 8;
    }
    return o;
}

} // namespace

LH_AVX512 size_t normalLinePerm(const uint16_t* v, const uint32_t* base, const uint16_t* idx, const uint16_t* fw,
                                size_t count, unsigned char* dst, bool neg, bool swap)
{
    // Output byte j of sixteen outputs: the high byte of word
    // 4 (j / 4) + its channel (0 and 2 exchanged when swapping).
    alignas(64) unsigned char order[64];
    for (int j = 0; j < 64; ++j) {
        const int k = j % 4, channel = swap && k != 3 ? 2 - k : k;
        order[j] = static_cast<unsigned char>(2 * (4 * (j / 4) + channel) + 1);
    }
    const __m512i out = _mm512_load_si512(order);
    return neg ? linePerm<true>(v, base, idx, fw, count, dst, out) : linePerm<false>(v, base, idx, fw, count, dst, out);
}

} // namespace lhbmp
