// Bilinear scaling. Steps are 16.16; a line stops interpolating at the last
// source column and writes one more pixel, and the rows stop likewise, so an
// enlargement leaves the destination's last rows and columns unwritten.
#include <algorithm>
#include <memory>
#include <vector>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include "LHBmpPixels.h"
#include "LHBmpSimd.h"

using namespace lhbmp;

namespace {

// Mid line: two rows, a and b one stride below. Walking forward (Neg false)
// the second sample is the next column; walking back it is the previous one.
template <int C, bool Swap, bool Neg>
void midLine(const unsigned char* a, unsigned int srcCount, unsigned int srcStride, unsigned char* dst,
             unsigned int dstCount, unsigned int step, unsigned int fy)
{
    const unsigned char* b = a + srcStride;
    if (dstCount == 0)
        return;
    if (srcCount == 1 || dstCount == 1) {
        const unsigned int n = srcCount == 1 ? dstCount : 1;
        for (unsigned int o = 0; o < n; ++o)
            putPixel<C, Swap>(dst + size_t(o) * C, a);
        return;
    }
    const uint32_t gy = 65536 - fy;
    uint32_t fx = 0;
    unsigned int o = 0;
    if (!Neg) {
        uint64_t c = 0;
        for (; c < srcCount - 1 && o < dstCount; ++o) {
            const unsigned char* pa = a + c * C;
            const unsigned char* pb = b + c * C;
            unsigned char* d = dst + size_t(o) * C;
            for (int k = 0; k < C; ++k) {
                const uint32_t top = (pa[k] * gy + pb[k] * fy) >> 8;
                const uint32_t next = (pa[k + C] * gy + pb[k + C] * fy) >> 8;
                putByte<C, Swap>(d, k, (top * (65536 - fx) + next * fx) >> 24);
            }
            fx += step;
            c += fx >> 16;
            fx &= 0xFFFF;
        }
    } else {
        int64_t c = int64_t(srcCount) - 1;
        for (; c > 0 && o < dstCount; ++o) {
            const unsigned char* pa = a + c * C;
            const unsigned char* pb = b + c * C;
            unsigned char* d = dst + size_t(o) * C;
            for (int k = 0; k < C; ++k) {
                const uint32_t top = (pa[k] * gy + pb[k] * fy) >> 8;
                const uint32_t next = (pa[k - C] * gy + pb[k - C] * fy) >> 8;
                putByte<C, Swap>(d, k, (top * (65536 - fx) + next * fx) >> 24);
            }
            fx += step;
            c -= fx >> 16;
            fx &= 0xFFFF;
        }
    }
    if (o < dstCount) {
        // The end pixel weighs the two rows by the horizontal fraction: kept
        // as the line has always done it.
        const size_t at = Neg ? 0 : size_t(srcCount - 1) * C;
        unsigned char* d = dst + size_t(o) * C;
        for (int k = 0; k < C; ++k)
            putByte<C, Swap>(d, k, (b[at + k] * fx + a[at + k] * (65536 - fx)) >> 16);
    }
}

// Last line: the same walk over one row; the end pixel is copied as it is.
template <int C, bool Swap, bool Neg>
void lastLine(const unsigned char* p, unsigned int srcCount, unsigned char* dst, unsigned int dstCount, unsigned int step)
{
    if (dstCount == 0)
        return;
    if (dstCount == 1) {
        putPixel<C, Swap>(dst, p);
        return;
    }
    if (srcCount == 1) {
        for (unsigned int o = 0; o < dstCount; ++o)
            putPixel<C, Swap>(dst + size_t(o) * C, p);
        return;
    }
    uint32_t fx = 0;
    unsigned int o = 0;
    if (!Neg) {
        uint64_t c = 0;
        for (; c < srcCount - 1 && o < dstCount; ++o) {
            const unsigned char* q = p + c * C;
            unsigned char* d = dst + size_t(o) * C;
            for (int k = 0; k < C; ++k)
                putByte<C, Swap>(d, k, (q[k + C] * fx + q[k] * (65536 - fx)) >> 16);
            fx += step;
            c += fx >> 16;
            fx &= 0xFFFF;
        }
    } else {
        int64_t c = int64_t(srcCount) - 1;
        for (; c > 0 && o < dstCount; ++o) {
            const unsigned char* q = p + c * C;
            unsigned char* d = dst + size_t(o) * C;
            for (int k = 0; k < C; ++k)
                putByte<C, Swap>(d, k, (q[k - C] * fx + q[k] * (65536 - fx)) >> 16);
            fx += step;
            c -= fx >> 16;
            fx &= 0xFFFF;
        }
    }
    if (o < dstCount)
        putPixel<C, Swap>(dst + size_t(o) * C, p + (Neg ? 0 : size_t(srcCount - 1) * C));
}

// The walk of a mid line depends only on the run, the line length and the
// step, so it is taken once per call; each line then blends the two rows
// once per source column it touches and interpolates from those blends. The
// values are those of midLine, byte for byte.
template <int C, bool Swap>
class MidPlan {
public:
    MidPlan(bool neg, unsigned int n, unsigned int dn, unsigned int step) : neg_(neg), n_(n)
    {
        uint32_t fx = 0;
        if (!neg) {
            uint64_t c = 0;
            for (unsigned int o = 0; c < n - 1 && o < dn; ++o) {
                xs_.push_back(uint32_t(c));
                fxs_.push_back(fx);
                fx += step;
                c += fx >> 16;
                fx &= 0xFFFF;
            }
        } else {
            int64_t c = int64_t(n) - 1;
            for (unsigned int o = 0; c > 0 && o < dn; ++o) {
                xs_.push_back(uint32_t(c));
                fxs_.push_back(fx);
                fx += step;
                c -= fx >> 16;
                fx &= 0xFFFF;
            }
        }
        extra_ = xs_.size() < dn;
        extraFx_ = fx;
        lo_ = xs_.empty() ? 0 : neg ? xs_.back() - 1 : 0;
        hi_ = xs_.empty() ? 0 : neg ? n : xs_.back() + 2;
        avx2_ = haveAvx2();
        wide_ = haveAvx512();
        perm_ = C == 4 && wide_ && permutable();
        // The permuting pass loads 2 kGroup pixels from a group's first:
        // room past the row's end (never read into an output).
        v_.resize((size_t(n) + (perm_ ? 2 * kGroup : 0)) * C);
        if (perm_) {
            const size_t groups = fxs_.size() / kGroup;
            base_.resize(groups);
            idx_.resize(groups * kGroup * 4);
            fw_.resize(groups * kGroup * 4);
            for (size_t g = 0; g < groups; ++g) {
                const uint32_t* x = xs_.data() + g * kGroup;
                base_[g] = neg ? x[kGroup - 1] - 1 : x[0];
                for (size_t j = 0; j < kGroup * 4; ++j) {
                    idx_[g * kGroup * 4 + j] = uint16_t((x[j / 4] - base_[g]) * 4 + j % 4);
                    fw_[g * kGroup * 4 + j] = uint16_t(fxs_[g * kGroup + j / 4]);
                }
            }
        } else if (avx2_ && C == 4) {
            // Per four outputs o..o+3: the weights of o, o+2, o+1, o+3, each
            // four times (the lane order of normalLine4).
            const size_t groups = fxs_.size() / 4;
            fw_.resize(groups * 16);
            const int lane[] = {0, 2, 1, 3};
            for (size_t g = 0; g < groups; ++g)
                for (int k = 0; k < 4; ++k)
                    std::fill_n(fw_.begin() + ptrdiff_t(g * 16 + size_t(k) * 4), 4, uint16_t(fxs_[g * 4 + size_t(lane[k])]));
        }
    }

