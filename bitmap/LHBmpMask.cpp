// Masks and clipping: mask_rect, mask_alpha and bmp_clip_to. Masks only take
// away: a pixel is lowered to a coverage (its byte, or byte 3 of a 32-bit
// pixel, drops to it if higher) or cleared (every byte 0).
#include <algorithm>

#include "LHBmpPixels.h"

using namespace lhbmp;

namespace {

template <int C>
struct Masker {
    CLHBmp& b;

    int64_t total() const { return int64_t(b.stride) * b.height; }
    unsigned char* at(int64_t x, int64_t y) const { return rowOf(b, y) + x * C; }
    // Clears the bytes [from, to) of the whole buffer, in memory order.
    void clear(int64_t from, int64_t to) const
    {
        to = std::min(to, total());
        if (from < to)
            std::memset(b.bits + from, 0, size_t(to - from));
    }
    int64_t offset(int64_t x, int64_t y) const { return y * b.stride + x * C; }
    void lower(int64_t x, int64_t y, int64_t c) const
    {
        // A bitmap without columns still reaches the one-column form with
        // column 0: there is no pixel to lower.
        if (x < 0 || x >= b.width || y < 0 || y >= b.height)
            return;
        unsigned char& v = at(x, y)[C - 1];
        if (c < v)
            v = static_cast<unsigned char>(c);
    }
    void clearRow(int64_t y) const { clear(offset(0, y), offset(0, y + 1)); }
    // Clears a row left of column l and right of column r, padding included.
    void clearOutside(int64_t y, int64_t l, int64_t r) const
    {
        clear(offset(0, y), offset(l, y));
        clear(offset(r + 1, y), offset(0, y + 1));
    }
};

template <int C>
bool maskRect(CLHBmp& bmp, const _LHRECTF& rect, const _LHPOINT& origin)
{
    const Masker<C> m{bmp};
    const int w = bmp.width, h = bmp.height;
    const LHFIX64 ox = LHFIX64::from_int(origin.x), oy = LHFIX64::from_int(origin.y);
    const LHFIX64 one = LHFIX64::raw(LHFIX64::kOne);
    const LHFIX64 L = rect.left, T = rect.top, R = rect.right, B = rect.bottom;
    if (L < ox + one && T < oy + one && R > ox + LHFIX64::from_int(w - 1) && B > oy + LHFIX64::from_int(h - 1))
        return true; // covers every pixel
    if (L >= R || T >= B) {
        m.clear(0, m.total());
        return true;
    }
    int64_t il = (L - ox).floor_int(), it = (T - oy).floor_int();
    int64_t ir = (R - ox).floor_int(), ib = (B - oy).floor_int();
    if (il >= w || it >= h || ir < 0 || ib < 0) {
        m.clear(0, m.total());
        return true;
    }
    // Edge coverages 0..255 from the fractions of the cells the edges cut.
    auto frac255 = [](LHFIX64 f) { return (int64_t(uint64_t(f.v) * 255) + LHFIX64::kHalf) >> 26; };
    int64_t cl = 255, ct = 255, cr = 255, cb = 255;
    if (il < 0)
        il = 0;
    else
        cl = 255 - frac255(L - (ox + LHFIX64::from_int(il)));
    if (it < 0)
        it = 0;
    else
        ct = 255 - frac255(T - (oy + LHFIX64::from_int(it)));
    if (ir >= w)
        ir = w - 1;
    else
        cr = frac255(R - (ox + LHFIX64::from_int(ir)));
    if (ib >= h)
        ib = h - 1;
    else
        cb = frac255(B - (oy + LHFIX64::from_int(ib)));

    if (il < ir && it < ib) {
        for (int64_t y = 0; y < h; ++y) {
            if (y < it || y > ib) {
                m.clearRow(y);
                continue;
            }
            m.clearOutside(y, il, ir);
            const bool top = y == it, bottom = y == ib;
            for (int64_t x = il; x <= ir; ++x) {
                const bool left = x == il, right = x == ir;
                if (top && left)
                    m.lower(x, y, cl * ct / 255);
                else if (top && right)
                    m.lower(x, y, ct * cr / 255);
                else if (bottom && left)
                    m.lower(x, y, cl * cb / 255);
                else if (bottom && right)
                    m.lower(x, y, cr * cb / 255);
                else if (top)
                    m.lower(x, y, ct);
                else if (bottom)
                    m.lower(x, y, cb);
                else if (left)
                    m.lower(x, y, cl);
                else if (right)
                    m.lower(x, y, cr);
            }
        }
    } else if (il < ir) {
        // One row: only its bottom edge counts, through the complement of cb.
        const int64_t c = 255 - cb;
        m.clear(0, m.offset(il, it));
        m.lower(il, it, cl * c / 255);
        for (int64_t x = il + 1; x < ir; ++x)
            m.lower(x, it, c);
        m.lower(ir, it, cr * c / 255);
        m.clear(m.offset(ir + 1, it), m.total());
    } else if (it < ib) {
        // One column, through the complement of cr. The first clear counts
        // the pixels right of the column, not left of it: kept as it is.
        const int64_t c = 255 - cr;
        m.clear(0, m.offset(w - il - 1, it));
        m.lower(il, it, ct * c / 255);
        m.clear(m.offset(il + 1, it), m.offset(0, it + 1));
        for (int64_t y = it + 1; y < ib; ++y) {
            m.clearOutside(y, il, il);
            m.lower(il, y, c);
        }
        m.clear(m.offset(0, ib), m.offset(il, ib));
        m.lower(il, ib, cb * c / 255);
        m.clear(m.offset(il + 1, ib), m.total());
    } else {
        // One pixel: everything else is cleared; the pixel keeps its colour.
        if (w < 1 || h < 1) { // no pixel to keep
            m.clear(0, m.total());
            return true;
        }
        unsigned char keep[4];
        std::memcpy(keep, m.at(il, it), C);
        m.clear(0, m.total());
        std::memcpy(m.at(il, it), keep, C - 1);
        m.at(il, it)[C - 1] = static_cast<unsigned char>(std::min<int64_t>(keep[C - 1], (255 - cb) * (255 - cr) / 255));
    }
    return true;
}

template <int C>
bool maskAlpha(CLHBmp& bmp, const CLHBmp8* mask, int x, int y)
{
    if (!mask)
        return false;
    const Masker<C> m{bmp};
    const int64_t ox = std::max<int64_t>(x, 0), oy = std::max<int64_t>(y, 0);
    const int64_t mx = std::max<int64_t>(-int64_t(x), 0), my = std::max<int64_t>(-int64_t(y), 0);
    const int64_t ow = std::min<int64_t>(bmp.width - ox, mask->width - mx);
    const int64_t oh = std::min<int64_t>(bmp.height - oy, mask->height - my);
    if (ow <= 0 || oh <= 0) {
        // Cleared in 32-bit words: a length not a multiple of 4 keeps its tail.
        m.clear(0, m.total() / 4 * 4);
        return false;
    }
    for (int64_t r = 0; r < bmp.height; ++r) {
        if (r < oy || r >= oy + oh) {
            m.clearRow(r);
            continue;
        }
        m.clear(m.offset(0, r), m.offset(ox, r));
        const unsigned char* mk = rowOf(*mask, my + r - oy) + mx;
        for (int64_t i = 0; i < ow; ++i)
            m.lower(ox + i, r, mk[i]);
        m.clear(m.offset(ox + ow, r), m.offset(0, r + 1));
    }
    return true;
}

template <int C>
bool clipTo(const CLHBmp& s, int x, int y, CLHBmp* dest)
{
    if (!dest || dest->depth != s.depth)
        return false;
    const int64_t sx = std::max<int64_t>(x, 0), sy = std::max<int64_t>(y, 0);
    const int64_t dx = std::max<int64_t>(-int64_t(x), 0), dy = std::max<int64_t>(-int64_t(y), 0);
    const int64_t cw = std::min<int64_t>(s.width - sx, dest->width - dx);
    const int64_t ch = std::min<int64_t>(s.height - sy, dest->height - dy);
    if (cw < 1 || ch <= 0)
        return false;
    for (int64_t j = 0; j < ch; ++j)
        std::memcpy(rowOf(*dest, dy + j) + dx * C, rowOf(s, sy + j) + sx * C, size_t(cw) * C);
    return true;
}

} // namespace

bool CLHBmp8::mask_rect(const _LHRECTF& rect, const _LHPOINT& origin)
{
    return maskRect<1>(*this, rect, origin);
}
bool CLHBmp32::mask_rect(const _LHRECTF& rect, const _LHPOINT& origin)
{
    return maskRect<4>(*this, rect, origin);
}
bool CLHBmp8::mask_alpha(const CLHBmp8* mask, int x, int y)
{
    return maskAlpha<1>(*this, mask, x, y);
}
bool CLHBmp32::mask_alpha(const CLHBmp8* mask, int x, int y)
{
    return maskAlpha<4>(*this, mask, x, y);
}
bool CLHBmp8::bmp_clip_to(int x, int y, CLHBmp* dest) const
{
    return clipTo<1>(*this, x, y, dest);
}
bool CLHBmp32::bmp_clip_to(int x, int y, CLHBmp* dest) const
{
    return clipTo<4>(*this, x, y, dest);
}
