// The pattern stamp: the pattern scaled to the brush size once (the master),
// and one darker copy per strength level, each made on first use.
#include "brush/PXPatternBrush.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>

#include "bitmap/LHBmp.h"

PXPatternBrush::PXPatternBrush(PXSurface* s, PXTipFunction* t) : PXPaintBrush(s, t), pattern(nullptr) {
    std::memset(pattern_levels, 0, sizeof pattern_levels);
}

PXPatternBrush::~PXPatternBrush() {
    DropLevels();
    delete pattern;
    pattern = nullptr;
}

void PXPatternBrush::DropLevels() {
    for (CLHBmp8*& level : pattern_levels) {
        delete level;
        level = nullptr;
    }
}

void PXPatternBrush::SetSize(float s) {
    if (s > 0.0f) {
        size = s;
        DropLevels();
    }
}

void PXPatternBrush::SetPattern(CLHBmp8* p) {
    DropLevels();
    delete pattern;
    pattern = p;
}

// Pressure reaches the stamp only through its level. The return value is size,
// not a radius, so DrawLine steps 2 * size * spacing.
float PXPatternBrush::ApplyDab(float x, float y, float pressure) {
    const float lv = std::trunc((float)color.a * pressure / 255.0f * 128.0f);
    if (!(lv >= 1.0f) || pattern == nullptr)
        return size;
    // Any level above 128 takes the master itself.
    const int level = lv < 128.0f ? (int)lv : 128;

    if (pattern_levels[127] == nullptr) {
        const int side = (int)std::ceil(size);
        std::unique_ptr<CLHBmp8> master(new CLHBmp8(side, side, (side + 3) & ~3));
        const LHFIX64 f = LHFIX64::raw(pattern->width != 0 ? ((int64_t)side << 26) / pattern->width : 0);
        pattern->bmp_scale_best_to(f, f, _LHPOINT{0, 0}, master.get());
        pattern_levels[127] = master.release();
    }
    CLHBmp8*& entry = pattern_levels[level - 1];
    if (entry == nullptr) {
        const CLHBmp8* m = pattern_levels[127];
        std::unique_ptr<CLHBmp8> b(new CLHBmp8(m->width, m->height, m->stride));
        const size_t n = (size_t)m->height * (size_t)m->stride;
        for (size_t i = 0; i < n; ++i)
            b->bits[i] = (unsigned char)((m->bits[i] * level) >> 7);
        entry = b.release();
    }

    const CLHBmp8* stamp = entry;
    const float fl = std::trunc(x - (float)(stamp->width >> 1));
    const float ft = std::trunc(y - (float)(stamp->height >> 1));
    // Wholly off the surface (a far-off or non-finite centre): nothing to cut.
    if (!(fl < (float)surface->width && fl > (float)-stamp->width && ft < (float)surface->height &&
          ft > (float)-stamp->height))
        return size;
    const int left = (int)fl, top = (int)ft;
    const int c0 = left < 0 ? -left : 0, r0 = top < 0 ? -top : 0;
    const int c1 = std::min(stamp->width, surface->width - left);
    const int r1 = std::min(stamp->height, surface->height - top);
    const int cap = color.a;
    for (int j = r0; j < r1; ++j) {
        const unsigned char* src = stamp->bits + (size_t)j * stamp->stride;
        PXPixel* row = surface->Row(top + j);
        for (int i = c0; i < c1; ++i) {
            const int m = src[i];
            if (m == 0)
                continue;
            PXPixel& px = row[left + i];
            if (px.a == 0) {
                std::memcpy(&px, &color, sizeof px);
                px.a = (uint8_t)m;
                new_pixels++;
                continue;
            }
            // A quarter strength on ink: the first pass of a stroke prints
            // whole, its overlaps add only slowly.
            const int q = m >> 2;
            const int A = px.a;
            const int n = (A + q - ((A * (q + 1)) >> 8)) & 255;
            px.a = (uint8_t)(n > cap ? cap : n);
        }
    }
    return size;
}
