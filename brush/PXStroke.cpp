// The stroke core: samples through two smoothing stages into a cubic
// B-spline, cut into straight steps along which DrawLine places the dabs.
// All arithmetic is 32-bit float, in the order written.
#include <cmath>

#include "PXDabParts.h"
#include "brush/PXPaintBrush.h"

namespace {

inline float Clamp01(float p) { return p < 0.0f ? 0.0f : (p > 1.0f ? 1.0f : p); }

// Floored box of a step from a to b grown by m on every side, clipped to s.
PXRectangle StepBox(const PenPoint& a, const PenPoint& b, float m, const PXSurface* s) {
    const float x0 = a.x < b.x ? a.x : b.x, x1 = a.x < b.x ? b.x : a.x;
    const float y0 = a.y < b.y ? a.y : b.y, y1 = a.y < b.y ? b.y : a.y;
    PXRectangle r;
    r.left = pxdab::EdgeInt(std::floor(x0 - m));
    r.top = pxdab::EdgeInt(std::floor(y0 - m));
    r.right = pxdab::EdgeInt(std::floor(x1 + m));
    r.bottom = pxdab::EdgeInt(std::floor(y1 + m));
    if (r.left < 0)
        r.left = 0;
    if (r.top < 0)
        r.top = 0;
    if (r.right > s->width)
        r.right = s->width;
    if (r.bottom > s->height)
        r.bottom = s->height;
    return r;
}

}  // namespace

void PXPaintBrush::BeginStroke() {
    carry = 0.0f;
    dirty = PXRectangle(0, 0, 0, 0);
    point_count = 0;
}

PXRectangle* PXPaintBrush::StrokePoint(float x, float y, float pressure) {
    if (surface == nullptr || x < 0.0f || y < 0.0f || pressure < 0.0f || point_count < 0) {
        dirty = PXRectangle(0, 0, 0, 0);
        return &dirty;
    }
    if (point_count == 0) {
        // The first sample fills three slots, so it already draws: four
        // coinciding points make one dab. The stale fourth slot is copied too.
        for (int i = 0; i < 3; ++i) {
            points[i].x = x;
            points[i].y = y;
            points[i].pressure = pressure;
        }
        points[1].aux0 = points[2].aux0 = points[0].aux0;
        points[1].aux1 = points[2].aux1 = points[0].aux1;
        for (int i = 0; i < 4; ++i)
            filtered[i] = points[i];
        point_count = 3;
    }
    const int c = point_count;
    points[c & 3].x = x;
    points[c & 3].y = y;
    points[c & 3].pressure = pressure;
    InterpolateStroke(points[(c - 3) & 3], points[(c - 2) & 3], points[(c - 1) & 3], points[c & 3]);
    point_count++;
    return &dirty;
}

PXRectangle* PXPaintBrush::EndStroke() {
    if (surface == nullptr || point_count <= 0) {
        dirty = PXRectangle(0, 0, 0, 0);
        return &dirty;
    }
    if (finish_stroke) {
        const int c = point_count;
        points[c & 3] = points[(c - 1) & 3];
        InterpolateStroke(points[(c - 3) & 3], points[(c - 2) & 3], points[(c - 1) & 3], points[(c - 1) & 3]);
    }
    // Only BeginStroke makes the brush draw again; carry stays until then.
    point_count = -1;
    return &dirty;
}

