// The brush engine: the three surfaces of a drawing area, one live instance of
// every brush a pen style can select, and the brush in use.
#pragma once

#include "surface/PXSurface.h"

class PXPaintBrush;
class PXFeltPen;
class PXNewMarkPen;
class PXPen;
class PXPencil;
class PXDryMedia;
class PXOldCrayon;
class PXGraffitiAirbrush;
class PXFineSprayAirbrush;
class PXDigitalAirbrush;
class PXHardErase;
class PXSoftErase;
class PXBristleBrush;
class PXSmudgeBrush;
class PXBlurBrush;
class PXSharpenBrush;
class PXFountainPen;
class PXReFountainPen;
class PXCorrectPen;
class PXPatternBrush;

class PXBrushEngine {
public:
    int width = 0;
    int height = 0;
    PXSurface* stroke_surface = nullptr;   // owned; the running stroke's dabs
    PXSurface* backing_surface = nullptr;  // owned, with a pixel array of its own
    PXSurface* display_surface = nullptr;  // owned, over the caller's buffer
    PXPaintBrush* brush = nullptr;         // current brush, one of those below
    // Last style given to SetPenStyle. Nothing reads it before that first call.
    int pen_style = 0;
    PXFeltPen* felt_pen = nullptr;
    PXPaintBrush* spare_brush_a = nullptr;  // style 14: never assigned
    PXNewMarkPen* new_mark_pen = nullptr;
    PXPen* pen = nullptr;
    PXPencil* pencil = nullptr;
    PXDryMedia* dry_media = nullptr;
    PXOldCrayon* old_crayon = nullptr;
    PXGraffitiAirbrush* graffiti_airbrush = nullptr;
    PXFineSprayAirbrush* fine_spray_airbrush = nullptr;
    PXDigitalAirbrush* digital_airbrush = nullptr;
    PXHardErase* hard_erase = nullptr;
    PXSoftErase* soft_erase = nullptr;
    PXBristleBrush* bristle_brush = nullptr;
    PXPaintBrush* spare_brush_b = nullptr;  // style 9: never assigned
    PXSmudgeBrush* smudge_brush = nullptr;
    PXBlurBrush* blur_brush = nullptr;
    PXSharpenBrush* sharpen_brush = nullptr;
    PXFountainPen* fountain_pen = nullptr;
    PXReFountainPen* re_fountain_pen = nullptr;
    PXCorrectPen* correct_pen = nullptr;
    PXPatternBrush* pattern_brush_a = nullptr;
    PXPatternBrush* pattern_brush_b = nullptr;

    PXBrushEngine() = default;
    PXBrushEngine(const PXBrushEngine&) = delete;
    PXBrushEngine& operator=(const PXBrushEngine&) = delete;
    // Releases the brushes and surfaces in a fixed order, every brush it
    // made included.
    ~PXBrushEngine();

    // Builds every brush with its preset over stroke_surface, which must
    // exist, and leaves brush at the graffiti airbrush.
    void InitBrush(int width, int height);

    // The member a pen style selects; style 8 gives the current brush. Null
    // for styles 9 and 14, which have none.
    PXPaintBrush* BrushOfStyle(int style) const;
};
