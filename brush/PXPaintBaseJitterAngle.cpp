// The image dab's stroke walk, its quad and the vertex rotation.
#include "brush/PXPaintBaseJitterAngle.h"

#include <cmath>
#include <cstring>
#include <initializer_list>

#include "PXFixed.h"

PXPaintBaseJitterAngle::PXPaintBaseJitterAngle(PXSurface* s, PXTipFunction* t)
    : PXPaintBaseJitter(s, t), dab_image(nullptr), angle_jitter(0.0f), dab_diagonal(0.0f) {}

// The image belongs to whoever handed it in.
PXPaintBaseJitterAngle::~PXPaintBaseJitterAngle() = default;

PXImageBrush::PXImageBrush(PXSurface* s, PXTipFunction* t) : PXPaintBaseJitterAngle(s, t) {}
PXImageBrush::~PXImageBrush() = default;
PXBristleBrush::PXBristleBrush(PXSurface* s, PXTipFunction* t) : PXPaintBaseJitterAngle(s, t) {}
PXBristleBrush::~PXBristleBrush() = default;

float PXPaintBaseJitterAngle::DrawLine(PenPoint from, PenPoint to, float c) {
    if (dab_image == nullptr)
        return 0.0f;
    const float dx = to.x - from.x, dy = to.y - from.y;
    const float len = std::sqrt(dx * dx + dy * dy);
    if (len == 0.0f) {
        if (c > 0.0f)
            return c;
        // 2^32 marks a dab whose direction is unknown; it is passed on as is.
        const float r = ApplyDab(from.x, from.y, from.pressure, 4294967296.0f);
        const float s = 2.0f * r * spacing;
        return s > min_spacing ? s : min_spacing;
    }
    if (c > len)
        return c - len;
    const float angle = (float)std::atan2((double)dy, (double)dx);
    const float ux = dx / len, uy = dy / len;
    float t = c;
    while (t <= len) {
        const float r = ApplyDab(from.x + t * ux, from.y + t * uy,
                                 from.pressure + (t / len) * (to.pressure - from.pressure), angle);
        const float s = 2.0f * r * spacing;
        t += s > min_spacing ? s : min_spacing;
    }
    return t - len;
}

float PXPaintBaseJitterAngle::ApplyDab(float x, float y, float pressure, float angle) {
    const float q = 1.0f - pressure;
    const float D = (q * min_size + pressure) * size;
    const float strength = (min_opacity * q + pressure) * opacity;
    float radius = 0.5f, E = 1.0f;
    if (D > 1.0f) {
        radius = D * 0.5f;
        E = radius + radius;
    }
    // Fixed before the jitter: a jittered radius does not reach the image.
    const float scale = E / dab_diagonal;
    if (use_jitter) {
        // With use_jitter and no angle jitter every dab is drawn unturned.
        if (angle_jitter > 0.0f) {
            const uint32_t pi_bits = 0x40490FD0u;  // 3.14159 as a float
            float pi;
            std::memcpy(&pi, &pi_bits, sizeof pi);
            const float u = Draw();
            angle = angle + (2.0f * u - 1.0f) * (angle_jitter * pi / 180.0f);
        } else {
            angle = 0.0f;
        }
        ApplyJitter(x, y, radius, color);
    }
    PixVertex v0, v1, v2, v3;
    CalcDstQuad(x, y, scale, angle, v0, v1, v2, v3);
    const int alpha = pxfix::Trunc((double)strength * 255.0);
    DrawTriangle(v0, v1, v2, alpha);
    DrawTriangle(v0, v2, v3, alpha);
    return radius;
}

void PXPaintBaseJitterAngle::CalcDstQuad(float x, float y, float scale, float angle, PixVertex& v0,
                                         PixVertex& v1, PixVertex& v2, PixVertex& v3) {
    const float hx = -((float)dab_image->width * 0.5f) * scale;
    const float hy = -((float)dab_image->height * 0.5f) * scale;
    v0 = {hx, hy, 0.0f, 0.0f};
    v1 = {-hx, hy, 1.0f, 0.0f};
    v2 = {-hx, -hy, 1.0f, 1.0f};
    v3 = {hx, -hy, 0.0f, 1.0f};
    const float c = (float)std::cos(-(double)angle);
    const float s = (float)std::sin(-(double)angle);
    // The half size is truncated to whole pixels while the centre keeps its
    // fraction, so neighbouring dabs of one size have one shape.
    for (PixVertex* v : {&v0, &v1, &v2, &v3}) {
        const float X = std::trunc(v->x), Y = std::trunc(v->y);
        v->x = c * X - s * Y + x;
        v->y = s * X + c * Y + y;
    }
}

void PXPaintBaseJitterAngle::RotateMove(float x, float y, float dx, float dy, float sine, float cosine,
                                        PixVertex& out) {
    out.x = x * cosine - y * sine + dx;
    out.y = x * sine + y * cosine + dy;
}
