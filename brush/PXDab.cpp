// The round dab of the base brush: the large dab weighted by the tip, and the
// hard four-sample dab for radii below 2.0.
//
// The five tip classes of this library are run inline (picked by exact type,
// so a tip of any other class still goes through its virtual GetWeight), and
// the flat tip skips work it can prove: rows and columns its outer ring
// cannot reach, and the run of full-weight pixels in its core. Where the
// processor has SSE2 the flat tip's dabs run in lanes (PXDabLanes.cpp); the
// loops here are then the fallback for what the lanes do not take. Every
// pixel still gets the value the per-pixel rule gives.
#include <cmath>
#include <cstring>
#include <typeinfo>

#include "PXDabInk.h"
#include "PXDabParts.h"
#include "PXTipWeights.h"
#include "brush/PXPaintBrush.h"

namespace {

using pxdab::Ink;

// Column bound from a double, held within [lo, hi]: floor or ceiling, then
// the clamp (the clamp first keeps the conversion in range, and saves the
// library call that floor and ceil are on the baseline instruction set).
inline int FloorClamp(double v, int lo, int hi) {
    if (!(v > (double)lo))
        return lo;
    if (v > (double)hi)
        return hi;
    const int i = (int)v;
    return (double)i > v ? i - 1 : i;
}

inline int CeilClamp(double v, int lo, int hi) {
    if (!(v > (double)lo))
        return lo;
    if (v > (double)hi)
        return hi;
    const int i = (int)v;
    return (double)i < v ? i + 1 : i;
}

// Columns whose points at offset `off` in the pixel can lie within distance
// h of x, with two pixels of margin for rounding, clipped to [left, right).
inline void Span(float x, float off, double h, int left, int right, int& lo, int& hi) {
    lo = FloorClamp((double)x - off - h - 2.0, left, right);
    hi = CeilClamp((double)x - off + h + 3.0, left, right);
}

struct VirtualTip {
    PXTipFunction* t;
    float operator()(float r, double d) const { return t->GetWeight(r, d); }
};

template <float (*F)(float, double)>
struct InlineTip {
    float operator()(float r, double d) const { return F(r, d); }
};

template <class W>
void LargeDab(PXPaintBrush& b, W weight, float x, float y, float r, double S, int left, int top, int right,
              int bottom) {
    Ink ink(b);
    PXSurface* s = b.surface;
    for (int row = top; row < bottom; ++row) {
        PXPixel* line = s->pixels + (size_t)row * s->stride;
        const float dy = (float)row + 0.5f - y;
        const float dy2 = dy * dy;
        for (int col = left; col < right; ++col) {
            const float dx = (float)col + 0.5f - x;
            const int a = (int)((double)weight(r, (double)(dx * dx + dy2)) * S);
            if (a > 0)
                ink.Accumulate(line[col], a);
        }
    }
    b.new_pixels += ink.fresh;
}

// The flat tip: weight 1 where d <= r * r, a ring out to (r + 1)^2, 0 beyond,
// all comparisons on the float d. Along a row d first falls and then rises
// (every rounding step is monotone), so both zones are runs of columns.
void LargeFlatDab(PXPaintBrush& b, float x, float y, float r, double S, int left, int top, int right, int bottom) {
    Ink ink(b);
    PXSurface* s = b.surface;
    const float rr = r * r;
    const float q = r + 1.0f;
    const float qq = q * q;
    const int full = (int)((double)1.0f * S);
    auto dist = [x](int col, float dy2) {
        const float dx = (float)col + 0.5f - x;
        return dx * dx + dy2;
    };
    auto ring = [&](PXPixel* line, int from, int to, float dy2) {
        for (int col = from; col < to; ++col) {
            const int a = (int)((double)pxtip::Flat(r, (double)dist(col, dy2)) * S);
            if (a > 0)
                ink.Accumulate(line[col], a);
        }
    };
    for (int row = top; row < bottom; ++row) {
        const float dy = (float)row + 0.5f - y;
        const float dy2 = dy * dy;
        if (!(dy2 < qq))
            continue;  // d >= dy2 everywhere on this row: all weights 0
        PXPixel* line = s->pixels + (size_t)row * s->stride;
        int lo, hi;
        Span(x, 0.5f, std::sqrt((double)qq - dy2), left, right, lo, hi);
        // The estimate has margin; d is monotone on either side of its
        // lowest point, so trimming columns where d >= (r + 1)^2 from both
        // ends leaves exactly the run of columns with weight above 0.
        while (lo < hi && !(dist(lo, dy2) < qq))
            ++lo;
        while (hi > lo && !(dist(hi - 1, dy2) < qq))
            --hi;
        // Each row of a wide surface is a page of its own: ask for the next
        // row's part while this one is worked.
        if (row + 1 < bottom)
            for (int col = lo; col < hi; col += 16)
                __builtin_prefetch(line + s->stride + col, 1);
        int in_lo = hi, in_hi = hi;
        if (rr > dy2) {
            // The core shrunk by a pixel, then proven: d at both ends within
            // rr means d within rr on every column between.
            const double h = std::sqrt((double)rr - dy2);
            const int a0 = CeilClamp((double)x - 0.5 - h + 1.0, lo, hi);
            const int a1 = FloorClamp((double)x - 0.5 + h, lo, hi);
            if (a0 < a1 && dist(a0, dy2) <= rr && dist(a1 - 1, dy2) <= rr) {
                in_lo = a0;
                in_hi = a1;
                // Grown to the whole run of full weight, for the same reason.
                while (in_lo > lo && dist(in_lo - 1, dy2) <= rr)
                    --in_lo;
                while (in_hi < hi && dist(in_hi, dy2) <= rr)
                    ++in_hi;
            }
        }
        ring(line, lo, in_lo, dy2);
        if (full > 0 && in_hi > in_lo)
            ink.AccumulateRun(line + in_lo, in_hi - in_lo, full);
        ring(line, in_hi, hi, dy2);
    }
    b.new_pixels += ink.fresh;
}

// Four samples a pixel at .25 and .75, summed in the order (.25, .25),
// (.25, .75), (.75, .25), (.75, .75); solid above half coverage. With the flat
// tip, rows and columns whose samples all lie past the ring sum to 0 and are
// left out.
template <class W>
void SmallDabLoop(PXPaintBrush& b, W weight, bool flat, float x, float y, float r, int left, int top, int right,
                  int bottom) {
    Ink ink(b);
    PXSurface* s = b.surface;
    const float q = r + 1.0f;
    const float qq = q * q;
    for (int row = top; row < bottom; ++row) {
        const float dy0 = (float)row + 0.25f - y, dy1 = (float)row + 0.75f - y;
        const float e0 = dy0 * dy0, e1 = dy1 * dy1;
        int lo = left, hi = right;
        if (flat) {
            const float e = e0 < e1 ? e0 : e1;
            if (!(e < qq))
                continue;
            Span(x, 0.5f, std::sqrt((double)qq - e) + 0.25, left, right, lo, hi);
        }
        PXPixel* line = s->pixels + (size_t)row * s->stride;
        for (int col = lo; col < hi; ++col) {
            const float dx0 = (float)col + 0.25f - x, dx1 = (float)col + 0.75f - x;
            const float f0 = dx0 * dx0, f1 = dx1 * dx1;
            float sum = weight(r, (double)(f0 + e0));
            sum += weight(r, (double)(f0 + e1));
            sum += weight(r, (double)(f1 + e0));
            sum += weight(r, (double)(f1 + e1));
            if (sum * 255.0 * 0.25 <= 127.5)
                continue;
            ink.Solid(line[col]);
        }
    }
    b.new_pixels += ink.fresh;
}

}  // namespace

