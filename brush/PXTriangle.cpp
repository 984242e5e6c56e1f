// The textured-triangle rasteriser of the image dab: two half triangles of
// 16.16 edges, clipped per row and per span, and the mask scanlines.
#include <utility>

#include "PXDabParts.h"
#include "PXFixed.h"
#include "brush/PXPaintBaseJitterAngle.h"

using pxfix::Add;
using pxfix::Div;
using pxfix::Fix;
using pxfix::Mul;
using pxfix::Sub;
using pxfix::Trunc;

void PXPaintBaseJitterAngle::DrawTriangle(PixVertex& pa, PixVertex& pb, PixVertex& pc, int alpha) {
    PixVertex a = pa, b = pb, c = pc;
    if (a.y > b.y)
        std::swap(a, b);
    if (c.y < a.y)
        std::swap(a, c);
    if (c.y < b.y)
        std::swap(b, c);
    if (c.y <= a.y || c.y <= 0.0f || a.y >= (float)surface->height)
        return;
    if (a.x < 0.0f && b.x < 0.0f && c.x < 0.0f)
        return;
    const float w = (float)surface->width;
    if (a.x >= w && b.x >= w && c.x >= w)
        return;
    DrawHalfTriangle(a, b, a, c, alpha);
    DrawHalfTriangle(b, c, a, c, alpha);
}

namespace {

struct Edge {
    int X, U, V, dX, dU, dV;
};

Edge MakeEdge(const PixVertex& s, const PixVertex& e, float W, float H, int n) {
    Edge g{Fix(s.x), Fix(s.u * W), Fix(s.v * H), 0, 0, 0};
    if (n > 0) {
        g.dX = Div(Sub(Fix(e.x), g.X), n);
        g.dU = Div(Fix((e.u - s.u) * W), n);
        g.dV = Div(Fix((e.v - s.v) * H), n);
    }
    return g;
}

void Step(Edge& g, int k) {
    g.X = Add(g.X, Mul(k, g.dX));
    g.U = Add(g.U, Mul(k, g.dU));
    g.V = Add(g.V, Mul(k, g.dV));
}

}  // namespace

void PXPaintBaseJitterAngle::DrawHalfTriangle(PixVertex& s1, PixVertex& e1, PixVertex& s2, PixVertex& e2,
                                              int alpha) {
    const float W = (float)(dab_image->width - 1), H = (float)(dab_image->height - 1);
    const int y0 = Trunc(s1.y), y1 = Trunc(e1.y);
    const int first = y0 > 0 ? y0 : 0;
    const int last = y1 < surface->height ? y1 : surface->height;
    if (last <= first)
        return;
    const int y2 = Trunc(s2.y);
    Edge g1 = MakeEdge(s1, e1, W, H, Sub(Sub(y1, y0), 1));
    Edge g2 = MakeEdge(s2, e2, W, H, Sub(Sub(Trunc(e2.y), y2), 1));
    Step(g1, Sub(first, y0));
    Step(g2, Sub(first, y2));
    for (int row = first; row < last; ++row) {
        // A span under one pixel is skipped.
        if (Sub(g2.X, g1.X) > 65535)
            DrawHalfTriangleScanline(row, g1.X, g2.X, g1.U, g2.U, g1.V, g2.V, alpha);
        else if (Sub(g1.X, g2.X) > 65535)
            DrawHalfTriangleScanline(row, g2.X, g1.X, g2.U, g1.U, g2.V, g1.V, alpha);
        Step(g1, 1);
        Step(g2, 1);
    }
}

void PXPaintBaseJitterAngle::DrawHalfTriangleScanline(int y, int xs, int xe, int us, int ue, int vs, int ve,
                                                      int alpha) {
    const int dx = Sub(xe, xs);
    int du = 0, dv = 0;
    if (dx != 0) {
        du = pxfix::Wrap((int64_t)Sub(ue, us) * 65536 / dx);
        dv = pxfix::Wrap((int64_t)Sub(ve, vs) * 65536 / dx);
    }
    // Back to the pixel's left edge.
    const int f = (xs >> 8) & 255;
    int u = Sub(us, Mul(f, du) / 256);
    int v = Sub(vs, Mul(f, dv) / 256);
    int x0 = xs >> 16;
    if (x0 < 0) {
        u = Sub(u, Mul(x0, du));
        v = Sub(v, Mul(x0, dv));
        x0 = 0;
    }
    int x1 = xe >> 16;
    if (x1 > surface->width)
        x1 = surface->width;
    if (x0 >= x1)
        return;
    DrawScanlineDA(x0, y, x1 - x0, u, v, du, dv, alpha);
}

