// The 32-bit compositions: tile, fill_shadow, copy_rect.
#include <algorithm>

#include "LHBmpPixels.h"

using namespace lhbmp;

bool CLHBmp32::tile(CLHBmp* src, LHFIX64 x, LHFIX64 y, LHFIX64 tileWidth, LHFIX64 tileHeight)
{
    if (!src || src->depth != depth || src->width < 1 || src->height < 1 || !src->bits)
        return false;
    // Bring the grid's origin next to the bitmap. A non-positive pitch is
    // not caught here and never ends: the caller's to avoid.
    while (x.v > 0)
        x -= tileWidth;
    while ((x + tileWidth).v < 0)
        x += tileWidth;
    while (y.v > 0)
        y -= tileHeight;
    while ((y + tileHeight).v < 0)
        y += tileHeight;
    const int64_t pw = tileWidth.round_int(), ph = tileHeight.round_int();
    if (pw == 0 || ph == 0)
        return true;
    const int64_t gx = x.round_int(), gy = y.round_int();
    if (gx >= width || gy >= height)
        return true;
    // A negative start means a gap comes first.
    int64_t sx = std::max<int64_t>(-gx, 0), sy = std::max<int64_t>(-gy, 0);
    while (sx >= src->width)
        sx -= pw;
    while (sy >= src->height)
        sy -= ph;
    for (int64_t row = std::max<int64_t>(gy, 0); row < height;) {
        if (sy < 0) { // a gap row keeps its pixels
            ++sy;
            ++row;
            continue;
        }
        int64_t px = std::max<int64_t>(gx, 0), c = sx;
        if (c < 0) {
            px -= c;
            c = 0;
        }
        while (px < width) {
            const int64_t n = std::min<int64_t>(width - px, src->width - c);
            std::memcpy(rowOf(*this, row) + px * 4, rowOf(*src, sy) + c * 4, size_t(n) * 4);
            px += pw - c;
            c = 0;
        }
        sy = (sy + 1) % src->height;
        // After the source's last row the next band starts a full pitch below
        // the last one; a pitch below the source size jumps back and overlaps.
        row += sy != 0 ? 1 : ph - src->height + 1;
    }
    return true;
}

// The mask's columns and rows skipped by a negative origin are not taken off
// its size in the count, so such an origin reads past the mask's rows.
void CLHBmp32::fill_shadow(const CLHBmp8* mask, const _LHPOINT& origin)
{
    if (!mask)
        return;
    const int64_t ox = origin.x, oy = origin.y;
    if (ox >= width || oy >= height || ox + width < 1 || oy + height < 1)
        return; // this bitmap's size, not the mask's
    int64_t col = 0, mcol = -ox, n = std::min<int64_t>(ox + width, mask->width);
    if (ox > 0)
        col = ox, mcol = 0, n = std::min<int64_t>(width - ox, mask->width);
    int64_t row = 0, mrow = -oy, rn = std::min<int64_t>(oy + height, mask->height);
    if (oy > 0)
        row = oy, mrow = 0, rn = std::min<int64_t>(height - oy, mask->height);
    if (rn < 1)
        return;
    for (int64_t j = 0; j < rn; ++j) {
        const unsigned char* mk = rowOf(*mask, mrow + j) + mcol;
        unsigned char* p = rowOf(*this, row + j) + col * 4;
        for (int64_t i = 0; i < n; ++i, p += 4) {
            const unsigned int m = mk[i];
            if (m > 1) { // 0 and 1 leave the pixel alone
                for (int k = 0; k < 3; ++k)
                    p[k] = static_cast<unsigned char>(((256 - m) * p[k]) >> 8);
                p[3] = 255;
            }
        }
    }
}

void CLHBmp32::copy_rect(const CLHBmp32* src, const _LHRECT& rect)
{
    if (!src || src->stride != stride || src->width != width || src->height != height)
        return;
    const int64_t l = std::max(rect.left, 0), t = std::max(rect.top, 0);
    const int64_t r = std::min(rect.right, width), b = std::min(rect.bottom, height);
    if (l >= r || t >= b)
        return;
    if (l == 0 && t == 0 && r == width && b == height) {
        std::memcpy(bits, src->bits, size_t(stride) * size_t(height)); // padding included
        return;
    }
    for (int64_t y = t; y < b; ++y)
        std::memcpy(rowOf(*this, y) + l * 4, rowOf(*src, y) + l * 4, size_t(r - l) * 4);
}
