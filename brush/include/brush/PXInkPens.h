// The ink family: felt pen, fountain pens, marker, and the correction tools.
#pragma once

#include "brush/PXPaintBrush.h"

// Base brush with its own tip choice: sizes above ANTI_ALIASING_THRESHOLD take
// the dull tip, smaller ones the anti-aliased one.
class PXFeltPen : public PXPaintBrush {
public:
    static constexpr float ANTI_ALIASING_THRESHOLD = 20.0f;

    PXTipFunction* tip_large;
    PXTipFunction* tip_small;

    PXFeltPen(PXSurface* surface, PXTipFunction* tip);
    ~PXFeltPen() override;
    void SetSize(float size) override;
};

// Soft disc at half the pressure, fed by the airbrush's speed and direction model.
class PXFountainPen : public PXPaintBrush {
public:
    float speed_hist[3];

    PXFountainPen(PXSurface* surface, PXTipFunction* tip);
    ~PXFountainPen() override;
    PXRectangle* StrokePoint(float x, float y, float pressure) override;
    PXRectangle* EndStroke() override;
    float ApplyDab(float x, float y, float pressure) override;
};

// Chisel nib: a short diagonal from upper right to lower left, pressure unused.
class PXReFountainPen : public PXPaintBrush {
public:
    PXReFountainPen(PXSurface* surface, PXTipFunction* tip);
    ~PXReFountainPen() override;
    float ApplyDab(float x, float y, float pressure) override;
};

// Marker of constant width whose overlap keeps the larger alpha.
class PXNewMarkPen : public PXPaintBrush {
public:
    PXNewMarkPen(PXSurface* surface, PXTipFunction* tip);
    ~PXNewMarkPen() override;
    float ApplyDab(float x, float y, float pressure) override;
};

// Stamps opaque squares on the stroke surface; blend_out turns them into
// cleared display alpha.
class PXCorrectPen : public PXPaintBrush {
public:
    int correct_level;

    PXCorrectPen(PXSurface* surface, PXTipFunction* tip);
    ~PXCorrectPen() override;
    PXRectangle* StrokePoint(float x, float y, float pressure) override;
    PXRectangle* EndStroke() override;
    float ApplyDab(float x, float y, float pressure) override;
    void blend_out(PXSurface* target, PXSurface* source) override;
};

class PXHardErase : public PXCorrectPen {
public:
    using PXCorrectPen::PXCorrectPen;
    ~PXHardErase() override;
};

class PXSoftErase : public PXCorrectPen {
public:
    using PXCorrectPen::PXCorrectPen;
    ~PXSoftErase() override;
};