void PXPaintBrush::InterpolateStroke(PenPoint p0, PenPoint p1, PenPoint p2, PenPoint p3) {
    const PenPoint p[4] = {p0, p1, p2, p3};
    // The 0.05 shifts every smoothed point by about 0.0083 in x, y and
    // pressure alike; drawings have always carried that shift.
    filtered[2].x = (4.0f * p1.x + p2.x + p0.x + 0.05f) / 6.0f;
    filtered[2].y = (4.0f * p1.y + p2.y + p0.y + 0.05f) / 6.0f;
    filtered[2].pressure = (4.0f * p1.pressure + p2.pressure + p0.pressure + 0.05f) / 6.0f;
    filtered[3].x = (4.0f * p2.x + p1.x + p3.x + 0.05f) / 6.0f;
    filtered[3].y = (4.0f * p2.y + p1.y + p3.y + 0.05f) / 6.0f;
    filtered[3].pressure = (4.0f * p2.pressure + p1.pressure + p3.pressure + 0.05f) / 6.0f;
    // A lag: filtered[0] and [1] still hold what the two calls before left.
    for (int i = 0; i < 4; ++i) {
        control[i].x = (5.0f * p[i].x + filtered[i].x) / 6.0f;
        control[i].y = (5.0f * p[i].y + filtered[i].y) / 6.0f;
        control[i].pressure = (5.0f * p[i].pressure + filtered[i].pressure) / 6.0f;
    }
    const PenPoint* k = control;
    seg_start.x = (k[0].x + 4.0f * k[1].x + k[2].x) / 6.0f;
    seg_start.y = (k[0].y + 4.0f * k[1].y + k[2].y) / 6.0f;
    seg_start.pressure = Clamp01((k[0].pressure + 4.0f * k[1].pressure + k[2].pressure) / 6.0f);
    seg_end.x = (k[1].x + 4.0f * k[2].x + k[3].x) / 6.0f;
    seg_end.y = (k[1].y + 4.0f * k[2].y + k[3].y) / 6.0f;
    seg_end.pressure = Clamp01((k[1].pressure + 4.0f * k[2].pressure + k[3].pressure) / 6.0f);
    seg_mid.x = (0.125f * k[0].x + 2.875f * k[1].x + 2.875f * k[2].x + 0.125f * k[3].x) / 6.0f;
    seg_mid.y = (0.125f * k[0].y + 2.875f * k[1].y + 2.875f * k[2].y + 0.125f * k[3].y) / 6.0f;
    seg_mid.pressure =
        Clamp01((0.125f * k[0].pressure + 2.875f * k[1].pressure + 2.875f * k[2].pressure + 0.125f * k[3].pressure) /
                6.0f);

    // Only this piece's rectangle, not accumulated over samples. The box is
    // floored while a dab reaches half a pixel further, so the stroke surface
    // can hold faint pixels just past it; they are never copied, and the
    // surface is cleared after the stroke.
    const float m = std::ceil(size * 0.5f * (jitter + 1.0f)) + 1.0f;
    const PXRectangle a = StepBox(seg_start, seg_mid, m, surface);
    const PXRectangle b = StepBox(seg_mid, seg_end, m, surface);
    dirty.left = a.left < b.left ? a.left : b.left;
    dirty.top = a.top < b.top ? a.top : b.top;
    dirty.right = a.right > b.right ? a.right : b.right;
    dirty.bottom = a.bottom > b.bottom ? a.bottom : b.bottom;

    // One step per 4 pixels of chord, so a fast pen leaves no corners.
    const float cx = seg_end.x - seg_start.x, cy = seg_end.y - seg_start.y;
    const int n = (int)(0.25f * std::sqrt(cx * cx + cy * cy) + 0.5f);
    if (n <= 1) {
        carry = DrawLine(seg_start, seg_end, carry);
    } else {
        for (int i = 1; i <= n; ++i) {
            const float t = (float)i / (float)n;
            const float t2 = t * t, t3 = t2 * t;
            const float b0 = 3.0f * t2 - t3 - 3.0f * t + 1.0f;
            const float b1 = 3.0f * t3 - 6.0f * t2 + 4.0f;
            const float b2 = -3.0f * t3 + 3.0f * t2 + 3.0f * t + 1.0f;
            const float b3 = t3;
            seg_end.x = (b1 * k[1].x + b0 * k[0].x + b2 * k[2].x + b3 * k[3].x) / 6.0f;
            seg_end.y = (b1 * k[1].y + b0 * k[0].y + b2 * k[2].y + b3 * k[3].y) / 6.0f;
            seg_end.pressure =
                Clamp01((b1 * k[1].pressure + b0 * k[0].pressure + b2 * k[2].pressure + b3 * k[3].pressure) / 6.0f);
            carry = DrawLine(seg_start, seg_end, carry);
            seg_start = seg_end;
        }
    }
    filtered[0] = filtered[1];
    filtered[1] = filtered[2];
}

