// Dabs of the pencil, dry media and texture brushes: one random draw (or one
// texture read) per visited pixel.
#include "brush/PXDryMedia.h"

#include <cmath>

#include "PXDabParts.h"

namespace {

// Empty pixel takes the ink at full alpha; inked goes to 255, lowered to color.a.
void Full(PXPaintBrush& b, PXPixel& px) {
    if (px.a == 0) {
        px = *reinterpret_cast<const PXPixel*>(&b.color);
        px.a = 255;
        b.new_pixels++;
    } else {
        px.a = b.color.a < 255 ? b.color.a : 255;
    }
}

// Tip weight at the pixel centre, or the mean of four samples for small dabs.
float Weight(PXPaintBrush& b, float r, float x, float y, int col, int row) {
    if (r >= 2.0f) {
        const float dx = (float)col + 0.5f - x, dy = (float)row + 0.5f - y;
        return b.tip->GetWeight(r, (double)(dx * dx + dy * dy));
    }
    const float dx0 = (float)col + 0.25f - x, dx1 = (float)col + 0.75f - x;
    const float dy0 = (float)row + 0.25f - y, dy1 = (float)row + 0.75f - y;
    float sum = b.tip->GetWeight(r, (double)(dx0 * dx0 + dy0 * dy0));
    sum += b.tip->GetWeight(r, (double)(dx0 * dx0 + dy1 * dy1));
    sum += b.tip->GetWeight(r, (double)(dx1 * dx1 + dy0 * dy0));
    sum += b.tip->GetWeight(r, (double)(dx1 * dx1 + dy1 * dy1));
    return sum;
}

}  // namespace

PXPencil::PXPencil(PXSurface* s, PXTipFunction* t) : PXPaintBrush(s, t), grain(0.0f) {}
PXPencil::~PXPencil() = default;
PXOldCrayon::PXOldCrayon(PXSurface* s, PXTipFunction* t) : PXPencil(s, t) {}
PXOldCrayon::~PXOldCrayon() = default;
PXDryMedia::PXDryMedia(PXSurface* s, PXTipFunction* t) : PXPencil(s, t) {}
PXDryMedia::~PXDryMedia() = default;
PXTextureBrush::PXTextureBrush(PXSurface* s, PXTipFunction* t) : PXPaintBrush(s, t), texture(nullptr) {}
PXTextureBrush::~PXTextureBrush() = default;

void PXTextureBrush::SetTexture(PXSurface* paper) {
    texture = paper;
}

float PXPencil::ApplyDab(float x, float y, float pressure) {
    const float p = pxdab::Curve(*this, pressure);
    float r = pxdab::Radius(*this, p);
    int left, top, right, bottom;
    if (!pxdab::Place(*this, x, y, r, left, top, right, bottom))
        return 0.0f;
    // An opacity above 1.0 is meant: the core of the line saturates while
    // the thin edge stays soft.
    const float strength = (min_opacity * (1.0f - p) + p) * opacity;
    const float floor_level = strength * 5.0f / 9.0f;
    for (int row = top; row < bottom; ++row) {
        PXPixel* line = surface->pixels + (size_t)row * surface->stride;
        const float dy = (float)row + 0.5f - y;
        for (int col = left; col < right; ++col) {
            const float dx = (float)col + 0.5f - x;
            const float w = tip->GetWeight(r, (double)(dx * dx + dy * dy));
            // One draw for every pixel of the box, also where the weight is 0.
            const uint32_t k = ((NextRand() >> 16) % 152u) + 52u;
            const float g = 1.0f + grain * ((float)k * 0.00390625f - 1.0f);
            const float v = g * (strength * w);
            // Ink under five ninths of the dab's strength stays blank: this
            // breaks the line up and cuts the tip's soft edge.
            if (v <= floor_level)
                continue;
            int a = 255;
            if (!(v > 1.0f)) {
                a = (int)((double)v * 255.0);
                if (a < 1)
                    continue;
            }
            pxdab::Accumulate(*this, line[col], a);
        }
    }
    return r;
}

float PXDryMedia::ApplyDab(float x, float y, float pressure) {
    const float p = pxdab::Curve(*this, pressure);
    float r = pxdab::Radius(*this, p);
    int left, top, right, bottom;
    if (!pxdab::Place(*this, x, y, r, left, top, right, bottom))
        return 0.0f;
    for (int row = top; row < bottom; ++row) {
        PXPixel* line = surface->pixels + (size_t)row * surface->stride;
        for (int col = left; col < right; ++col) {
            float w = Weight(*this, r, x, y, col, row);
            if (r < 2.0f)
                w = w * 0.25f;
            const uint32_t b = (NextRand() >> 16) & 255u;
            // n lies in [-1, 0): the grain only takes ink away.
            const float n = (float)b * 0.00390625f - 1.0f;
            const double v = (double)(w + (w * grain) * n) * 255.0;
            if (v <= 127.5)
                continue;
            Full(*this, line[col]);
        }
    }
    return r;
}

float PXTextureBrush::ApplyDab(float x, float y, float pressure) {
    float r = pxdab::Radius(*this, pressure);
    int left, top, right, bottom;
    if (!pxdab::Place(*this, x, y, r, left, top, right, bottom))
        return 0.0f;
    // Without paper, or with paper of no pixels, there is nothing to read.
    if (!texture || texture->width <= 0 || texture->height <= 0)
        return r;
    const float strength = (min_opacity * (1.0f - pressure) + pressure) * opacity;
    const int W = texture->width;
    for (int row = top; row < bottom; ++row) {
        // The width is the period of the rows too; rows past the paper's
        // height read its last row.
        int trow = row % W;
        if (trow < 0)
            continue;
        if (trow > texture->height - 1)
            trow = texture->height - 1;
        const PXPixel* paper = texture->pixels + (size_t)trow * texture->stride;
        PXPixel* line = surface->pixels + (size_t)row * surface->stride;
        for (int col = left; col < right; ++col) {
            const int tcol = col % W;
            if (tcol < 0)
                continue;
            const float ink = (float)(255 - paper[tcol].r);
            const float w = Weight(*this, r, x, y, col, row);
            const float v = r >= 2.0f ? ink * strength * w : ink * w * strength * 0.25f;
            if (v <= 127.5f)
                continue;
            Full(*this, line[col]);
        }
    }
    return r;
}
