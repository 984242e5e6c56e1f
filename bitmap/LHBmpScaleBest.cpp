// Area-average scaling: a horizontal scan adds each source row into a line of
// 32-bit accumulators with 12-bit fractions (4096 is one whole), and a
// vertical pass combines the lines into output rows. Enlargement takes area
// shares rather than interpolating pixel centres.
#include <algorithm>
#include <memory>
#include <vector>
#include <utility>

#include "base/LHHeap.h"
#include "LHBmpPixels.h"
#include "LHBmpSimd.h"

using namespace lhbmp;

namespace {

template <int C>
inline void addPixel(unsigned int* cell, const unsigned char* p)
{
    for (int k = 0; k < C; ++k)
        cell[k] += p[k];
}

template <int C, bool Neg>
void shrink(const unsigned char* src, int srcCount, unsigned int* line, int dstCount, const LHFIX64& scale)
{
    const int64_t raw = Neg ? int64_t(0 - uint64_t(scale.v)) : scale.v;
    const unsigned int k = unsigned(raw >> 14); // share of an output that one source pixel makes up
    unsigned int pos = 0, sum[C] = {};
    int n = 0;
    for (int i = 0; i < srcCount && n < dstCount; ++i) {
        const unsigned char* p = src + size_t(i) * C;
        pos += k;
        if (pos <= 4095) {
            for (int c = 0; c < C; ++c)
                sum[c] += p[c];
            continue;
        }
        pos -= 4096;
        unsigned int* cell = line + size_t(Neg ? dstCount - 1 - n : n) * C;
        ++n;
        for (int c = 0; c < C; ++c) {
            cell[c] += ((k - pos) * p[c] + k * sum[c]) >> 12;
            sum[c] = k ? p[c] * pos / k : 0; // the share of p in the next output
        }
    }
    // Cells left over take the last source pixel; filling from the end, the
    // 8-bit form adds it to cell 0 alone.
    const unsigned char* last = src + size_t(srcCount - 1) * C;
    if (!Neg || C == 4) {
        for (; n < dstCount; ++n)
            addPixel<C>(line + size_t(Neg ? dstCount - 1 - n : n) * C, last);
    } else if (n < dstCount) {
        addPixel<C>(line, last);
    }
}

template <int C, bool Neg>
void enlarge(const unsigned char* src, int srcCount, unsigned int* line, int dstCount, const LHFIX64& scale)
{
    if (srcCount == 1) {
        for (int o = 0; o < dstCount; ++o)
            addPixel<C>(line + size_t(o) * C, src);
        return;
    }
    const LHFIX64 one = LHFIX64::raw(Neg ? -LHFIX64::kOne : LHFIX64::kOne);
    const int64_t step = (one / scale).v >> 14;
    int64_t f = 0;
    int c = 0, n = 0;
    // The sample pair runs forward over the source in both directions.
    for (; n < dstCount && c < srcCount - 1; ++n) {
        const unsigned char* p = src + size_t(c) * C;
        unsigned int* cell = line + size_t(Neg ? dstCount - 1 - n : n) * C;
        for (int k = 0; k < C; ++k)
            cell[k] += unsigned(((4096 - f) * p[k] + f * p[k + C]) >> 12);
        f += step;
        if (f > 4095) {
            f -= 4096;
            ++c;
        }
    }
    const unsigned char* last = src + size_t(srcCount - 1) * C;
    if (!Neg || C == 4) {
        for (; n < dstCount; ++n)
            addPixel<C>(line + size_t(Neg ? dstCount - 1 - n : n) * C, last);
    } else if (n < dstCount) {
        addPixel<C>(line, last - C); // the 8-bit form takes the last-but-one pixel
    }
}

template <int C>
using ScanFn = void (*)(const unsigned char*, int, unsigned int*, int, const LHFIX64&);

template <int C>
ScanFn<C> scanFor(const LHFIX64& sx)
{
    if (sx.v > LHFIX64::kOne)
        return enlarge<C, false>;
    if (sx.v < -LHFIX64::kOne)
        return enlarge<C, true>;
    if (sx.v <= 0)
        return shrink<C, true>;
    return shrink<C, false>;
}

// Exact n / k for the k of one call (1 to 4096): a multiply and a shift for
// numerators below 2^28, where ceil(2^40 / k) errs by less than 1 / k; a
// plain division above.
class Divider {
public:
    explicit Divider(unsigned int k) : k_(k), m_(k ? ((uint64_t(1) << 40) + k - 1) / k : 0) {}
    unsigned int operator()(unsigned int n) const
    {
        if (!k_)
            return 0;
        return n < (1u << 28) ? unsigned((uint64_t(n) * m_) >> 40) : n / k_;
    }

private:
    unsigned int k_;
    uint64_t m_;
};

// The reduction scan of one call, worked out once: every row closes its
// outputs at the same source pixels with the same remainders, so a row only
// sums runs and applies the stored weights. Same values as shrink().
template <int C, bool Neg>
class ShrinkPlan {
public:
    ShrinkPlan(int srcCount, int dstCount, const LHFIX64& scale)
        : k_(unsigned((Neg ? int64_t(0 - uint64_t(scale.v)) : scale.v) >> 14)), div_(k_), src_(srcCount), dst_(dstCount)
    {
        unsigned int pos = 0;
        int begin = 0;
        for (int i = 0; i < srcCount && int(close_.size()) < dstCount; ++i) {
            pos += k_;
            if (pos <= 4095)
                continue;
            pos -= 4096;
            begin_.push_back(begin);
            close_.push_back(i);
            pos_.push_back(pos);
            kp_.push_back(k_ - pos);
            // pos < k <= 4096, q <= 255: (q * ceil(pos * 2^20 / k)) >> 20 is
            // floor(q * pos / k), the rounding adding less than 255 / 2^20 < 1 / k.
            carryMul_.push_back(k_ ? uint32_t(((uint64_t(pos) << 20) + k_ - 1) / k_) : 0);
            begin = i + 1;
        }
        // Outputs from 1 on that all take the same number of pixels.
        stride_ = close_.size() > 1 ? close_[1] - close_[0] : 0;
        for (size_t o = 2; o < close_.size() && stride_; ++o)
            if (close_[o] - close_[o - 1] != stride_)
                stride_ = 0;
        simd_ = haveSse41() && k_ > 0;
        if (simd_ && haveAvx2() && C == 4 && (stride_ == 2 || stride_ == 3)) {
            for (size_t o = 0; o < close_.size(); ++o) {
                const uint32_t m = o ? carryMul_[o - 1] : 0;
                for (int j = 0; j < 4; ++j) {
                    wk_.push_back(uint16_t(kp_[o]));
                    wk_.push_back(uint16_t(k_));
                }
                mh_.insert(mh_.end(), 8, uint16_t(m >> 16));
                ml_.insert(ml_.end(), 8, uint16_t(m & 0xFFFF));
            }
        }
    }