namespace pxdab {

void SmallDab(PXPaintBrush& b, float x, float y, float r, int left, int top, int right, int bottom) {
    const std::type_info& t = typeid(*b.tip);
    if (t == typeid(PXFlatTipFunction)) {
#if defined(__SSE2__)
        if (!SmallFlatDabLanes(b, x, y, r, left, top, right, bottom))
#endif
            SmallDabLoop(b, InlineTip<pxtip::Flat>(), true, x, y, r, left, top, right, bottom);
    } else if (t == typeid(PXDullAntiAliasingTipFunction))
        SmallDabLoop(b, InlineTip<pxtip::DullAA>(), false, x, y, r, left, top, right, bottom);
    else
        SmallDabLoop(b, VirtualTip{b.tip}, false, x, y, r, left, top, right, bottom);
}

}  // namespace pxdab

float PXPaintBrush::ApplyDab(float x, float y, float pressure) {
    float r = pxdab::Radius(*this, pressure);
    int left, top, right, bottom;
    // A jittered colour stays in the brush.
    if (!pxdab::Place(*this, x, y, r, left, top, right, bottom))
        return 0.0f;
    const float q = 1.0f - pressure;
    if (r < 2.0f) {
        pxdab::SmallDab(*this, x, y, r, left, top, right, bottom);
        return r;
    }
    const double S = (double)((min_opacity * q + pressure) * opacity) * 255.0;
    const std::type_info& t = typeid(*tip);
    if (t == typeid(PXFlatTipFunction)) {
#if defined(__SSE2__)
        if (!pxdab::LargeFlatDabLanes(*this, x, y, r, S, left, top, right, bottom))
#endif
            LargeFlatDab(*this, x, y, r, S, left, top, right, bottom);
    }
    else if (t == typeid(PXDullAntiAliasingTipFunction))
        LargeDab(*this, InlineTip<pxtip::DullAA>(), x, y, r, S, left, top, right, bottom);
    else if (t == typeid(PXDullTipFunction))
        LargeDab(*this, InlineTip<pxtip::Dull>(), x, y, r, S, left, top, right, bottom);
    else if (t == typeid(PXLinearTipFunction))
        LargeDab(*this, InlineTip<pxtip::Linear>(), x, y, r, S, left, top, right, bottom);
    else if (t == typeid(PXLinearTipFunction2))
        LargeDab(*this, InlineTip<pxtip::Linear2>(), x, y, r, S, left, top, right, bottom);
    else
        LargeDab(*this, VirtualTip{tip}, x, y, r, S, left, top, right, bottom);
    return r;
}