    void line(const unsigned char* a, unsigned int stride, unsigned char* dst, uint32_t fy)
    {
        const unsigned char* b = a + stride;
        uint16_t* v = v_.data();
        // (a * (65536 - fy) + b * fy) >> 8 is at most 65280: 16 bits hold it.
        size_t i = size_t(lo_) * C;
        const size_t end = size_t(hi_) * C;
        const size_t count = xs_.size();
        size_t o = 0;
        if (avx2_ && C == 4 && !neg_) {
            // A forward walk in pieces of kPiece outputs, each after the
            // blends it reads: the blends stay in the first-level cache, and
            // the pieces' stores drain while the next piece is blended.
            for (; o + kPiece <= count; o += kPiece) {
                const size_t need = (size_t(xs_[o + kPiece - 1]) + 2) * C;
                if (i < need)
                    i = wide_ ? normalBlendRows512(a, b, v, i, std::min(end, need + 31), fy, stride)
                              : normalBlendRows(a, b, v, i, std::min(end, need + 15), fy, stride);
                if (i < need)
                    break; // the row's last few blends: below
                horizontal(v, o, kPiece, dst);
            }
        }
        if (wide_)
            i = normalBlendRows512(a, b, v, i, end, fy, stride);
        if (avx2_)
            i = normalBlendRows(a, b, v, i, end, fy, stride);
#ifdef __SSE2__
        const __m128i zero = _mm_setzero_si128(), f = _mm_set1_epi16(short(fy));
        for (; i + 8 <= end; i += 8) {
            const __m128i a16 = _mm_unpacklo_epi8(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(a + i)), zero);
            const __m128i b16 = _mm_unpacklo_epi8(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(b + i)), zero);
            const __m128i alo = _mm_mullo_epi16(a16, f), ahi = _mm_mulhi_epu16(a16, f);
            const __m128i blo = _mm_mullo_epi16(b16, f), bhi = _mm_mulhi_epu16(b16, f);
            // a << 16 + b * fy - a * fy, exact in 32 bits
            __m128i t0 = _mm_sub_epi32(_mm_add_epi32(_mm_unpacklo_epi16(zero, a16), _mm_unpacklo_epi16(blo, bhi)),
                                       _mm_unpacklo_epi16(alo, ahi));
            __m128i t1 = _mm_sub_epi32(_mm_add_epi32(_mm_unpackhi_epi16(zero, a16), _mm_unpackhi_epi16(blo, bhi)),
                                       _mm_unpackhi_epi16(alo, ahi));
            t0 = _mm_srai_epi32(_mm_slli_epi32(t0, 8), 16); // bits 8..23, kept by the signed pack
            t1 = _mm_srai_epi32(_mm_slli_epi32(t1, 8), 16);
            _mm_storeu_si128(reinterpret_cast<__m128i*>(v + i), _mm_packs_epi32(t0, t1));
        }
#endif
        const uint32_t gy = 65536 - fy;
        for (; i < end; ++i)
            v[i] = uint16_t((a[i] * gy + b[i] * fy) >> 8);

