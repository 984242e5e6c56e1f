// Dry media: brushes with grain. Pencil and crayon modulate each pixel's
// strength by a random number, dry media thresholds it to a hard speckled dab,
// and the texture brush takes its grain from a paper bitmap.
#pragma once

#include "brush/PXPaintBrush.h"

class PXPencil : public PXPaintBrush {
public:
    float grain;  // depth of the noise, 0.0 none

    PXPencil(PXSurface* surface, PXTipFunction* tip);
    ~PXPencil() override;
    float ApplyDab(float x, float y, float pressure) override;
};

// The pencil's dab with presets of its own.
class PXOldCrayon : public PXPencil {
public:
    PXOldCrayon(PXSurface* surface, PXTipFunction* tip);
    ~PXOldCrayon() override;
};

class PXDryMedia : public PXPencil {
public:
    PXDryMedia(PXSurface* surface, PXTipFunction* tip);
    ~PXDryMedia() override;
    float ApplyDab(float x, float y, float pressure) override;
};

// A hard dab thresholded by a paper map: the darker a texture pixel's r, the
// more ink. The texture repeats with its width as period in both directions.
class PXTextureBrush : public PXPaintBrush {
public:
    PXSurface* texture;  // not owned; null until SetTexture

    PXTextureBrush(PXSurface* surface, PXTipFunction* tip);
    ~PXTextureBrush() override;
    void SetTexture(PXSurface* paper);
    float ApplyDab(float x, float y, float pressure) override;
};
