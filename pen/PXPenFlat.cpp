// The plain engine functions: a thin facade over one PXBrushEngine handle,
// knowing nothing of the device. A null handle makes every one a no-op.
#include <cstdlib>
#include <cstring>

#include <cmath>
#include <typeinfo>

#include "brush/PXAirbrush.h"
#include "brush/PXDryMedia.h"
#include "brush/PXInkExtent.h"
#include "brush/PXInkPens.h"
#include "brush/PXPaintBaseJitterAngle.h"
#include "bitmap/LHBmp.h"
#include "brush/PXPaintBrush.h"
#include "brush/PXPen.h"
#include "brush/PXPatternBrush.h"
#include "pen/PXPenEngine.h"
#include "pen/PX_PEN_API.h"

#include "pen/PXAbandon.h"

namespace {

PXBrushEngine* Engine(void* handle) {
    return static_cast<PXBrushEngine*>(handle);
}

// The brush in use. It is null only after style 9 or 14, which have no
// brush; those styles then draw nothing rather than crashing.
PXPaintBrush* Brush(void* handle) {
    PXBrushEngine* e = Engine(handle);
    return e ? e->brush : nullptr;
}

// Brushes whose every write lies in a dab box they note (see PXInkExtent.h),
// by exact class: a class derived from one of these may draw otherwise.
bool NotesItsInk(const PXPaintBrush* b) {
    const std::type_info& t = typeid(*b);
    return t == typeid(PXPen) || t == typeid(PXFeltPen) || t == typeid(PXDigitalAirbrush) ||
           t == typeid(PXGraffitiAirbrush) || t == typeid(PXFineSprayAirbrush) || t == typeid(PXFountainPen) ||
           t == typeid(PXNewMarkPen) || t == typeid(PXCorrectPen) || t == typeid(PXHardErase) ||
           t == typeid(PXSoftErase) || t == typeid(PXPencil) || t == typeid(PXOldCrayon) ||
           t == typeid(PXDryMedia);
}

// Before a brush draws: one that does not note its ink has the whole stroke
// surface noted for it.
void NoteUnnoted(PXBrushEngine* e) {
    if (!NotesItsInk(e->brush))
        pxink::Note(e->stroke_surface, 0, 0, e->stroke_surface->width, e->stroke_surface->height);
}

// Clears the stroke surface: only the part dabs have written since the
// last clear needs it, the rest is still zero.
void ClearStroke(PXBrushEngine* e) {
    PXSurface* s = e->stroke_surface;
    const PXRectangle r = pxink::Take(s);
    if (r.right <= r.left || r.bottom <= r.top)
        return;
    for (int row = r.top; row < r.bottom; ++row)
        std::memset(s->pixels + (size_t)row * s->stride + r.left, 0, (size_t)(r.right - r.left) * sizeof(PXPixel));
}

void CopyRect(int* rect, const PXRectangle* r) {
    if (!rect)
        return;
    rect[0] = r->left;
    rect[1] = r->top;
    rect[2] = r->right;
    rect[3] = r->bottom;
}

PXPixel Pixel(uint32_t w) {
    PXPixel p;
    std::memcpy(&p, &w, 4);
    return p;
}

// Ink lands only where the display is still fully transparent; elsewhere the
// backing takes what the display shows.
void Merge(PXBrushEngine* e, size_t i, uint32_t w) {
    PXPixel& d = e->display_surface->pixels[i];
    PXPixel& b = e->backing_surface->pixels[i];
    if ((w >> 24) == 0 || d.a != 0) {
        b = d;
    } else {
        d = Pixel(w);
        b = d;
    }
}

}  // namespace