        if (avx2_ && C == 4)
            o += horizontal(v, o, count - o, dst);
#ifdef __SSE2__
        if (C == 4) {
            // One pixel per step: its blend and its neighbour's are eight
            // adjacent 16-bit values; (cur << 16) + next * f - cur * f is the
            // interpolation, exact in 32 bits.
            for (; o < count; ++o) {
                const uint16_t* p = v + (size_t(xs_[o]) - (neg_ ? 1 : 0)) * 4;
                const __m128i w = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
                const __m128i f = _mm_set1_epi16(short(fxs_[o]));
                const __m128i lo = _mm_mullo_epi16(w, f), hi = _mm_mulhi_epu16(w, f);
                const __m128i first = _mm_unpacklo_epi16(lo, hi), second = _mm_unpackhi_epi16(lo, hi);
                const __m128i cur = neg_ ? _mm_unpackhi_epi16(zero, w) : _mm_unpacklo_epi16(zero, w);
                __m128i r = neg_ ? _mm_sub_epi32(_mm_add_epi32(cur, first), second)
                                 : _mm_sub_epi32(_mm_add_epi32(cur, second), first);
                r = _mm_packs_epi32(_mm_srli_epi32(r, 24), zero);
                if (Swap)
                    r = _mm_shufflelo_epi16(r, _MM_SHUFFLE(3, 0, 1, 2));
                const int px = _mm_cvtsi128_si32(_mm_packus_epi16(r, zero));
                std::memcpy(dst + o * 4, &px, 4);
            }
        }
#endif
        const ptrdiff_t next = neg_ ? -C : C;
        for (; o < count; ++o) {
            const uint16_t* p = v + size_t(xs_[o]) * C;
            const uint32_t f = fxs_[o], g = 65536 - f;
            unsigned char* d = dst + o * C;
            for (int k = 0; k < C; ++k)
                putByte<C, Swap>(d, k, (uint32_t(p[k]) * g + uint32_t(p[k + next]) * f) >> 24);
        }
        if (extra_) {
            const size_t at = neg_ ? 0 : size_t(n_ - 1) * C;
            unsigned char* d = dst + count * C;
            for (int k = 0; k < C; ++k)
                putByte<C, Swap>(d, k, (b[at + k] * extraFx_ + a[at + k] * (65536 - extraFx_)) >> 16);
        }
    }

