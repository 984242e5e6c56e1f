// The smudge: each dab picks up what lies a little behind it along the stroke
// and lays it down under itself, so ink is dragged the way the pen moves.
#include <algorithm>
#include <cmath>

#include "PXDabParts.h"
#include "PXFixed.h"
#include "brush/PXFilterBrushes.h"

PXSmudgeBrush::PXSmudgeBrush(PXSurface* s, PXTipFunction* t) : PXPaintBaseJitterAngle(s, t) {
    dab_image = new PXSurface(128, 128);
}

PXSmudgeBrush::~PXSmudgeBrush() {
    delete dab_image;
    dab_image = nullptr;
}

namespace {

// Half away from zero.
int RoundAway(float v) {
    return pxfix::Trunc(v < 0.0f ? v - 0.5f : v + 0.5f);
}

}  // namespace

float PXSmudgeBrush::ApplyDab(float x, float y, float pressure, float angle) {
    const float D = (pressure + (1.0f - pressure) * min_size) * size;
    const float radius = D > 1.0f ? D * 0.5f : 0.5f;
    int left0, top0, right, bottom;
    pxdab::Box(x, y, radius, left0, top0, right, bottom);
    if (right < 0 || bottom < 0)
        return 0.0f;
    // Box() has raised left and top to 0; the source keeps the whole box size.
    const int box_w = right - (pxdab::FloorInt(x - radius) - 1);
    const int box_h = bottom - (pxdab::FloorInt(y - radius) - 1);
    const int left = left0, top = top0;

    // The drag: 1.6 pixels along the stroke, whole pixels. The direction-less
    // angle 2^32 goes to cos and sin as it is.
    const double one_six = (double)1.6f;
    const int ox = RoundAway((float)(std::cos((double)angle) * one_six));
    const int oy = RoundAway((float)(std::sin((double)angle) * one_six));

    // The source lies behind the dab. Its right and bottom edges stop one short
    // of the surface's last column and row, which are never picked up.
    const int sl = std::max(left - ox, 0), st = std::max(top - oy, 0);
    const int sr = (int)std::min<int64_t>((int64_t)sl + box_w, surface->width - 1);
    const int sb = (int)std::min<int64_t>((int64_t)st + box_h, surface->height - 1);
    for (int r = st; r < sb; ++r) {
        const PXPixel* src = surface->Row(r);
        PXPixel* dst = dab_image->Row(r - st);  // rows clamped, columns run on
        for (int c = sl; c < sr; ++c)
            dst[c - sl] = src[c];
    }

    const int rend = std::min(right, surface->width), bend = std::min(bottom, surface->height);
    for (int r = top; r < bend; ++r) {
        PXPixel* row = surface->Row(r);
        const PXPixel* picked = dab_image->Row(r - top);
        const float fy = (float)r + 0.5f - y;
        for (int c = left; c < rend; ++c) {
            const double fx = (double)c + 0.5 - (double)x;
            float rad = radius;
            const float w = tip->GetWeight(rad, fx * fx + (double)(fy * fy));
            const int a = pxfix::Trunc((double)(opacity * w) * 255.0);
            if (a <= 0)
                continue;
            // An empty source carries alpha 0 and so wipes what it covers.
            const PXPixel P = picked[c - left];
            pxdab::LayBack(*this, row[c], P, a);
        }
    }
    return radius;
}
