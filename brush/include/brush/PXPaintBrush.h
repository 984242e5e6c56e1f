// The base of every brush: its fields, the stroke core that turns pen samples
// into dabs, the round dab and the copy of a stroke to the display.
#pragma once

#include <cstdint>

#include "brush/PXTipFunction.h"
#include "surface/PXRectangle.h"
#include "surface/PXSurface.h"

// One stroke sample. aux0 and aux1 ride along with a point; no drawing code
// gives them a value or reads them.
struct PenPoint {
    float x;
    float y;
    float pressure;
    float aux0;
    float aux1;
};

// A colour in pixel memory order, so that it is stored into a PXPixel as one word.
struct PXPenPigment {
    unsigned char b;
    unsigned char g;
    unsigned char r;
    unsigned char a;
};
static_assert(sizeof(PXPenPigment) == sizeof(PXPixel), "a pigment is one pixel word");

// A corner of a dab quad: destination pixels and texture position.
struct PixVertex {
    float x;
    float y;
    float u;
    float v;
};

class PXPaintBrush {
public:
    float size;          // nominal dab diameter, pixels
    float min_size;      // diameter at pressure 0, as a fraction of size
    float opacity;       // strength at full pressure, 1.0 = 255
    float min_opacity;   // strength at pressure 0, as a fraction of opacity
    float spacing;       // dab to dab, as a fraction of the dab's diameter
    float min_spacing;   // lower bound of that distance, pixels
    float jitter;        // position jitter, fraction of the radius; widens dirty
    float fade_step;     // kept by SetFadeStep, read by nothing
    PXPenPigment color;  // ink; its alpha is the ceiling of overlapping dabs
    float pressure_gamma;
    PXRectangle dirty;   // touched by the last stroke call
    PXSurface* surface;  // not owned: the engine's stroke surface
    PXTipFunction* tip;  // owned
    float carry;         // distance left before the next dab falls due
    PenPoint points[4];  // last four raw samples, slot = count & 3
    bool finish_stroke;  // EndStroke draws the last piece only when set
    int point_count;     // samples of this stroke; -1 once ended
    bool use_jitter;
    PenPoint filtered[4];  // first smoothing stage
    PenPoint seg_start;
    PenPoint seg_end;
    PenPoint seg_mid;
    PenPoint control[4];   // control points of the current curve piece
    int surface_width;     // copies taken at construction; read by nothing
    int surface_height;
    PXPixel* surface_pixels;
    int new_pixels;        // pixels that dabs found empty; only counted
    int canvas_width;      // set by the engine for its brushes; read by nothing
    int canvas_height;
    int canvas_area;

    // One linear congruential state shared by every brush, zero at start and
    // never seeded, so the dabs of a run repeat from one run to the next.
    static uint32_t rand_state;
    // Advances rand_state one step and returns it; callers take bits 16 up.
    static uint32_t NextRand() {
        rand_state = rand_state * 214013u + 2531011u;
        return rand_state;
    }

    // Defaults of every brush: black opaque ink, zero records, the size
    // fields zero until the engine's presets; the brush owns tip from here.
    PXPaintBrush(PXSurface* surface, PXTipFunction* tip);
    PXPaintBrush(const PXPaintBrush&) = delete;
    PXPaintBrush& operator=(const PXPaintBrush&) = delete;

    // The virtual operations, in slot order.
    virtual ~PXPaintBrush();
    virtual void BeginStroke();
    virtual PXRectangle* StrokePoint(float x, float y, float pressure);
    virtual PXRectangle* EndStroke();
    virtual float DrawLine(PenPoint from, PenPoint to, float carry);
    virtual float ApplyDab(float x, float y, float pressure);
    virtual void ApplyJitter(float& x, float& y, float& radius, PXPenPigment& color);
    virtual void SetColor(unsigned char b, unsigned char g, unsigned char r, unsigned char a);
    virtual void SetColor(int value);
    virtual void SetSize(float size);
    virtual void SetFadeStep(float step);
    virtual void blend_out(PXSurface* target, PXSurface* source);

    // Smoothing and cubic B-spline over four samples, cut into short steps.
    void InterpolateStroke(PenPoint p0, PenPoint p1, PenPoint p2, PenPoint p3);
    // Quadratic piece between the mid-points of p0-p1 and p1-p2.
    void InterpolateStroke(PenPoint p0, PenPoint p1, PenPoint p2);
};
