// The 32-bit pixel surface every brush draws on.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "surface/PXRectangle.h"

// One pixel in memory order b, g, r, a: a QImage::Format_ARGB32 word on a
// little-endian machine. Alpha is straight. Trivial: PXPixel() is all zero,
// a plain declaration is uninitialised.
struct PXPixel {
    uint8_t b;
    uint8_t g;
    uint8_t r;
    uint8_t a;

    PXPixel() = default;
    PXPixel(uint8_t pb, uint8_t pg, uint8_t pr, uint8_t pa) : b(pb), g(pg), r(pr), a(pa) {}
};
static_assert(sizeof(PXPixel) == 4, "PXPixel is one 32-bit word");
static_assert(std::is_trivial<PXPixel>::value, "PXPixel is plain memory");

// Filters of PXSurface::Resample, by value. Any other value acts as Bilinear
// (the underlying type is fixed so that any int is a valid value).
enum PXInterpolationMode : int {
    PXInterpolationNearest = 0,
    PXInterpolationBilinear = 1,
    PXInterpolationBicubic = 2,
    PXInterpolationBSpline = 3,
    PXInterpolationMitchell = 4,
    PXInterpolationHermite = 5,
    PXInterpolationBell = 6,
    PXInterpolationLanczos3 = 7,
    PXInterpolationLanczos4 = 8,
    PXInterpolationLanczos5 = 9,
    PXInterpolationCatmullRom = 10,
};

// Width, height, stride (in pixels) and a pixel pointer, owning its pixels or
// lying over a foreign buffer. Guards are few: a caller outside them gets
// undefined memory behaviour, not an error.
class PXSurface {
public:
    int width;
    int height;
    int stride;
    PXPixel* pixels;
    bool borrowed;

    // Owning, tight, all-zero surface from malloc; the allocation is not tested.
    PXSurface(int width, int height);
    // Takes the five values as they are; allocates and clears nothing.
    PXSurface(int width, int height, int stride, PXPixel* pixels, bool borrowed);
    // Tight owning deep copy; an empty surface if other has no pixels or malloc fails.
    PXSurface(const PXSurface& other);
    // Takes a deep copy of other and frees the old array whatever borrowed says.
    PXSurface& operator=(const PXSurface& other);
    ~PXSurface();

    // Row y, clamped to 0 .. height - 1. Columns are never clamped.
    PXPixel* Row(int y) const;

    // Writes pixel everywhere.
    void Fill(const PXPixel& pixel);
    // Writes the 32-bit colour everywhere, low byte to b.
    void ResetScanColor(int color);
    // Copies a tight array of width * height words in.
    void ResetScan(const int* scan);
    // True if every alpha byte is 255 (an empty surface is opaque).
    bool IsOpaque() const;
    // True if every pixel word is 0 (an empty surface is all zero).
    bool IsAllZero() const;
    // Mirrors left to right.
    void FlipX();
    // Mirrors top to bottom.
    void FlipY();

    // Borrowed view of w by h at (x, y), or this surface itself when x or y is
    // negative or the view would reach the right or bottom edge.
    PXSurface* SubSurface(int x, int y, int w, int h);
    // Borrowed view of rect, or this surface itself when rect starts left of or
    // above the surface, is empty, or is larger than the surface. Only the size
    // is compared, so the view may run past the right edge.
    PXSurface* SubSurface(const PXRectangle& rect);

    // Copies src row by row from the top-left; extra source rows land on the last row.
    void CopyFrom(const PXSurface* src);
    // Places src with its top-left at (x, y), clipped to this surface. src must
    // overlap this surface: a refused view is destroyed like a real one.
    void CopyFrom(PXSurface* src, int x, int y);
    // Copies the part rect of src to point; nothing happens if point lies outside.
    void CopyFrom(PXSurface* src, const PXRectangle& rect, const PXPoint& point);

    // Does nothing; kept for callers of the interface.
    void SaveSurface(const char* path);
    // Loads nothing and returns null; kept for callers of the interface.
    PXSurface* CreateSurfaceByImage(const char* path);

    // Redraws all of src at the size of dst through the filter of mode.
    static void Resample(PXSurface* src, PXSurface* dst, PXInterpolationMode mode);
};
