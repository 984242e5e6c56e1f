// Felt pen, fountain pens and marker.
#include "brush/PXInkPens.h"

#include <cmath>

#include "PXDabParts.h"

PXFeltPen::PXFeltPen(PXSurface* surface, PXTipFunction* tip)
    : PXPaintBrush(surface, tip), tip_large(nullptr), tip_small(tip) {}

// The base deletes whichever tip is in use; the other one goes here.
PXFeltPen::~PXFeltPen() {
    if (tip_large != tip)
        delete tip_large;
    if (tip_small != tip && tip_small != tip_large)
        delete tip_small;
    tip_large = tip_small = nullptr;
}

// Exactly ANTI_ALIASING_THRESHOLD still takes the small tip. The preset size
// is stored without this choice, so the pen starts on the small tip.
void PXFeltPen::SetSize(float s) {
    if (!(s > 0.0f))
        return;
    size = s;
    tip = s > ANTI_ALIASING_THRESHOLD ? tip_large : tip_small;
}

PXFountainPen::PXFountainPen(PXSurface* surface, PXTipFunction* tip)
    : PXPaintBrush(surface, tip), speed_hist{0.0f, 0.0f, 0.0f} {}
PXFountainPen::~PXFountainPen() = default;

PXRectangle* PXFountainPen::StrokePoint(float x, float y, float pressure) {
    return pxdab::SpeedStrokePoint(*this, speed_hist, x, y, pressure);
}

PXRectangle* PXFountainPen::EndStroke() {
    return pxdab::SpeedEndStroke(*this);
}

// Only half the pressure reaches the nib, so the dab never reaches full size.
float PXFountainPen::ApplyDab(float x, float y, float pressure) {
    const float q = pressure * 0.5f;
    float r = pxdab::Radius(*this, q);
    int left, top, right, bottom;
    if (!pxdab::Place(*this, x, y, r, left, top, right, bottom))
        return 0.0f;
    const float S = (q + (1.0f - q) * min_opacity) * opacity;
    pxdab::SoftDisc(*this, x, y, r, S, left, top, right, bottom);
    return r;
}

PXReFountainPen::PXReFountainPen(PXSurface* surface, PXTipFunction* tip) : PXPaintBrush(surface, tip) {}
PXReFountainPen::~PXReFountainPen() = default;

// Chisel nib: two neighbouring pixels per row, one column further left on each
// row down. The walk starts at the box's exclusive right column and steps rows
// by width - 1 from the second pixel's address; that is where the nib has
// always sat, so it stays.
float PXReFountainPen::ApplyDab(float x, float y, float /*pressure*/) {
    float r = size * 0.5f;
    int left = (int)(x - r) - 1;
    int top = (int)(y - r) - 1;
    int right = (int)(x + r) + 1;
    int bottom = (int)(y + r) + 1;
    if (left < 0)
        left = 0;
    if (top < 0)
        top = 0;
    if (right > surface->width)
        right = surface->width;
    if (bottom > surface->height)
        bottom = surface->height;
    if (use_jitter)
        ApplyJitter(x, y, r, color);
    if (bottom <= top)
        return r;
    // The start column may be the row's last + 1, which is the next row's
    // first pixel; on the last row that address is past the array and is
    // skipped (the only write the walk could make outside the surface).
    PXPixel* const begin = surface->pixels;
    PXPixel* const end = begin + (size_t)surface->stride * surface->height;
    PXPixel* p = surface->Row(top) + right;
    auto paint = [&](PXPixel* px, int col, int row) {
        if (px < begin || px >= end)
            return;
        const float dx = (float)col - x;
        const float dy = (float)row - y;
        const float w = tip->GetWeight(r, (double)(dx * dx + dy * dy));
        const int a = (int)((float)color.a * w);
        if (a > 0)
            pxdab::Maximum(*this, *px, a);
    };
    int c = right;
    for (int row = top; row < bottom; ++row) {
        if (c > left)
            paint(p, c, row);
        --c;
        if (c > left)
            paint(p - 1, c, row);
        p += surface->width - 1;
    }
    return r;
}

PXNewMarkPen::PXNewMarkPen(PXSurface* surface, PXTipFunction* tip) : PXPaintBrush(surface, tip) {}
PXNewMarkPen::~PXNewMarkPen() = default;

// Constant width; large dabs keep the larger alpha where they overlap, small
// ones are the hard four-sample dab.
float PXNewMarkPen::ApplyDab(float x, float y, float /*pressure*/) {
    float r = size > 1.0f ? size * 0.5f : 0.5f;
    int left, top, right, bottom;
    if (!pxdab::Place(*this, x, y, r, left, top, right, bottom))
        return 0.0f;
    if (r < 2.0f) {
        pxdab::SmallDab(*this, x, y, r, left, top, right, bottom);
        return r;
    }
    for (int row = top; row < bottom; ++row) {
        PXPixel* line = surface->pixels + (size_t)row * surface->stride;
        const float dy = (float)row + 0.5f - y;
        for (int col = left; col < right; ++col) {
            const float dx = (float)col + 0.5f - x;
            const float w = tip->GetWeight(r, (double)(dx * dx + dy * dy));
            const int a = (int)(w * 255.0);
            if (a > 0)
                pxdab::Maximum(*this, line[col], a);
        }
    }
    return r;
}