    void scan(const unsigned char* src, unsigned int* line) const
    {
        const size_t outs = close_.size();
        if (simd_ && C == 4) {
            size_t o = 0;
            if (!wk_.empty() && outs > 1) {
                shrinkScan4(src, line, dst_, Neg, begin_.data(), close_.data(), kp_.data(), carryMul_.data(), 0, 1, k_);
                o = shrinkScan4Stride(src, src_, line, dst_, Neg, begin_.data(), wk_.data(), mh_.data(), ml_.data(), 1,
                                      outs, stride_);
            }
            shrinkScan4(src, line, dst_, Neg, begin_.data(), close_.data(), kp_.data(), carryMul_.data(), o, outs, k_);
            tail(src, line);
            return;
        }
        size_t o = 0;
        if (simd_ && C == 1 && stride_ && outs > 1) {
            scanOutputs(src, line, 0, 1);
            o = shrinkScan1Stride(src, src_, line, dst_, Neg, begin_.data(), close_.data(), kp_.data(),
                                  carryMul_.data(), 1, outs, k_, stride_);
        }
        scanOutputs(src, line, o, outs);
        tail(src, line);
    }

private:
    // Outputs from..to-1; the carry into an output depends only on the
    // pixel that closed the one before.
    void scanOutputs(const unsigned char* src, unsigned int* line, size_t from, size_t to) const
    {
        unsigned int carry[C] = {};
        if (from > 0)
            for (int c = 0; c < C; ++c)
                carry[c] = div_(src[size_t(close_[from - 1]) * C + c] * pos_[from - 1]);
        for (size_t o = from; o < to; ++o) {
            unsigned int* cell = line + size_t(Neg ? dst_ - 1 - int(o) : int(o)) * C;
            const unsigned char* q = src + size_t(close_[o]) * C;
            const unsigned int pos = pos_[o];
            for (int c = 0; c < C; ++c) {
                unsigned int sum = carry[c];
                for (int i = begin_[o]; i < close_[o]; ++i)
                    sum += src[size_t(i) * C + c];
                cell[c] += ((k_ - pos) * q[c] + k_ * sum) >> 12;
                carry[c] = div_(q[c] * pos);
            }
        }
    }

