// The engine object: building the brushes with their presets, selecting one
// by pen style, and the release order.
#include "pen/PXPenEngine.h"

#include <cstdint>
#include <cstring>

#include "brush/PXAirbrush.h"
#include "brush/PXDryMedia.h"
#include "brush/PXFilterBrushes.h"
#include "brush/PXInkPens.h"
#include "brush/PXPaintBaseJitterAngle.h"
#include "brush/PXPaintBrush.h"
#include "brush/PXPatternBrush.h"
#include "brush/PXPen.h"
#include "brush/PXTipFunction.h"


namespace {

struct Preset {
    float size, min_size, opacity, min_opacity, spacing, min_spacing;
    bool has_fade_step;  // rows without one leave fade_step as constructed
    float fade_step, pressure_gamma;
};

void Apply(PXPaintBrush* b, const Preset& p, int width, int height) {
    b->size = p.size;
    b->min_size = p.min_size;
    b->opacity = p.opacity;
    b->min_opacity = p.min_opacity;
    b->spacing = p.spacing;
    b->min_spacing = p.min_spacing;
    if (p.has_fade_step)
        b->fade_step = p.fade_step;
    b->pressure_gamma = p.pressure_gamma;
    // Kept for the brushes the engine builds; nothing reads them.
    b->canvas_width = width;
    b->canvas_height = height;
    b->canvas_area = width * height;
}

// The float with bits 0xFF7FFFEE, about -3.4e38.
float SmudgeSpacing() {
    const uint32_t bits = 0xFF7FFFEEu;
    float f;
    std::memcpy(&f, &bits, sizeof f);
    return f;
}

void White(PXPaintBrush* b) {
    b->color.b = b->color.g = b->color.r = b->color.a = 255;
}

template <class T>
void Release(T*& p) {
    if (p) {
        delete p;
        p = nullptr;
    }
}

}  // namespace

// Rows in the order they are built.
void PXBrushEngine::InitBrush(int w, int h) {
    PXSurface* s = stroke_surface;
    //                   size  min_s  opac   min_o  spacing  min_sp fade?  fade gamma
    hard_erase = new PXHardErase(s, new PXFlatTipFunction());
    Apply(hard_erase, {16.0f, 1.0f, 1.0f, 1.0f, 0.2f, 0.0f, false, 0.0f, 1.0f}, w, h);
    White(hard_erase);
    hard_erase->correct_level = 8;

    felt_pen = new PXFeltPen(s, new PXDullAntiAliasingTipFunction());
    Apply(felt_pen, {24.0f, 0.0f, 0.7f, 0.0f, 0.12f, 0.0f, true, 2.0f, 1.0f}, w, h);
    // The small tip is the one in use; the size of 24 is stored without the
    // tip switch, so the pen starts on it.
    felt_pen->tip_large = new PXDullTipFunction();
    felt_pen->tip_small = felt_pen->tip;

    pencil = new PXPencil(s, new PXDullAntiAliasingTipFunction());
    Apply(pencil, {4.0f, 0.1f, 1.58f, 0.3f, 0.2f, 0.0f, false, 0.0f, 2.5f}, w, h);
    pencil->grain = 1.0f;

    digital_airbrush = new PXDigitalAirbrush(s, new PXLinearTipFunction());
    Apply(digital_airbrush, {46.0f, 1.0f, 0.09f, 0.0f, 0.1f, 0.0f, true, 2.0f, 1.0f}, w, h);

    graffiti_airbrush = new PXGraffitiAirbrush(s, new PXFlatTipFunction());
    Apply(graffiti_airbrush, {32.0f, 0.0f, 1.0f, 0.4f, 0.12f, 0.0f, true, 8.0f, 1.0f}, w, h);

    fine_spray_airbrush = new PXFineSprayAirbrush(s, new PXDullTipFunction());
    Apply(fine_spray_airbrush, {76.0f, 1.0f, 0.3f, 0.0f, 0.12f, 0.0f, true, 8.0f, 1.0f}, w, h);

    soft_erase = new PXSoftErase(s, new PXFlatTipFunction());
    Apply(soft_erase, {16.0f, 1.0f, 0.2f, 0.0f, 0.1f, 1.0f, false, 0.0f, 1.0f}, w, h);
    White(soft_erase);
    soft_erase->correct_level = 8;

    pen = new PXPen(s, new PXFlatTipFunction());
    Apply(pen, {3.0f, 0.0f, 0.6f, 1.0f, 0.12f, 1.0f, false, 0.0f, 1.0f}, w, h);

    dry_media = new PXDryMedia(s, new PXLinearTipFunction2());
    Apply(dry_media, {7.0f, 1.0f, 0.8f, 0.0f, 0.2f, 0.0f, true, 2.0f, 2.5f}, w, h);
    dry_media->grain = 2.0f;

    new_mark_pen = new PXNewMarkPen(s, new PXFlatTipFunction());
    Apply(new_mark_pen, {24.0f, 1.0f, 0.5f, 0.0f, 0.12f, 0.0f, false, 0.0f, 1.0f}, w, h);

    // Jitter on with every amount 0: each dab runs the jitter for nothing and
    // is drawn unturned. The image comes with SetBristlDabImage.
    bristle_brush = new PXBristleBrush(s, new PXDullAntiAliasingTipFunction());
    Apply(bristle_brush, {52.0f, 0.05f, 1.0f, 1.0f, 0.2f, 0.0f, true, 2.0f, 1.0f}, w, h);
    bristle_brush->use_jitter = true;

    // A spacing factor so far below zero that every step is min_spacing: the
    // smudge moves a fixed 2.8 pixels per dab. Its dab_image is a scratch copy.
    smudge_brush = new PXSmudgeBrush(s, new PXLinearTipFunction());
    Apply(smudge_brush, {32.0f, 1.0f, 1.0f, 1.0f, SmudgeSpacing(), 2.8f, true, 2.0f, 1.0f}, w, h);

    old_crayon = new PXOldCrayon(s, new PXLinearTipFunction());
    Apply(old_crayon, {15.0f, 0.5f, 0.58f, 0.3f, 0.2f, 0.0f, true, 2.0f, 1.0f}, w, h);
    old_crayon->grain = 0.6f;

    blur_brush = new PXBlurBrush(s, new PXLinearTipFunction());
    Apply(blur_brush, {32.0f, 1.0f, 0.2f, 0.0f, 0.2f, 0.0f, true, 2.0f, 1.0f}, w, h);

    sharpen_brush = new PXSharpenBrush(s, new PXLinearTipFunction());
    Apply(sharpen_brush, {32.0f, 1.0f, 0.2f, 0.0f, 0.2f, 0.0f, true, 2.0f, 1.0f}, w, h);

    fountain_pen = new PXFountainPen(s, new PXDullAntiAliasingTipFunction());
    Apply(fountain_pen, {3.0f, 0.1f, 0.6f, 1.0f, 0.12f, 1.0f, false, 0.0f, 1.0f}, w, h);

    re_fountain_pen = new PXReFountainPen(s, new PXFlatTipFunction());
    Apply(re_fountain_pen, {15.0f, 0.0f, 1.0f, 0.0f, 0.012f, 0.0f, false, 0.0f, 1.0f}, w, h);

    correct_pen = new PXCorrectPen(s, new PXFlatTipFunction());
    Apply(correct_pen, {15.0f, 0.0f, 1.0f, 0.0f, 0.12f, 0.0f, false, 0.0f, 1.0f}, w, h);
    correct_pen->correct_level = 1;

    // No pattern until SetPatternDabImage gives one: they draw nothing.
    pattern_brush_a = new PXPatternBrush(s, new PXDullAntiAliasingTipFunction());
    Apply(pattern_brush_a, {52.0f, 1.0f, 1.0f, 1.0f, 0.02f, 0.0f, false, 0.0f, 1.0f}, w, h);

    pattern_brush_b = new PXPatternBrush(s, new PXDullAntiAliasingTipFunction());
    Apply(pattern_brush_b, {52.0f, 1.0f, 1.0f, 1.0f, 0.02f, 0.0f, false, 0.0f, 1.0f}, w, h);

    brush = graffiti_airbrush;
}