private:
    static constexpr size_t kGroup = 8;   // outputs per group of normalLinePerm
    static constexpr size_t kPiece = 128; // a multiple of 4 and 8, the groups of fw_

    // Every group of kGroup outputs reads within 2 kGroup pixels (true for
    // steps up to 2, every reduction to half size or more).
    bool permutable() const
    {
        for (size_t o = 0; o + kGroup <= xs_.size(); o += kGroup)
            if ((neg_ ? xs_[o] - xs_[o + kGroup - 1] + 1 : xs_[o + kGroup - 1] + 1 - xs_[o]) > 2 * kGroup - 1)
                return false;
        return true;
    }

    // The vector horizontal pass over n outputs from o (a multiple of kPiece
    // or 0); returns how many it wrote.
    size_t horizontal(const uint16_t* v, size_t o, size_t n, unsigned char* dst) const
    {
        if (perm_)
            return normalLinePerm(v, base_.data() + o / kGroup, idx_.data() + o * 4, fw_.data() + o * 4, n,
                                  dst + o * C, neg_, Swap);
        return normalLine4(v, xs_.data() + o, fw_.data() + o * 4, n, dst + o * C, neg_, Swap);
    }

    bool neg_;
    unsigned int n_;
    std::vector<uint32_t> xs_, fxs_;
    std::vector<uint16_t> v_, fw_; // fw_: the weights of normalLine4 or normalLinePerm, four per output
    std::vector<uint32_t> base_;    // normalLinePerm: each group's first pixel
    std::vector<uint16_t> idx_;     // and where its values lie from there
    bool avx2_;
    bool wide_; // AVX-512
    bool perm_; // the horizontal pass by normalLinePerm
    bool extra_;
    uint32_t extraFx_;
    uint32_t lo_, hi_;
};

// One axis clipped on the destination: where it starts and how many
// destination pixels and source cells it keeps.
struct Axis {
    int64_t o, d, start, count;
};

bool clipAxis(int64_t o, int64_t d, int64_t a, int64_t srcSize, int64_t destSize, bool mirrored, Axis& out)
{
    int64_t skip = 0, skipEnd = 0;
    if (o < 0) {
        skip = (LHFIX64::from_int(-o) / LHFIX64::raw(a)).v >> 26;
        d += o;
        o = 0;
    }
    if (o + d > destSize) {
        const int64_t excess = o + d - destSize;
        d = destSize - o;
        skipEnd = (LHFIX64::from_int(excess) / LHFIX64::raw(a)).v >> 26;
    }
    // A quotient that wrapped would name cells outside the source: nothing to draw.
    if (skip < 0 || skipEnd < 0)
        return false;
    out = {o, d, mirrored ? skipEnd : skip, srcSize - skip - skipEnd};
    return out.count >= 1 && out.d > 0;
}