    void tail(const unsigned char* src, unsigned int* line) const
    {
        const unsigned char* last = src + size_t(src_ - 1) * C;
        int n = int(close_.size());
        if (!Neg || C == 4) {
            for (; n < dst_; ++n)
                for (int c = 0; c < C; ++c)
                    line[size_t(Neg ? dst_ - 1 - n : n) * C + c] += last[c];
        } else if (n < dst_) {
            line[0] += last[0];
        }
    }

private:
    unsigned int k_;
    Divider div_;
    int src_, dst_;
    std::vector<int> begin_, close_;
    std::vector<unsigned int> pos_;
    std::vector<uint32_t> kp_, carryMul_;
    std::vector<uint16_t> wk_, mh_, ml_; // per output, laid out for shrinkScan4Stride
    int stride_;
    bool simd_;
};

// Clips one axis. A forward axis drops source cells at its start for a clip
// on the near side and only shortens the destination on the far side, where
// the scan stops by itself; a mirrored axis drops source cells at its start
// for a clip on the far side and only shortens the destination on the near one.
bool clipAxis(int64_t o, int64_t a, int size, int destSize, bool mirrored, int64_t& outO, int64_t& outD,
              int64_t& start, int64_t& count)
{
    int64_t d = std::max<int64_t>(1, scaledSize(a, size));
    int64_t skip = 0, skipEnd = 0;
    if (o < 0) {
        skip = (LHFIX64::from_int(-o) / LHFIX64::raw(a)).floor_int();
        d += o;
        o = 0;
    }
    if (o + d > destSize) {
        skipEnd = (LHFIX64::from_int(o + d - destSize) / LHFIX64::raw(a)).floor_int();
        d = destSize - o;
    }
    if (skip < 0 || skipEnd < 0) // a wrapped quotient: nothing sensible to draw
        return false;
    start = mirrored ? skipEnd : skip;
    count = size - start;
    outO = o;
    outD = d;
    return count >= 1 && d >= 1;
}

enum class VertMode { ShrinkPos, ShrinkNeg, EnlargePos, EnlargeNeg };

// Fast: the scaler's own path, with the reduction scan planned once per call
// and divisions by k as multiplications; the named vertical helpers take the
// plain path. Both give the same bytes.
template <int C, bool Swap, bool Fast = false>
void vertPass(const CLHBmp& s, const LHFIX64& sx, const LHFIX64& sy, const _LHPOINT& origin, CLHBmp* dest, VertMode mode)
{
    if (!dest)
        return;
    const bool mirroredY = mode == VertMode::ShrinkNeg || mode == VertMode::EnlargeNeg;
    int64_t ox, dw, c0, cn, oy, dh, r0, rn;
    if (!clipAxis(origin.x, absRaw(sx), s.width, dest->width, sx.v <= 0, ox, dw, c0, cn) ||
        !clipAxis(origin.y, absRaw(sy), s.height, dest->height, mirroredY, oy, dh, r0, rn))
        return;
    const size_t cells = size_t(dw) * C;
    unsigned int* a = static_cast<unsigned int*>(LHAlloc(unsigned(cells * 2 * sizeof(unsigned int))));
    if (!a)
        return; // no work memory: nothing drawn, still a success
    std::memset(a, 0, cells * 2 * sizeof(unsigned int));
    unsigned int* const mem = a;
    unsigned int* b = a + cells;
    const ScanFn<C> plain = scanFor<C>(sx);
    const int n = int(cn), dn = int(dw);
    std::unique_ptr<ShrinkPlan<C, false>> planPos;
    std::unique_ptr<ShrinkPlan<C, true>> planNeg;
    if (Fast && plain == shrink<C, false>)
        planPos.reset(new ShrinkPlan<C, false>(n, dn, sx));
    else if (Fast && plain == shrink<C, true>)
        planNeg.reset(new ShrinkPlan<C, true>(n, dn, sx));
    auto scan = [&](const unsigned char* row, int count, unsigned int* into, int cells, const LHFIX64& scale) {
        if (planPos)
            planPos->scan(row, into);
        else if (planNeg)
            planNeg->scan(row, into);
        else
            plain(row, count, into, cells, scale);
    };
    auto srcRow = [&](int64_t r) { return rowOf(s, r0 + r) + c0 * C; };
    // Mirrored: output rows go from the bottom row upward.
    auto dstRow = [&](int64_t k) { return rowOf(*dest, mirroredY ? oy + dh - 1 - k : oy + k) + ox * C; };
    auto emit = [&](unsigned char* d, const unsigned int* v) {
        for (size_t i = 0; i < cells; i += C)
            for (int k = 0; k < C; ++k)
                putByte<C, Swap>(d + i, k, v[i + k]); // low bytes
    };

    int64_t out = 0;
    if (mode == VertMode::ShrinkPos || mode == VertMode::ShrinkNeg) {
        const int64_t raw = mode == VertMode::ShrinkPos ? sy.v : int64_t(0 - uint64_t(sy.v));
        const unsigned int k = unsigned(raw >> 14);
        const Divider div(k);
        unsigned int pos = 0;
        unsigned int* acc = a;
        unsigned int* line = b;
        for (int64_t r = 0; r < rn && out < dh; ++r) {
            pos += k;
            if (pos <= 4095) {
                scan(srcRow(r), n, acc, dn, sx);
                continue;
            }
            const unsigned int over = pos - 4096, part = k - over;
            scan(srcRow(r), n, line, dn, sx);
            unsigned char* d = dstRow(out++);
            size_t done = 0;
            // Each cell of the closing row holds one weighted average of
            // bytes, at most 255: below the 1024 the vector division needs.
            if (Fast && haveSse41() && k)
                done = shrinkClose(acc, line, d, cells, uint32_t(((uint64_t(part) << 22) + k - 1) / k),
                                   uint32_t(((uint64_t(over) << 22) + k - 1) / k), k, Swap);
            for (size_t i = done; i < cells; i += C) {
                for (int c = 0; c < C; ++c) {
                    unsigned int& ac = acc[i + c];
                    ac += Fast ? div(part * line[i + c]) : k ? part * line[i + c] / k : 0;
                    putByte<C, Swap>(d + i, c, (ac * k) >> 12);
                    ac = Fast ? div(over * line[i + c]) : k ? over * line[i + c] / k : 0;
                    line[i + c] = 0;
                }
            }
            pos = over;
        }
        if (out < dh) {
            if (dh == 1)
                emit(dstRow(0), acc); // unscaled: the raw sums' low bytes
            else if (out >= 1)        // nothing to repeat when no row came out
                std::memmove(dstRow(out), dstRow(out - 1), cells);
        }
    } else {
        const LHFIX64 one = LHFIX64::raw(mode == VertMode::EnlargePos ? LHFIX64::kOne : -LHFIX64::kOne);
        const unsigned int k = unsigned((one / sy).v >> 14);
        scan(srcRow(0), n, a, dn, sx);
        if (rn == 1) {
            for (; out < dh; ++out)
                emit(dstRow(out), a);
        } else {
            // pos: where the output row starts inside source row a. At exactly
            // 4096 the blend still weighs a alone.
            unsigned int pos = 0;
            int64_t consumed = 0;
            for (; out < dh && consumed < rn - 1; ++out) {
                unsigned char* d = dstRow(out);
                if (pos < 4096) {
                    emit(d, a);
                } else {
                    const unsigned int over = pos - 4096, rem = k - over;
                    scan(srcRow(++consumed), n, b, dn, sx);
                    for (size_t i = 0; i < cells; i += C) {
                        for (int c = 0; c < C; ++c) {
                            putByte<C, Swap>(d + i, c, k ? (over * b[i + c] + rem * a[i + c]) / k : 0);
                            a[i + c] = 0;
                        }
                    }
                    std::swap(a, b);
                    pos = over;
                }
                pos += k;
            }
            if (out < dh)
                std::memmove(dstRow(out), dstRow(out - 1), cells);
        }
    }
    LHFree(mem);
}

template <int C, bool Swap>
bool best(const CLHBmp& s, const LHFIX64& sx, const LHFIX64& sy, const _LHPOINT& origin, CLHBmp* dest)
{
    if (!dest || dest->depth != s.depth)
        return false;
    VertMode mode = VertMode::ShrinkPos;
    if (sy.v > LHFIX64::kOne)
        mode = VertMode::EnlargePos;
    else if (sy.v < -LHFIX64::kOne)
        mode = VertMode::EnlargeNeg;
    else if (sy.v <= 0)
        mode = VertMode::ShrinkNeg;
    vertPass<C, Swap, true>(s, sx, sy, origin, dest, mode);
    return true;
}

} // namespace

