// The ballpoint of the signature windows (pen style 3): the base brush with
// its own presets.
#pragma once

#include "brush/PXPaintBrush.h"

class PXPen : public PXPaintBrush {
public:
    PXPen(PXSurface* surface, PXTipFunction* tip);
    ~PXPen() override;
};
