// A brush whose dabs wander: random shifts of position, radius and colour.
#pragma once

#include "brush/PXPaintBrush.h"

class PXPaintBaseJitter : public PXPaintBrush {
public:
    float size_jitter;        // radius shrink, fraction of the radius
    float hue_jitter;         // hue walk per dab, fraction of the colour circle
    float saturation_jitter;
    float value_jitter;

    PXPaintBaseJitter(PXSurface* surface, PXTipFunction* tip);
    ~PXPaintBaseJitter() override;

    // Moves the dab, shrinks its radius and walks the colour, in that order,
    // each only when its amount is above 0. Given the brush's own color, the
    // colour walks from dab to dab.
    void ApplyJitter(float& x, float& y, float& radius, PXPenPigment& color) override;

    // One draw of the shared generator as a fraction in [0, 1]: ten bits of
    // the state times about 1/1023.
    static float Draw();
};