#define LH_SCAN(CLS, C)                                                                                            \
    void CLS::pro_scan_shrink_pos(unsigned char* src, int srcCount, unsigned int* line, int dstCount,              \
                                  const LHFIX64& scale)                                                           \
    {                                                                                                              \
        shrink<C, false>(src, srcCount, line, dstCount, scale);                                                    \
    }                                                                                                              \
    void CLS::pro_scan_shrink_neg(unsigned char* src, int srcCount, unsigned int* line, int dstCount,              \
                                  const LHFIX64& scale)                                                           \
    {                                                                                                              \
        shrink<C, true>(src, srcCount, line, dstCount, scale);                                                     \
    }                                                                                                              \
    void CLS::pro_scan_enlarge_pos(unsigned char* src, int srcCount, unsigned int* line, int dstCount,             \
                                   const LHFIX64& scale)                                                          \
    {                                                                                                              \
        enlarge<C, false>(src, srcCount, line, dstCount, scale);                                                   \
    }                                                                                                              \
    void CLS::pro_scan_enlarge_neg(unsigned char* src, int srcCount, unsigned int* line, int dstCount,             \
                                   const LHFIX64& scale)                                                          \
    {                                                                                                              \
        enlarge<C, true>(src, srcCount, line, dstCount, scale);                                                    \
    }