template <int C, bool Swap>
struct Normal {
    static void mid(bool neg, const unsigned char* a, unsigned int n, unsigned int stride, unsigned char* d,
                    unsigned int dn, unsigned int step, unsigned int fy)
    {
        if (neg)
            midLine<C, Swap, true>(a, n, stride, d, dn, step, fy);
        else
            midLine<C, Swap, false>(a, n, stride, d, dn, step, fy);
    }
    static void last(bool neg, const unsigned char* a, unsigned int n, unsigned char* d, unsigned int dn, unsigned int step)
    {
        if (neg)
            lastLine<C, Swap, true>(a, n, d, dn, step);
        else
            lastLine<C, Swap, false>(a, n, d, dn, step);
    }

    static bool run(const CLHBmp& s, const LHFIX64& sx, const LHFIX64& sy, const _LHPOINT& origin, CLHBmp* dest)
    {
        if (!dest)
            return true;
        const int64_t ax = absRaw(sx), ay = absRaw(sy);
        const int64_t dw = std::max<int64_t>(1, scaledSize(ax, s.width));
        const int64_t dh = std::max<int64_t>(1, scaledSize(ay, s.height));
        // The truncating shift is part of the step.
        const unsigned int stepX = unsigned(LHFIX64::raw(ax).reciprocal().v >> 10);
        const unsigned int stepY = unsigned(LHFIX64::raw(ay).reciprocal().v >> 10);
        const bool negX = sx.v < 0, negY = sy.v < 0;
        Axis x, y;
        if (!clipAxis(origin.x, dw, ax, s.width, dest->width, negX, x) ||
            !clipAxis(origin.y, dh, ay, s.height, dest->height, negY, y))
            return true;

        const unsigned int n = unsigned(x.count);
        const unsigned int dn = unsigned(x.d);
        const unsigned int stride = unsigned(s.stride);
        auto srcRow = [&](int64_t r) { return rowOf(s, y.start + r) + x.start * C; };
        // A mirrored vertical axis writes from the destination's last row upward.
        auto dstRow = [&](int64_t k) { return rowOf(*dest, negY ? y.o + y.d - 1 - k : y.o + k) + x.o * C; };

        if (y.d == 1) {
            last(negX, srcRow(0), n, dstRow(0), dn, stepX);
            return true;
        }
        if (y.count == 1) {
            last(negX, srcRow(0), n, dstRow(0), dn, stepX);
            for (int64_t k = 1; k < y.d; ++k)
                std::memmove(dstRow(k), dstRow(k - 1), size_t(dn) * C);
            return true;
        }
        // Lines of one pixel or from one column are plain fills.
        std::unique_ptr<MidPlan<C, Swap>> plan;
        if (n > 1 && dn > 1)
            plan.reset(new MidPlan<C, Swap>(negX, n, dn, stepX));
        auto midAt = [&](int64_t r, int64_t k, uint32_t fy) {
            if (plan)
                plan->line(srcRow(r), stride, dstRow(k), fy);
            else
                mid(negX, srcRow(r), n, stride, dstRow(k), dn, stepX, fy);
        };
        midAt(0, 0, 0);
        int64_t count = 1;
        uint64_t row = stepY >> 16;
        uint32_t fy = stepY & 0xFFFF;
        const uint64_t lastRow = uint64_t(y.count - 1);
        while (count < y.d && row < lastRow) {
            midAt(int64_t(row), count++, fy);
            fy += stepY;
            row += fy >> 16;
            fy &= 0xFFFF;
        }
        // One last line, while the clipped destination has room for it.
        if (count < y.d)
            last(negX, srcRow(int64_t(std::min(row, lastRow))), n, dstRow(count), dn, stepX);
        return true;
    }
};

} // namespace

