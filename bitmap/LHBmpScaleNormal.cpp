// Bilinear scaling. Steps are 16.16; a line stops interpolating at the last
// source column and writes one more pixel, and the rows stop likewise, so an
// enlargement leaves the destination's last rows and columns unwritten.
#include <algorithm>

#include "LHBmpPixels.h"

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
        mid(negX, srcRow(0), n, stride, dstRow(0), dn, stepX, 0);
        int64_t count = 1;
        uint64_t row = stepY >> 16;
        uint32_t fy = stepY & 0xFFFF;
        const uint64_t lastRow = uint64_t(y.count - 1);
        while (count < y.d && row < lastRow) {
            mid(negX, srcRow(int64_t(row)), n, stride, dstRow(count++), dn, stepX, fy);
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