LH_SCAN(CLHBmp8, 1)
LH_SCAN(CLHBmp32, 4)

#define LH_VERT(CLS, NAME, C, SWAP, MODE)                                                                          \
    void CLS::NAME(const LHFIX64& sx, const LHFIX64& sy, const _LHPOINT& origin, CLHBmp* dest) const               \
    {                                                                                                              \
        vertPass<C, SWAP>(*this, sx, sy, origin, dest, VertMode::MODE);                                            \
    }
LH_VERT(CLHBmp8, pro_vert_shrink_pos, 1, false, ShrinkPos)
LH_VERT(CLHBmp8, pro_vert_shrink_neg, 1, false, ShrinkNeg)
LH_VERT(CLHBmp8, pro_vert_enlarge_pos, 1, false, EnlargePos)
LH_VERT(CLHBmp8, pro_vert_enlarge_neg, 1, false, EnlargeNeg)
LH_VERT(CLHBmp32, pro_vert_shrink_pos, 4, false, ShrinkPos)
LH_VERT(CLHBmp32, pro_vert_shrink_neg, 4, false, ShrinkNeg)
LH_VERT(CLHBmp32, pro_vert_enlarge_pos, 4, false, EnlargePos)
LH_VERT(CLHBmp32, pro_vert_enlarge_neg, 4, false, EnlargeNeg)
LH_VERT(CLHBmp32, pro_ivert_shrink_pos, 4, true, ShrinkPos)
LH_VERT(CLHBmp32, pro_ivert_shrink_neg, 4, true, ShrinkNeg)
LH_VERT(CLHBmp32, pro_ivert_enlarge_pos, 4, true, EnlargePos)
LH_VERT(CLHBmp32, pro_ivert_enlarge_neg, 4, true, EnlargeNeg)

bool CLHBmp8::bmp_scale_best_to(const LHFIX64& sx, const LHFIX64& sy, const _LHPOINT& origin, CLHBmp* dest) const
{
    return best<1, false>(*this, sx, sy, origin, dest);
}
bool CLHBmp32::bmp_scale_best_to(const LHFIX64& sx, const LHFIX64& sy, const _LHPOINT& origin, CLHBmp* dest) const
{
    return best<4, false>(*this, sx, sy, origin, dest);
}
bool CLHBmp32::bmp_iscale_best_to(const LHFIX64& sx, const LHFIX64& sy, const _LHPOINT& origin, CLHBmp* dest) const
{
    return best<4, true>(*this, sx, sy, origin, dest);
}
