// The round dab of the base brush: the large dab weighted by the tip, and the
// hard four-sample dab for radii below 2.0.
#include "brush/PXPaintBrush.h"

#include "PXDabParts.h"

namespace pxdab {

void SmallDab(PXPaintBrush& b, float x, float y, float r, int left, int top, int right, int bottom) {
    PXSurface* s = b.surface;
    for (int row = top; row < bottom; ++row) {
        PXPixel* line = s->pixels + (size_t)row * s->stride;
        const float dy0 = (float)row + 0.25f - y, dy1 = (float)row + 0.75f - y;
        for (int col = left; col < right; ++col) {
            const float dx0 = (float)col + 0.25f - x, dx1 = (float)col + 0.75f - x;
            float sum = b.tip->GetWeight(r, (double)(dx0 * dx0 + dy0 * dy0));
            sum += b.tip->GetWeight(r, (double)(dx0 * dx0 + dy1 * dy1));
            sum += b.tip->GetWeight(r, (double)(dx1 * dx1 + dy0 * dy0));
            sum += b.tip->GetWeight(r, (double)(dx1 * dx1 + dy1 * dy1));
            if (sum * 255.0 * 0.25 <= 127.5)
                continue;
            PXPixel& px = line[col];
            if (px.a == 0) {
                px = *reinterpret_cast<const PXPixel*>(&b.color);
                px.a = 255;
                b.new_pixels++;
            } else {
                px.a = b.color.a < 255 ? b.color.a : 255;
            }
        }
    }
}

}  // namespace pxdab

float PXPaintBrush::ApplyDab(float x, float y, float pressure) {
    const float D = (pressure + (1.0f - pressure) * min_size) * size;
    float r = D > 1.0f ? D * 0.5f : 0.5f;
    int left, top, right, bottom;
    if (!pxdab::Box(x, y, r, left, top, right, bottom))
        return 0.0f;
    const float q = 1.0f - pressure;
    // The jitter moves the centre and radius, and a jittered colour stays in
    // the brush; the box is not recomputed.
    if (use_jitter)
        ApplyJitter(x, y, r, color);
    pxdab::Clip(surface, right, bottom);
    if (r < 2.0f) {
        pxdab::SmallDab(*this, x, y, r, left, top, right, bottom);
        return r;
    }
    const double S = (double)((min_opacity * q + pressure) * opacity) * 255.0;
    for (int row = top; row < bottom; ++row) {
        PXPixel* line = surface->pixels + (size_t)row * surface->stride;
        const float dy = (float)row + 0.5f - y;
        const float dy2 = dy * dy;
        for (int col = left; col < right; ++col) {
            const float dx = (float)col + 0.5f - x;
            const float w = tip->GetWeight(r, (double)(dx * dx + dy2));
            const int a = (int)((double)w * S);
            if (a > 0)
                pxdab::Accumulate(*this, line[col], a);
        }
    }
    return r;
}
