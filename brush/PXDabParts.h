// Pieces shared by the round dabs of every brush: radius, box, jitter and
// clip, the alpha accumulation, the soft disc and the speed-and-direction
// stroke front end.
#pragma once

#include <cmath>
#include <cstdint>

#include "brush/PXInkExtent.h"
#include "brush/PXPaintBrush.h"

namespace pxdab {

// Float to int for box edges, saturating so that a dab grown huge by an
// extreme pressure covers the surface instead of overflowing the conversion.
inline int EdgeInt(float v) {
    if (!(v > -1e9f))
        return -1000000000;
    if (v > 1e9f)
        return 1000000000;
    return (int)v;
}

// floor and ceiling to int, saturating like EdgeInt; inline, where the
// library's floorf and ceilf are calls on the baseline instruction set.
inline int FloorInt(float v) {
    const int i = EdgeInt(v);
    return (float)i > v ? i - 1 : i;
}

inline int CeilInt(float v) {
    const int i = EdgeInt(v);
    return (float)i < v ? i + 1 : i;
}

// Box of a round dab, right and bottom exclusive. Returns false when the dab
// lies wholly up or left of the surface; left and top are raised to 0, right
// and bottom are left for the caller to lower after the jitter.
inline bool Box(float x, float y, float r, int& left, int& top, int& right, int& bottom) {
    top = FloorInt(y - r) - 1;
    left = FloorInt(x - r) - 1;
    bottom = CeilInt(y + r) + 1;
    right = CeilInt(x + r) + 1;
    if (right < 0 || bottom < 0)
        return false;
    if (left < 0)
        left = 0;
    if (top < 0)
        top = 0;
    return true;
}

inline void Clip(const PXSurface* s, int& right, int& bottom) {
    if (right > s->width)
        right = s->width;
    if (bottom > s->height)
        bottom = s->height;
}

// The pressure curve of the dry media: pressure to the power pressure_gamma,
// taken in double and rounded to float.
inline float Curve(const PXPaintBrush& b, float pressure) {
    return (float)std::pow((double)pressure, (double)b.pressure_gamma);
}

// Radius of a round dab at (curved) pressure p: the diameter runs from
// min_size * size at 0 to size at 1, and a dab is never under half a pixel.
inline float Radius(const PXPaintBrush& b, float p) {
    const float D = (p + (1.0f - p) * b.min_size) * b.size;
    return D > 1.0f ? D * 0.5f : 0.5f;
}

// The common start of a round dab at (x, y) of radius r: its box, then the
// jitter (which moves the centre and radius but not the box), then the box
// clipped to the surface and noted as inked. False when the dab lies wholly
// up or left of the surface; nothing is drawn then.
inline bool Place(PXPaintBrush& b, float& x, float& y, float& r, int& left, int& top, int& right, int& bottom) {
    if (!Box(x, y, r, left, top, right, bottom))
        return false;
    if (b.use_jitter)
        b.ApplyJitter(x, y, r, b.color);
    Clip(b.surface, right, bottom);
    pxink::Note(b.surface, left, top, right, bottom);
    return true;
}

// Integer "over" of two coverages, ceiling color.a on overlap only; a first
// touch takes the dab's own strength (low eight bits).
inline void Accumulate(PXPaintBrush& b, PXPixel& px, int a) {
    if (px.a == 0) {
        px = *reinterpret_cast<const PXPixel*>(&b.color);
        px.a = (uint8_t)a;
        b.new_pixels++;
        return;
    }
    // Wide arithmetic: a pressure far above 1 gives a strength whose product
    // with A leaves 32 bits. The low eight bits are what wrapping 32-bit
    // arithmetic gives too.
    const int64_t A = px.a;
    int n = (int)((A + a - ((A * ((int64_t)a + 1)) >> 8)) & 255);
    if (n > b.color.a)
        n = b.color.a;
    px.a = (uint8_t)n;
}

// A pixel picked from the surface (filtered or dragged) laid back with
// strength a: a first touch takes its colour at the dab's strength; an
// overlap is ceiled by the picked alpha, so an empty source wipes.
inline void LayBack(PXPaintBrush& b, PXPixel& px, PXPixel P, int a) {
    if (px.a == 0) {
        px = P;
        px.a = (uint8_t)a;
        b.new_pixels++;
        return;
    }
    const int A = px.a;
    const int n = (A + a - ((A * (a + 1)) >> 8)) & 255;
    px.a = (uint8_t)(n < P.a ? n : P.a);
}

// Overlap keeps the larger alpha (marker and chisel nib).
inline void Maximum(PXPaintBrush& b, PXPixel& px, int a) {
    if (px.a == 0) {
        px = *reinterpret_cast<const PXPixel*>(&b.color);
        px.a = (uint8_t)a;
        b.new_pixels++;
    } else if (a > px.a) {
        px.a = (uint8_t)a;
    }
}

// The hard four-sample dab of the base brush, for radii below 2.0: half a
// pixel's coverage is the threshold, pressure acts through the radius only.
void SmallDab(PXPaintBrush& b, float x, float y, float r, int left, int top, int right, int bottom);

// The soft disc of the airbrush and the fountain pen: strength S, radius r,
// the weight written out instead of asking the tip.
void SoftDisc(PXPaintBrush& b, float x, float y, float r, float S,
              int left, int top, int right, int bottom);

// Stroke front end of the speed-and-direction pen model.
PXRectangle* SpeedStrokePoint(PXPaintBrush& b, float* speed_hist, float x, float y, float pressure);
PXRectangle* SpeedEndStroke(PXPaintBrush& b);

}  // namespace pxdab