PXPaintBrush* PXBrushEngine::BrushOfStyle(int style) const {
    switch (style) {
    case 2: return felt_pen;
    case 3: return pen;
    case 5: return digital_airbrush;
    case 6: return graffiti_airbrush;
    case 7: return fine_spray_airbrush;
    case 8: return brush;
    case 9: return spare_brush_b;
    case 10: return hard_erase;
    case 11: return soft_erase;
    case 14: return spare_brush_a;
    case 15: return new_mark_pen;
    case 20: return fountain_pen;
    case 21: return correct_pen;
    case 22: return re_fountain_pen;
    case 1: return pencil;
    case 4: return old_crayon;
    case 16: return dry_media;
    case 12: return bristle_brush;
    case 17: return smudge_brush;
    case 18: return blur_brush;
    case 19: return sharpen_brush;
    case 23: return pattern_brush_a;
    case 24: return pattern_brush_b;
    default: return felt_pen;  // 0, 13 and every number outside 1..24
    }
}

PXBrushEngine::~PXBrushEngine() {
    Release(felt_pen);
    Release(hard_erase);
    Release(pencil);
    Release(digital_airbrush);
    Release(graffiti_airbrush);
    Release(fine_spray_airbrush);
    Release(pen);
    Release(soft_erase);
    Release(dry_media);
    Release(bristle_brush);
    Release(smudge_brush);
    Release(new_mark_pen);
    Release(fountain_pen);
    Release(re_fountain_pen);
    Release(correct_pen);
    Release(pattern_brush_a);
    Release(pattern_brush_b);
    // The crayon and the two convolution brushes (with their 64 KB scratch
    // images) were once left behind here. Every Open makes a new engine, so
    // that cost grew with each tablet the tool opened all day; they go with
    // the engine now, after the brushes that always did. Nothing else holds
    // them: the engine is their only owner.
    Release(old_crayon);
    Release(blur_brush);
    Release(sharpen_brush);
    // A borrowed surface (the display) leaves the caller's pixels alone.
    Release(backing_surface);
    Release(display_surface);
    Release(stroke_surface);
}