namespace {

// Clamped bilinear sample position: the start of the upper row, fractions
// in 0..255, the step to the right-hand column and the offset to the lower row.
struct Sample {
    int at, fx, fy, step, down;
};

Sample Locate(const PXSurface* img, int u, int v) {
    Sample s{0, 0, 0, 0, 0};
    if (v >= 0) {
        const int lim = (img->height - 1) * 65536;
        const int vc = v < lim ? v : lim;
        s.at = (vc >> 16) * img->width;
        s.fy = (vc & 0xFFFF) >> 8;
        s.down = (vc & 0xFFFF) != 0 ? img->width : 0;
    }
    // Negative positions clamp to row or column 0 without interpolation.
    if (u >= 0) {
        const int lim = (img->width - 1) * 65536;
        const int uc = u < lim ? u : lim;
        s.at += uc >> 16;
        s.fx = (uc & 0xFFFF) >> 8;
        s.step = (uc & 0xFFFF) != 0 ? 1 : 0;
    }
    return s;
}

inline int Mix(int p00, int p10, int p01, int p11, int fx, int fy) {
    return (((p11 * fx + p01 * (256 - fx)) * fy + (p00 * (256 - fx) + p10 * fx) * (256 - fy)) >> 16);
}

// The upper row of r and a takes the right-hand sample alone.
inline int MixUpperRight(int p10, int p01, int p11, int fx, int fy) {
    return (((p11 * fx + p01 * (256 - fx)) * fy + p10 * 256 * (256 - fy)) >> 16);
}

}  // namespace

void PXPaintBaseJitterAngle::DrawScanlineDA(int x, int y, int count, int u, int v, int du, int dv, int alpha) {
    // The destination row is found by the width, not the stride.
    PXPixel* dst = surface->pixels + (size_t)y * surface->width + x;
    const PXPixel* img = dab_image->pixels;
    for (int i = 0; i < count; ++i) {
        const Sample s = Locate(dab_image, u, v);
        const int p00 = img[s.at].b, p10 = img[s.at + s.step].b;
        const int p01 = img[s.at + s.down].b, p11 = img[s.at + s.down + s.step].b;
        const int m = Mix(p00, p10, p01, p11, s.fx, s.fy);
        const int a = Mul(m, alpha) / 255;
        if (a > 0)
            pxdab::Accumulate(*this, dst[i], a);
        u = Add(u, du);
        v = Add(v, dv);
    }
}

void PXImageBrush::DrawScanlineDA(int x, int y, int count, int u, int v, int du, int dv, int alpha) {
    PXPixel* dst = surface->pixels + (size_t)y * surface->width + x;
    const PXPixel* img = dab_image->pixels;
    for (int i = 0; i < count; ++i) {
        const Sample s = Locate(dab_image, u, v);
        const PXPixel p00 = img[s.at], p10 = img[s.at + s.step];
        const PXPixel p01 = img[s.at + s.down], p11 = img[s.at + s.down + s.step];
        u = Add(u, du);
        v = Add(v, dv);
        const int ma = MixUpperRight(p10.a, p01.a, p11.a, s.fx, s.fy);
        const int a = (Mul(ma, alpha) >> 8) & 255;
        if (a == 0)
            continue;
        PXPixel& px = dst[i];
        if (px.a == 0) {
            px.b = (uint8_t)Mix(p00.b, p10.b, p01.b, p11.b, s.fx, s.fy);
            px.g = (uint8_t)Mix(p00.g, p10.g, p01.g, p11.g, s.fx, s.fy);
            px.r = (uint8_t)MixUpperRight(p10.r, p01.r, p11.r, s.fx, s.fy);
            px.a = (uint8_t)a;
            new_pixels++;
        } else {
            const int A = px.a;
            const int n = (A + a - ((A * (a + 1)) >> 8)) & 255;
            // Capped by the dab's own strength, not by color.a.
            px.a = (uint8_t)(n < a ? n : a);
        }
    }
}