void PXPaintBrush::InterpolateStroke(PenPoint p0, PenPoint p1, PenPoint p2) {
    PenPoint a{}, b{};
    a.x = (p1.x + p0.x) * 0.5f;
    a.y = (p1.y + p0.y) * 0.5f;
    a.pressure = (p1.pressure + p0.pressure) * 0.5f;
    b.x = (p1.x + p2.x) * 0.5f;
    b.y = (p1.y + p2.y) * 0.5f;
    b.pressure = (p1.pressure + p2.pressure) * 0.5f;

    // Here the edges are truncated, where the four-point form floors them.
    const float m = std::ceil(size * 0.5f * (jitter + 1.0f)) + 1.0f;
    auto lo = [](float u, float v, float w) { return u < v ? (u < w ? u : w) : (v < w ? v : w); };
    auto hi = [](float u, float v, float w) { return u > v ? (u > w ? u : w) : (v > w ? v : w); };
    const float l = lo(a.x, b.x, p1.x) - m, t = lo(a.y, b.y, p1.y) - m;
    float r = hi(a.x, b.x, p1.x) + m, btm = hi(a.y, b.y, p1.y) + m;
    if (r > (float)surface->width)
        r = (float)surface->width;
    if (btm > (float)surface->height)
        btm = (float)surface->height;
    dirty.left = l < 0.0f ? 0 : pxdab::EdgeInt(l);
    dirty.top = t < 0.0f ? 0 : pxdab::EdgeInt(t);
    dirty.right = pxdab::EdgeInt(r);
    dirty.bottom = pxdab::EdgeInt(btm);

    // One step per 5 pixels of the control polygon.
    const float ax = p1.x - a.x, ay = p1.y - a.y, bx = b.x - p1.x, by = b.y - p1.y;
    const int n = (int)(0.2f * (std::sqrt(ax * ax + ay * ay) + std::sqrt(bx * bx + by * by)) + 0.5f);
    if (n < 2) {
        carry = DrawLine(a, b, carry);
        return;
    }
    seg_start = a;
    for (int i = 1; i <= n; ++i) {
        const float u = (float)i / (float)n;
        const float v = 1.0f - u;
        seg_end.x = v * v * a.x + 2.0f * u * v * p1.x + u * u * b.x;
        seg_end.y = v * v * a.y + 2.0f * u * v * p1.y + u * u * b.y;
        seg_end.pressure = v * v * a.pressure + 2.0f * u * v * p1.pressure + u * u * b.pressure;
        carry = DrawLine(seg_start, seg_end, carry);
        seg_start = seg_end;
    }
}

float PXPaintBrush::DrawLine(PenPoint from, PenPoint to, float c) {
    const float dx = to.x - from.x, dy = to.y - from.y;
    const float len = std::sqrt(dx * dx + dy * dy);
    if (len == 0.0f) {
        if (c > 0.0f)
            return c;
        const float r = ApplyDab(from.x, from.y, from.pressure);
        const float s = 2.0f * r * spacing;
        return s > min_spacing ? s : min_spacing;
    }
    if (c > len)
        return c - len;
    // Spacing follows the size of the dab just painted: a larger dab steps further.
    const float ux = dx / len, uy = dy / len;
    float t = c;
    while (t <= len) {
        const float r = ApplyDab(from.x + t * ux, from.y + t * uy, from.pressure + (t / len) * (to.pressure - from.pressure));
        const float s = 2.0f * r * spacing;
        t += s > min_spacing ? s : min_spacing;
    }
    return t - len;
}
