// Nearest-sample scaling. Its origin is given in scaled units: it is divided
// by the scale before use, unlike the other two qualities.
#include <algorithm>
#include <cstdlib>
#include <unistd.h>
#include <vector>

#include "LHBmpPixels.h"
#include "LHBmpSimd.h"

using namespace lhbmp;

namespace {

struct Walk {
    int64_t start;   // first source index
    int64_t dir;     // +1 forward, -1 backward
    int64_t limit;   // forward: index where the walk leaves the source
    int64_t step;    // |step| in 16.16
};

// Source index of each destination index along one axis; shorter than
// count where the walk leaves the source.
void indices(const Walk& w, int64_t srcSize, int64_t count, std::vector<int32_t>& out)
{
    out.clear();
    int64_t pos = w.start, frac = 0;
    for (int64_t i = 0; i < count; ++i) {
        if (w.dir > 0 ? (pos >= w.limit || pos < 0) : (pos < 0 || pos >= srcSize))
            break;
        out.push_back(int32_t(pos));
        frac += w.step;
        pos += w.dir * (frac >> 16);
        frac &= 0xFFFF;
    }
}

// Half the last-level cache, at least 1 MiB; SP_BITMAP_STREAM_FROM in the
// environment (bytes) sets it instead (the tests run both store paths).
size_t streamFrom()
{
    static const size_t bytes = [] {
        if (const char* e = std::getenv("SP_BITMAP_STREAM_FROM"))
            return size_t(std::strtoull(e, nullptr, 10));
        long l3 = sysconf(_SC_LEVEL3_CACHE_SIZE);
        if (l3 <= 0)
            l3 = sysconf(_SC_LEVEL2_CACHE_SIZE);
        return std::max<size_t>(size_t(1) << 20, l3 > 0 ? size_t(l3) / 2 : 0);
    }();
    return bytes;
}

template <int C, bool Swap>
bool scaleFast(const CLHBmp& s, const LHFIX64& sx, const LHFIX64& sy, const _LHPOINT& origin, CLHBmp* dest)
{
    if (!dest)
        return true;
    const int64_t ax = absRaw(sx), ay = absRaw(sy);
    int64_t dw = scaledSize(ax, s.width), dh = scaledSize(ay, s.height);
    int64_t ox = (LHFIX64::from_int(origin.x) / LHFIX64::raw(ax)).round_int();
    int64_t oy = (LHFIX64::from_int(origin.y) / LHFIX64::raw(ay)).round_int();
    const LHFIX64 k65536 = LHFIX64::from_int(65536);
    int64_t stepX = (k65536 / sx).round_int(), stepY = (k65536 / sy).round_int();
    stepX = stepX < 0 ? -stepX : stepX;
    stepY = stepY < 0 ? -stepY : stepY;

    int64_t c0 = 0, r0 = 0, limX = s.width, limY = s.height;
    if (ox < 0) {
        c0 = -(LHFIX64::from_int(ox) / LHFIX64::raw(ax)).round_int();
        dw += ox;
        ox = 0;
        if (dw < 1)
            return true;
        limX = s.width + c0;
    }
    if (oy < 0) {
        r0 = -(LHFIX64::from_int(oy) / LHFIX64::raw(ay)).round_int();
        dh += oy;
        oy = 0;
        if (dh < 1)
            return true;
        limY = s.height + r0;
    }
    if (ox + dw > dest->width) {
        dw = dest->width - ox;
        if (dw < 1)
            return true;
    }
    if (oy + dh > dest->height) {
        dh = dest->height - oy;
        if (dh < 1)
            return true;
    }
    // The rule's forward limit, source size plus the clip amount, would run
    // past the end of a source row; the walk stops at the row's end instead.
    limX = std::min<int64_t>(limX, s.width);
    limY = std::min<int64_t>(limY, s.height);

    // A zero or negative raw scale walks backward from the last index; the
    // near-side clip amount is not applied to it, so a clipped mirror shifts.
    const Walk wx = sx.v < 1 ? Walk{s.width - 1, -1, 0, stepX} : Walk{c0, 1, limX, stepX};
    const Walk wy = sy.v < 1 ? Walk{s.height - 1, -1, 0, stepY} : Walk{r0, 1, limY, stepY};
    std::vector<int32_t> cols, rows;
    indices(wx, s.width, dw, cols);
    indices(wy, s.height, dh, rows);

    // With source and destination apart, a row from the same source row as
    // the one above is a copy of it, and pixels may be read ahead of writes.
    const size_t rowBytes = cols.size() * C;
    const bool apart = !overlaps(s, *dest);
    // A destination past half the last-level cache would not stay in it
    // anyway: its rows are written around it, except a row that the next one
    // copies. (Below that, writing around the cache only makes the next
    // reader of the picture, and a busy machine's other work, wait on memory.)
    const bool large = rows.size() * rowBytes > streamFrom();
    for (size_t j = 0; j < rows.size(); ++j) {
        const unsigned char* src = rowOf(s, rows[j]);
        unsigned char* dst = rowOf(*dest, oy + int64_t(j)) + ox * C;
        const size_t n = cols.size();
        if (apart && j > 0 && rows[j] == rows[j - 1]) {
            std::memmove(dst, dst - dest->stride, rowBytes);
        } else if (C == 4 && !Swap && apart) {
            gatherRow32(src, s.width, cols.data(), n, dst, large && (j + 1 == rows.size() || rows[j + 1] != rows[j]));
        } else if (C == 4 && !Swap) {
            uint32_t* d32 = reinterpret_cast<uint32_t*>(dst);
            for (size_t i = 0; i < n; ++i) {
                uint32_t v;
                std::memcpy(&v, src + size_t(cols[i]) * 4, 4);
                std::memcpy(d32 + i, &v, 4);
            }
        } else {
            for (size_t i = 0; i < n; ++i)
                putPixel<C, Swap>(dst + i * C, src + size_t(cols[i]) * C);
        }
    }
    return true;
}

} // namespace

bool CLHBmp8::bmp_scale_fast_to(const LHFIX64& sx, const LHFIX64& sy, const _LHPOINT& origin, CLHBmp* dest) const
{
    return scaleFast<1, false>(*this, sx, sy, origin, dest);
}

bool CLHBmp32::bmp_scale_fast_to(const LHFIX64& sx, const LHFIX64& sy, const _LHPOINT& origin, CLHBmp* dest) const
{
    return scaleFast<4, false>(*this, sx, sy, origin, dest);
}

bool CLHBmp32::bmp_iscale_fast_to(const LHFIX64& sx, const LHFIX64& sy, const _LHPOINT& origin, CLHBmp* dest) const
{
    return scaleFast<4, true>(*this, sx, sy, origin, dest);
}
