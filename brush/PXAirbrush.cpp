// Airbrushes, and the soft disc and speed model they share with the fountain pen.
#include "brush/PXAirbrush.h"

#include <algorithm>
#include <cmath>

#include "PXDabInk.h"
#include "PXDabParts.h"
#include "PXFixed.h"

namespace pxdab {

void SoftDisc(PXPaintBrush& b, float x, float y, float r, float S,
              int left, int top, int right, int bottom) {
#if defined(__SSE2__)
    if (SoftDiscLanes(b, x, y, r, S, left, top, right, bottom))
        return;
#endif
    PXSurface* s = b.surface;
    // Both zone bounds are squared in float, the constants floats; the outer
    // weight below uses the double 0.8.
    const float inner = (r - 0.2f) * (r - 0.2f);
    const float outer = (r + 0.8f) * (r + 0.8f);
    const float rr = r * r;
    const double rOuter = (double)r + 0.8;
    const double S255 = (double)S;
    for (int row = top; row < bottom; ++row) {
        PXPixel* line = s->pixels + (size_t)row * s->stride;
        const float dy = (float)row + 0.5f - y;
        const float dy2 = dy * dy;
        if (!(outer > dy2))
            continue;
        // Columns whose centre can fall inside the outer ring, with a pixel of
        // margin; every pixel in it is still tested exactly.
        const double hw = std::sqrt((double)outer - dy2);
        const int lo = std::max(left, pxdab::EdgeInt((float)std::floor(x - 0.5 - hw)) - 1);
        const int hi = std::min(right, pxdab::EdgeInt((float)std::ceil(x - 0.5 + hw)) + 2);
        for (int col = lo; col < hi; ++col) {
            const float dx = (float)col + 0.5f - x;
            const float d = dx * dx + dy2;
            // A pressure far above 1 (the stroke front end does not clamp
            // it) can give a strength past the int range; the conversion then
            // yields INT_MIN, as the processor's does, and the pixel is skipped.
            int a;
            if (inner > d)
                a = pxfix::Trunc(S255 * std::sqrt(1.0 - (double)(d / rr)) * 255.0);
            else if (outer > d)
                a = pxfix::Trunc((rOuter - std::sqrt((double)d)) * S255 * 51.0);
            else
                continue;
            if (a <= 0)
                continue;
            Accumulate(b, line[col], a);
        }
    }
}

// Seeds the ring with the first sample, as the base brush does.
static void Seed(PXPaintBrush& b, float x, float y, float pressure) {
    for (int i = 0; i < 3; ++i) {
        b.points[i].x = x;
        b.points[i].y = y;
        b.points[i].pressure = pressure;
    }
    b.points[1].aux0 = b.points[2].aux0 = b.points[0].aux0;
    b.points[1].aux1 = b.points[2].aux1 = b.points[0].aux1;
    for (int i = 0; i < 4; ++i)
        b.filtered[i] = b.points[i];
    b.point_count = 3;
}

PXRectangle* SpeedStrokePoint(PXPaintBrush& b, float* hist, float x, float y, float pressure) {
    if (b.surface == nullptr || x < 0.0f || y < 0.0f || pressure < 0.0f || b.point_count < 0) {
        b.dirty = PXRectangle();
        return &b.dirty;
    }
    float speed = 100.0f;
    if (b.point_count == 0) {
        Seed(b, x, y, pressure);
        hist[0] = hist[1] = hist[2] = 100.0f;
    } else if (b.point_count > 3) {
        const PenPoint& last = b.points[(b.point_count - 1) & 3];
        const float dx = x - last.x, dy = y - last.y;
        const float dist = std::sqrt(dx * dx + dy * dy);
        speed = (hist[0] + hist[1] + hist[2] + dist) * 0.25f;
        if (speed < 6.0f)
            speed = 6.0f;
    }
    const int c = b.point_count;
    PenPoint& A = b.points[(c - 3) & 3];
    PenPoint& B = b.points[(c - 2) & 3];
    PenPoint& C = b.points[(c - 1) & 3];
    const float a = atan2f(C.y - A.y, C.x - A.x);
    hist[0] = hist[1];
    hist[1] = hist[2];
    hist[2] = speed;

    // Full pressure along 75 degrees, less across it. 3.1415925 is the
    // constant this pen has always used, not the float nearest pi.
    float f;
    if (a > -0.26179937f && a < 2.8797932f) {
        f = 1.0f - std::fabs(1.3089968f - a) * 0.8f / 3.1415925f;
    } else {
        const float e = a < 0.0f ? std::fabs(a + 1.3089968f) * 0.4f : (a - 1.3089968f) * 0.4f;
        f = 0.7f - e / 3.1415925f;
    }
    const float g = (1.0f - f) * 6.0f / speed + f;
    const float p = g * (pressure * g);
    if (b.point_count < 4)
        A.pressure = B.pressure = C.pressure = p;
    PenPoint& N = b.points[c & 3];
    N.x = x;
    N.y = y;
    N.pressure = p;
    b.InterpolateStroke(B, C, N);
    b.point_count++;
    return &b.dirty;
}

PXRectangle* SpeedEndStroke(PXPaintBrush& b) {
    if (b.surface == nullptr || b.point_count <= 0) {
        b.dirty = PXRectangle();
        return &b.dirty;
    }
    if (b.finish_stroke) {
        const int c = b.point_count;
        b.points[c & 3] = b.points[(c - 1) & 3];
        b.InterpolateStroke(b.points[(c - 2) & 3], b.points[(c - 1) & 3], b.points[(c - 1) & 3]);
    }
    b.point_count = -1;
    return &b.dirty;
}

}  // namespace pxdab

PXDigitalAirbrush::PXDigitalAirbrush(PXSurface* surface, PXTipFunction* tip) : PXPaintBrush(surface, tip) {}
PXDigitalAirbrush::~PXDigitalAirbrush() = default;

PXGraffitiAirbrush::PXGraffitiAirbrush(PXSurface* surface, PXTipFunction* tip)
    : PXPaintBrush(surface, tip), speed_hist{0.0f, 0.0f, 0.0f} {}
PXGraffitiAirbrush::~PXGraffitiAirbrush() = default;
PXFineSprayAirbrush::~PXFineSprayAirbrush() = default;

PXRectangle* PXGraffitiAirbrush::StrokePoint(float x, float y, float pressure) {
    return pxdab::SpeedStrokePoint(*this, speed_hist, x, y, pressure);
}

PXRectangle* PXGraffitiAirbrush::EndStroke() {
    return pxdab::SpeedEndStroke(*this);
}

// Soft disc whose diameter follows the squared pressure; no small-dab path.
float PXGraffitiAirbrush::ApplyDab(float x, float y, float p) {
    const float p2 = p * p;
    float r = pxdab::Radius(*this, p2);
    int left, top, right, bottom;
    if (!pxdab::Place(*this, x, y, r, left, top, right, bottom))
        return 0.0f;
    const float S = ((1.0f - p) * min_opacity + p) * opacity;
    pxdab::SoftDisc(*this, x, y, r, S, left, top, right, bottom);
    return r;
}
