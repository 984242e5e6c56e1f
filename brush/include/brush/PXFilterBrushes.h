// Brushes that rework the ink already on the stroke surface instead of laying
// down their own: a 3 x 3 filter (blur, sharpen) and the smudge that drags the
// pixels along the stroke. Both use dab_image as a 128 x 128 scratch buffer,
// not as a dab, and take the stroke direction from the angled DrawLine.
#pragma once

#include "brush/PXPaintBaseJitterAngle.h"

class PXConvolutionBrush : public PXPaintBaseJitterAngle {
public:
    int kernel[9];  // row order: above, centre row, and the row applied as "below"
    int divisor;

    // A 3 x 3 box filter; owns a fresh 128 x 128 scratch dab_image.
    PXConvolutionBrush(PXSurface* surface, PXTipFunction* tip);
    ~PXConvolutionBrush() override;

    using PXPaintBaseJitterAngle::ApplyDab;
    // Filters the dab's box into dab_image, then lays it back weighted by the
    // tip and opacity alone; angle is ignored. Returns the radius.
    float ApplyDab(float x, float y, float pressure, float angle) override;
};

class PXBlurBrush : public PXConvolutionBrush {
public:
    PXBlurBrush(PXSurface* surface, PXTipFunction* tip);
    ~PXBlurBrush() override;
};

class PXSharpenBrush : public PXConvolutionBrush {
public:
    PXSharpenBrush(PXSurface* surface, PXTipFunction* tip);
    ~PXSharpenBrush() override;
};

class PXSmudgeBrush : public PXPaintBaseJitterAngle {
public:
    // Owns a fresh 128 x 128 scratch dab_image.
    PXSmudgeBrush(PXSurface* surface, PXTipFunction* tip);
    ~PXSmudgeBrush() override;

    using PXPaintBaseJitterAngle::ApplyDab;
    // Copies what lies 1.6 pixels behind the dab along angle and lays it down
    // under the dab. Returns the radius, 0.0 for a dab wholly up or left.
    float ApplyDab(float x, float y, float pressure, float angle) override;
};
