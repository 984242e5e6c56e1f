// Image dabs: a bitmap turned along the stroke, scaled to the dab's diameter
// and drawn as two textured triangles by a 16.16 fixed-point rasteriser. The
// bitmap's byte 0 masks the brush colour (PXImageBrush: the bitmap is the colour).
#pragma once

#include "brush/PXPaintBaseJitter.h"

class PXPaintBaseJitterAngle : public PXPaintBaseJitter {
public:
    PXSurface* dab_image;  // not owned; null disables DrawLine; rows `width` apart
    float angle_jitter;    // degrees either way; read only with use_jitter
    float dab_diagonal;    // sqrt(width^2 + height^2) of dab_image, set with it

    PXPaintBaseJitterAngle(PXSurface* surface, PXTipFunction* tip);
    ~PXPaintBaseJitterAngle() override;

    float DrawLine(PenPoint from, PenPoint to, float carry) override;
    using PXPaintBaseJitter::ApplyDab;
    // Returns the radius. The angle 4294967296.0 stands for "direction unknown".
    virtual float ApplyDab(float x, float y, float pressure, float angle);
    virtual void DrawScanlineDA(int x, int y, int count, int u, int v, int du, int dv, int alpha);

    void CalcDstQuad(float x, float y, float scale, float angle, PixVertex& v0, PixVertex& v1, PixVertex& v2,
                     PixVertex& v3);
    // The caller's vertices stay unsorted.
    void DrawTriangle(PixVertex& a, PixVertex& b, PixVertex& c, int alpha);
    void DrawHalfTriangle(PixVertex& s1, PixVertex& e1, PixVertex& s2, PixVertex& e2, int alpha);
    void DrawHalfTriangleScanline(int y, int xs, int xe, int us, int ue, int vs, int ve, int alpha);
    void RotateMove(float x, float y, float dx, float dy, float sine, float cosine, PixVertex& out);
};

// Takes its colour from the bitmap.
class PXImageBrush : public PXPaintBaseJitterAngle {
public:
    PXImageBrush(PXSurface* surface, PXTipFunction* tip);
    ~PXImageBrush() override;
    void DrawScanlineDA(int x, int y, int count, int u, int v, int du, int dv, int alpha) override;
};

// The image dab with the image given by SetBristlDabImage.
class PXBristleBrush : public PXPaintBaseJitterAngle {
public:
    PXBristleBrush(PXSurface* surface, PXTipFunction* tip);
    ~PXBristleBrush() override;
};
