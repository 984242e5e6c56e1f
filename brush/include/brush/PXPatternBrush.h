// A brush that stamps an eight-bit grey pattern, scaled once to the brush size
// and kept per strength level.
#pragma once

#include "brush/PXPaintBrush.h"

class CLHBmp8;

class PXPatternBrush : public PXPaintBrush {
public:
    CLHBmp8* pattern;              // owned; null paints nothing
    CLHBmp8* pattern_levels[128];  // owned; level n (1..128) in entry n - 1, 128 the master

    PXPatternBrush(PXSurface* surface, PXTipFunction* tip);
    ~PXPatternBrush() override;

    // Stamps the level that color.a and pressure select at (x, y). Returns
    // size, not a radius, whatever happens.
    float ApplyDab(float x, float y, float pressure) override;
    // A size above 0 is stored and drops every cached level.
    void SetSize(float size) override;

    // Takes pattern (null allowed) in place of the present one, which is
    // deleted, and drops the cached levels made from it.
    void SetPattern(CLHBmp8* pattern);

private:
    void DropLevels();
};
