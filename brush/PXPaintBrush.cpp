// Construction, the setters, and the copy of a stroke to the display.
#include "brush/PXPaintBrush.h"

#include "brush/PXPen.h"

#include "PXDabInk.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

uint32_t PXPaintBrush::rand_state = 0;

PXPaintBrush::PXPaintBrush(PXSurface* s, PXTipFunction* t)
    : size(0.0f), min_size(0.0f), opacity(0.0f), min_opacity(0.0f), spacing(0.0f), min_spacing(0.0f),
      jitter(0.0f), fade_step(0.0f), color{0, 0, 0, 255}, pressure_gamma(0.0f), dirty(0, 0, 0, 0), surface(s),
      tip(t), carry(0.0f), points{}, finish_stroke(true), point_count(0), use_jitter(false), filtered{},
      seg_start{}, seg_end{}, seg_mid{}, control{}, surface_width(s ? s->width : 0),
      surface_height(s ? s->height : 0), surface_pixels(s ? s->pixels : nullptr), new_pixels(0), canvas_width(0),
      canvas_height(0), canvas_area(0) {}

PXPaintBrush::~PXPaintBrush() {
    delete tip;
    tip = nullptr;
}

void PXPaintBrush::ApplyJitter(float&, float&, float&, PXPenPigment&) {}

void PXPaintBrush::SetColor(unsigned char b, unsigned char g, unsigned char r, unsigned char a) {
    color.b = b;
    color.g = g;
    color.r = r;
    color.a = a;
}

// Red from the low byte and a transparent ceiling: an odd form nothing calls,
// kept as it is.
void PXPaintBrush::SetColor(int value) {
    color.b = 0;
    color.g = 0;
    color.a = 0;
    color.r = (unsigned char)value;
}

void PXPaintBrush::SetSize(float s) {
    if (s > 0.0f)
        size = s;
}

void PXPaintBrush::SetFadeStep(float step) {
    if (step > 1.0f)
        fade_step = step;
}

// Each inked pixel of the stroke replaces the target pixel whole, alpha
// included, taken from source where source holds ink.
void PXPaintBrush::blend_out(PXSurface* target, PXSurface* source) {
    const int left = dirty.left < 0 ? 0 : dirty.left;
    const int top = dirty.top < 0 ? 0 : dirty.top;
    const int right = dirty.right > surface->width ? surface->width : dirty.right;
    const int bottom = dirty.bottom > surface->height ? surface->height : dirty.bottom;
    if (bottom - top <= 0 || right - left <= 0)
        return;
#if defined(__x86_64__) || defined(__i386__)
    if (pxdab::HasAvx2()) {
        pxdab::BlendOutRows8(target->pixels, target->stride, source->pixels, source->stride, surface->pixels,
                             surface->stride, left, top, right, bottom);
        return;
    }
#endif
    for (int row = top; row < bottom; ++row) {
        const PXPixel* m = surface->pixels + (size_t)row * surface->stride;
        const PXPixel* s = source->pixels + (size_t)row * source->stride;
        PXPixel* t = target->pixels + (size_t)row * target->stride;
        int col = left;
#if defined(__SSE2__)
        // Four pixels at a time; a pixel left as it was is stored back
        // unchanged.
        const __m128i alpha = _mm_set1_epi32((int)0xFF000000u), zero = _mm_setzero_si128();
        for (; col + 4 <= right; col += 4) {
            const __m128i mv = _mm_loadu_si128(reinterpret_cast<const __m128i*>(m + col));
            const __m128i sv = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + col));
            const __m128i tv = _mm_loadu_si128(reinterpret_cast<const __m128i*>(t + col));
            const __m128i m_clear = _mm_cmpeq_epi32(_mm_and_si128(mv, alpha), zero);
            const __m128i s_clear = _mm_cmpeq_epi32(_mm_and_si128(sv, alpha), zero);
            const __m128i ink = _mm_or_si128(_mm_and_si128(s_clear, mv), _mm_andnot_si128(s_clear, sv));
            const __m128i out = _mm_or_si128(_mm_and_si128(m_clear, tv), _mm_andnot_si128(m_clear, ink));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(t + col), out);
        }
#endif
        for (; col < right; ++col) {
            if (m[col].a == 0)
                continue;
            t[col] = s[col].a != 0 ? s[col] : m[col];
        }
    }
}

PXPen::PXPen(PXSurface* s, PXTipFunction* t) : PXPaintBrush(s, t) {}
PXPen::~PXPen() = default;