void CLHBmp8::pro_scan_normal_line_last_pos(const unsigned char* src, unsigned int srcCount, unsigned int,
                                            unsigned char* dst, unsigned int dstCount, unsigned int step)
{
    lastLine<1, false, false>(src, srcCount, dst, dstCount, step);
}
void CLHBmp8::pro_scan_normal_line_last_neg(const unsigned char* src, unsigned int srcCount, unsigned int,
                                            unsigned char* dst, unsigned int dstCount, unsigned int step)
{
    lastLine<1, false, true>(src, srcCount, dst, dstCount, step);
}
void CLHBmp32::pro_scan_normal_line_mid_pos(const unsigned char* src, unsigned int srcCount, unsigned int srcStride,
                                            unsigned char* dst, unsigned int dstCount, unsigned int step, unsigned int fraction)
{
    midLine<4, false, false>(src, srcCount, srcStride, dst, dstCount, step, fraction);
}
void CLHBmp32::pro_scan_normal_line_mid_neg(const unsigned char* src, unsigned int srcCount, unsigned int srcStride,
                                            unsigned char* dst, unsigned int dstCount, unsigned int step, unsigned int fraction)
{
    midLine<4, false, true>(src, srcCount, srcStride, dst, dstCount, step, fraction);
}
void CLHBmp32::pro_scan_normal_line_last_pos(const unsigned char* src, unsigned int srcCount, unsigned int,
                                             unsigned char* dst, unsigned int dstCount, unsigned int step)
{
    lastLine<4, false, false>(src, srcCount, dst, dstCount, step);
}
void CLHBmp32::pro_scan_normal_line_last_neg(const unsigned char* src, unsigned int srcCount, unsigned int,
                                             unsigned char* dst, unsigned int dstCount, unsigned int step)
{
    lastLine<4, false, true>(src, srcCount, dst, dstCount, step);
}
void CLHBmp32::pro_iscan_normal_line_mid_pos(const unsigned char* src, unsigned int srcCount, unsigned int srcStride,
                                             unsigned char* dst, unsigned int dstCount, unsigned int step, unsigned int fraction)
{
    midLine<4, true, false>(src, srcCount, srcStride, dst, dstCount, step, fraction);
}
void CLHBmp32::pro_iscan_normal_line_mid_neg(const unsigned char* src, unsigned int srcCount, unsigned int srcStride,
                                             unsigned char* dst, unsigned int dstCount, unsigned int step, unsigned int fraction)
{
    midLine<4, true, true>(src, srcCount, srcStride, dst, dstCount, step, fraction);
}
void CLHBmp32::pro_iscan_normal_line_last_pos(const unsigned char* src, unsigned int srcCount, unsigned int,
                                              unsigned char* dst, unsigned int dstCount, unsigned int step)
{
    lastLine<4, true, false>(src, srcCount, dst, dstCount, step);
}
void CLHBmp32::pro_iscan_normal_line_last_neg(const unsigned char* src, unsigned int srcCount, unsigned int,
                                              unsigned char* dst, unsigned int dstCount, unsigned int step)
{
    lastLine<4, true, true>(src, srcCount, dst, dstCount, step);
}

bool CLHBmp8::bmp_scale_normal_to(const LHFIX64& sx, const LHFIX64& sy, const _LHPOINT& origin, CLHBmp* dest) const
{
    return Normal<1, false>::run(*this, sx, sy, origin, dest);
}
bool CLHBmp32::bmp_scale_normal_to(const LHFIX64& sx, const LHFIX64& sy, const _LHPOINT& origin, CLHBmp* dest) const
{
    return Normal<4, false>::run(*this, sx, sy, origin, dest);
}
bool CLHBmp32::bmp_iscale_normal_to(const LHFIX64& sx, const LHFIX64& sy, const _LHPOINT& origin, CLHBmp* dest) const
{
    return Normal<4, true>::run(*this, sx, sy, origin, dest);
}