extern "C" {

void* Initialize(int width, int height, int* pixels) {
    if (width < 1 || height < 1 || !pixels)
        return nullptr;
    PXBrushEngine* e = new PXBrushEngine();
    const size_t n = (size_t)width * (size_t)height;
    std::memset(pixels, 0xFF, n * sizeof(int));
    e->display_surface = new PXSurface(width, height, width, reinterpret_cast<PXPixel*>(pixels), true);
    PXPixel* copy = static_cast<PXPixel*>(std::malloc(n * sizeof(PXPixel)));
    std::memcpy(copy, pixels, n * sizeof(PXPixel));
    e->backing_surface = new PXSurface(width, height, width, copy, false);
    e->stroke_surface = new PXSurface(width, height);
    e->InitBrush(width, height);
    e->width = width;
    e->height = height;
    return e;
}

void SetColor(void* handle, unsigned char b, unsigned char g, unsigned char r, unsigned char a) {
    if (PXPaintBrush* br = Brush(handle))
        br->SetColor(b, g, r, a);
}

void SetSize(void* handle, float size) {
    if (PXPaintBrush* br = Brush(handle))
        br->SetSize(size);
}

void SetPenSize(void* handle, float size) {
    if (PXPaintBrush* br = Brush(handle))
        br->SetSize(size + 5.0f);
}

float GetSize(void* handle) {
    PXPaintBrush* br = Brush(handle);
    return br ? br->size : 0.0f;
}

void FillSurface(void* handle, int color) {
    PXBrushEngine* e = Engine(handle);
    if (!e)
        return;
    pxink::Take(e->stroke_surface);  // all of it is cleared here
    e->stroke_surface->ResetScanColor(0);
    e->backing_surface->ResetScanColor(color);
    e->display_surface->ResetScanColor(color);
}

// The ink colour carries over to the new brush, the erasers' white preset
// included.
void SetPenStyle(void* handle, int style) {
    PXBrushEngine* e = Engine(handle);
    if (!e)
        return;
    const bool had = e->brush != nullptr;
    PXPenPigment color{};
    if (had)
        color = e->brush->color;
    e->pen_style = style;
    e->brush = e->BrushOfStyle(style);
    if (had && e->brush)
        e->brush->color = color;
}

void BeginStroke(void* handle) {
    if (PXPaintBrush* br = Brush(handle))
        br->BeginStroke();
}

void StrokePoint(void* handle, int* rect, float x, float y, float pressure) {
    PXBrushEngine* e = Engine(handle);
    if (!e || !e->brush)
        return;
    NoteUnnoted(e);
    const PXRectangle* dirty = e->brush->StrokePoint(x, y, pressure);
    e->brush->blend_out(e->display_surface, e->stroke_surface);
    CopyRect(rect, dirty);
}

// The stroke surface is cleared here, so a stroke leaves nothing behind on
// it, the faint pixels past the last rectangle included.
void EndStroke(void* handle, int* rect) {
    PXBrushEngine* e = Engine(handle);
    if (!e || !e->brush)
        return;
    NoteUnnoted(e);
    const PXRectangle* dirty = e->brush->EndStroke();
    e->brush->blend_out(e->display_surface, e->stroke_surface);
    ClearStroke(e);
    CopyRect(rect, dirty);
}

int DestroyEngine(void* handle) {
    PXBrushEngine* e = Engine(handle);
    if (!e)
        return 0;
    pxink::Take(e->stroke_surface);  // its notes go with it
    delete e;
    return 1;
}

void SetFadeStep(void* handle, float step) {
    if (PXPaintBrush* br = Brush(handle))
        br->SetFadeStep(step);
}

void SetBristlDabImage(void* handle, int width, int height, int* pixels) {
    PXBrushEngine* e = Engine(handle);
    if (!e || !e->bristle_brush)
        return;
    PXSurface* image = new PXSurface(width, height, width, reinterpret_cast<PXPixel*>(pixels), true);
    // The wrapper is left behind when replaced and at the engine's end; the
    // leak checker is told so about exactly this block.
    PXAbandon(image);
    PXBristleBrush* b = e->bristle_brush;
    b->dab_image = image;
    // The height is squared as an integer, the rest in float.
    b->dab_diagonal = std::sqrt((float)width * (float)width + (float)(height * height));
}

void SetPatternDabImage(void* handle, int style, int width, int height, const unsigned char* bits) {
    PXBrushEngine* e = Engine(handle);
    if (!e || !bits || width < 1 || height < 1)
        return;
    PXPatternBrush* b = style == 23 ? e->pattern_brush_a : style == 24 ? e->pattern_brush_b : nullptr;
    if (!b)
        return;
    CLHBmp8* p = new CLHBmp8(width, height, (width + 3) & ~3);
    for (int y = 0; y < height; ++y)
        std::memcpy(p->bits + (size_t)y * p->stride, bits + (size_t)y * width, (size_t)width);
    b->SetPattern(p);
}

void ResetScan(void* handle, int* scan) {
    if (PXBrushEngine* e = Engine(handle))
        e->display_surface->ResetScan(scan);
}

// Index form: count integers as (pixel index, word) pairs. Coordinate form,
// marked by data[0] == -1: data[1] is a pen style, then count / 2 pairs of
// (X | Y << 16, word); an odd count drops the last half pair. The erasing
// styles 10, 11 and 21 paint opaque white instead of the word.
void FusionDataToDisplay(void* handle, int* data, int count) {
    PXBrushEngine* e = Engine(handle);
    if (!e || !data)
        return;
    const size_t area = (size_t)e->width * (size_t)e->height;
    if (data[0] != -1) {
        for (int k = 0; k + 1 < count; k += 2) {
            // Compared unsigned: a negative index is out of range, not a
            // write before the buffer.
            const uint32_t i = (uint32_t)data[k];
            if (i < area)
                Merge(e, i, (uint32_t)data[k + 1]);
        }
        return;
    }
    const int style = data[1];
    const bool erase = style == 10 || style == 11 || style == 21;
    const int *pair = data + 2;
    for (int k = 0; k < count / 2; ++k, pair += 2) {
        const uint32_t xy = (uint32_t)pair[0];
        const uint32_t x = xy & 0xFFFF, y = xy >> 16;
        if (x >= (uint32_t)e->width || y >= (uint32_t)e->height)
            continue;
        const size_t i = (size_t)e->width * y + x;
        if (erase) {
            e->display_surface->pixels[i] = Pixel(0xFFFFFFFFu);
            e->backing_surface->pixels[i] = e->display_surface->pixels[i];
        } else {
            Merge(e, i, (uint32_t)pair[1]);
        }
    }
}

// The API_ forwarders: each calls the plain function of the same name.
void* API_Initialize(int width, int height, int* pixels) { return Initialize(width, height, pixels); }
void API_SetColor(void* handle, unsigned char b, unsigned char g, unsigned char r, unsigned char a) {
    SetColor(handle, b, g, r, a);
}
void API_SetSize(void* handle, float size) { SetSize(handle, size); }
void API_SetPenSize(void* handle, float size) { SetPenSize(handle, size); }
float API_GetSize(void* handle) { return GetSize(handle); }
void API_FillSurface(void* handle, int color) { FillSurface(handle, color); }
void API_SetPenStyle(void* handle, int style) { SetPenStyle(handle, style); }
void API_BeginStroke(void* handle) { BeginStroke(handle); }
void API_StrokePoint(void* handle, int* rect, float x, float y, float pressure) {
    StrokePoint(handle, rect, x, y, pressure);
}
void API_EndStroke(void* handle, int* rect) { EndStroke(handle, rect); }
int API_DestroyEngine(void* handle) { return DestroyEngine(handle); }

}  // extern "C"
