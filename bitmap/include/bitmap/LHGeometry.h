// Points, rectangles and the affine matrix of the bitmap library.
#pragma once

#include <cstdint>

#include "bitmap/LHFix.h"

// Whole pixels.
struct _LHPOINT {
    int32_t x;
    int32_t y;
};

// Whole pixels; right and bottom exclusive.
struct _LHRECT {
    int32_t left;
    int32_t top;
    int32_t right;
    int32_t bottom;
};

struct _LHRECTF {
    LHFIX64 left;
    LHFIX64 top;
    LHFIX64 right;
    LHFIX64 bottom;
};

// x' = a * x + c * y + tx, y' = b * x + d * y + ty.
struct _LHMATRIX {
    LHFIX64 a, b, c, d, tx, ty;

    // Replaces the point by its image.
    void transform_point(LHFIX64& x, LHFIX64& y) const;
    // Replaces the matrix by its inverse; a singular matrix becomes six
    // largest values.
    void do_invert();
    // Replaces rect by the whole-pixel bound of its image.
    void get_bound(_LHRECT& rect) const;
};
