// Position, size and colour jitter, with the colour's round trip through HSV.
#include "brush/PXPaintBaseJitter.h"

#include <cmath>
#include <cstring>

PXPaintBaseJitter::PXPaintBaseJitter(PXSurface* s, PXTipFunction* t)
    : PXPaintBrush(s, t), size_jitter(0.0f), hue_jitter(0.0f), saturation_jitter(0.0f), value_jitter(0.0f) {}

PXPaintBaseJitter::~PXPaintBaseJitter() = default;

float PXPaintBaseJitter::Draw() {
    // The factor is the float with bits 0x3A802008, a little under 1/1023.
    static const float K = [] {
        const uint32_t bits = 0x3A802008u;
        float f;
        std::memcpy(&f, &bits, sizeof f);
        return f;
    }();
    return (float)((NextRand() >> 16) & 0x3FFu) * K;
}

namespace {

unsigned char Byte(float f) {
    return (unsigned char)(int)(f * 255.0f);
}

}  // namespace

void PXPaintBaseJitter::ApplyJitter(float& x, float& y, float& radius, PXPenPigment& c) {
    if (jitter > 0.0f) {
        const float amp = jitter * radius;
        const float u1 = Draw();
        const float u2 = Draw();
        x += amp * (2.0f * u1 - 1.0f);
        y += amp * (2.0f * u2 - 1.0f);
    }
    if (size_jitter > 0.0f) {
        const float u = Draw();
        radius = radius - size_jitter * radius * u;
        if (radius < 0.5f)
            radius = 0.5f;
    }
    if (!(hue_jitter > 0.0f) && !(saturation_jitter > 0.0f) && !(value_jitter > 0.0f))
        return;

    const float R = c.r / 255.0f, G = c.g / 255.0f, B = c.b / 255.0f;
    float V = R, m = R;
    if (G > V) V = G;
    if (B > V) V = B;
    if (G < m) m = G;
    if (B < m) m = B;
    float S = 0.0f, H = 0.0f;
    if (V != 0.0f) {
        S = (V - m) / V;
        if (S != 0.0f) {
            float h;
            // Red wins a tie for the maximum, then green.
            if (R == V)
                h = (G - B) / (V - m);
            else if (G == V)
                h = 2.0f + (B - R) / (V - m);
            else
                h = 4.0f + (R - G) / (V - m);
            H = h / 6.0f;
            if (H < 0.0f)
                H += 1.0f;
        }
    }
    if (hue_jitter > 0.0f) {
        const float u = Draw();
        H = H + hue_jitter * (u - 0.5f);
        H = H - std::floor(H);
    }
    if (saturation_jitter > 0.0f) {
        const float u = Draw();
        double s = (double)S + (double)saturation_jitter * ((double)u - 0.5);
        S = (float)(s < 0.0 ? 0.0 : s > 1.0 ? 1.0 : s);
    }
    if (value_jitter > 0.0f) {
        const float u = Draw();
        V = V + value_jitter * (u - 0.5f);
        V = V < 0.0f ? 0.0f : V > 1.0f ? 1.0f : V;
    }
    if (S == 0.0f) {
        c.r = c.g = c.b = Byte(V);
        return;
    }
    const float H6 = (H - std::floor(H)) * 6.0f;
    const int i = (int)H6;
    const float f = H6 - (float)i;
    const float P = (1.0f - S) * V, Q = (1.0f - S * f) * V, T = (1.0f - S * (1.0f - f)) * V;
    float r, g, b;
    switch (i) {
    case 0: r = V; g = T; b = P; break;
    case 1: r = Q; g = V; b = P; break;
    case 2: r = P; g = V; b = T; break;
    case 3: r = P; g = Q; b = V; break;
    case 4: r = T; g = P; b = V; break;
    default: r = V; g = P; b = Q; break;
    }
    c.r = Byte(r);
    c.g = Byte(g);
    c.b = Byte(b);
}
