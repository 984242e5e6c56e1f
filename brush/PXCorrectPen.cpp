// Correction pen and the two erasers: squares on the stroke surface that clear
// the display's alpha on the way out.
#include "brush/PXInkPens.h"

#include "PXDabParts.h"

PXCorrectPen::PXCorrectPen(PXSurface* surface, PXTipFunction* tip)
    : PXPaintBrush(surface, tip), correct_level(0) {}
PXCorrectPen::~PXCorrectPen() = default;
PXHardErase::~PXHardErase() = default;
PXSoftErase::~PXSoftErase() = default;

// The correction tools keep the base brush's stroke front end as their own copy.
PXRectangle* PXCorrectPen::StrokePoint(float x, float y, float pressure) {
    return PXPaintBrush::StrokePoint(x, y, pressure);
}

PXRectangle* PXCorrectPen::EndStroke() {
    return PXPaintBrush::EndStroke();
}

// The whole box becomes opaque white; the tip is asked and its answer unused,
// so the dab is a square, not a disc.
float PXCorrectPen::ApplyDab(float x, float y, float pressure) {
    float r = pxdab::Radius(*this, pressure);
    int left, top, right, bottom;
    if (!pxdab::Place(*this, x, y, r, left, top, right, bottom))
        return 0.0f;
    for (int row = top; row < bottom; ++row) {
        PXPixel* line = surface->pixels + (size_t)row * surface->stride;
        const float dy = (float)row + 0.5f - y;
        for (int col = left; col < right; ++col) {
            const float dx = (float)col + 0.5f - x;
            (void)tip->GetWeight(r, (double)(dx * dx + dy * dy));
            if (line[col].a == 0)
                new_pixels++;
            line[col] = PXPixel(255, 255, 255, 255);
        }
    }
    return r;
}

// Where the stroke went, the target's alpha becomes the source alpha shifted by
// the low five bits of the stroke alpha: 255 >> 31, i.e. 0. Colour stays.
void PXCorrectPen::blend_out(PXSurface* target, PXSurface* source) {
    int left = dirty.left < 0 ? 0 : dirty.left;
    int top = dirty.top < 0 ? 0 : dirty.top;
    int right = dirty.right > surface->width ? surface->width : dirty.right;
    int bottom = dirty.bottom > surface->height ? surface->height : dirty.bottom;
    if (bottom - top <= 0 || right - left <= 0)
        return;
    for (int row = top; row < bottom; ++row) {
        const PXPixel* m = surface->pixels + (size_t)row * surface->stride;
        const PXPixel* s = source->pixels + (size_t)row * source->stride;
        PXPixel* t = target->pixels + (size_t)row * target->stride;
        for (int col = left; col < right; ++col) {
            if (m[col].a == 0 || s[col].a == 0)
                continue;
            t[col].a = (uint8_t)(s[col].a >> (m[col].a & 31));
        }
    }
}
