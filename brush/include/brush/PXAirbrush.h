// The three airbrushes.
#pragma once

#include "brush/PXPaintBrush.h"

// The base brush with presets of its own.
class PXDigitalAirbrush : public PXPaintBrush {
public:
    PXDigitalAirbrush(PXSurface* surface, PXTipFunction* tip);
    ~PXDigitalAirbrush() override;
};

// A nib held at a fixed angle: speed and direction of the stroke alter the
// pressure; the dab is a soft disc whose size follows the squared pressure.
class PXGraffitiAirbrush : public PXPaintBrush {
public:
    float speed_hist[3];

    PXGraffitiAirbrush(PXSurface* surface, PXTipFunction* tip);
    ~PXGraffitiAirbrush() override;
    PXRectangle* StrokePoint(float x, float y, float pressure) override;
    PXRectangle* EndStroke() override;
    float ApplyDab(float x, float y, float pressure) override;
};

// The graffiti airbrush with other presets.
class PXFineSprayAirbrush : public PXGraffitiAirbrush {
public:
    using PXGraffitiAirbrush::PXGraffitiAirbrush;
    ~PXFineSprayAirbrush() override;
};
