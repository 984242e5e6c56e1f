// Shared machinery of the separable resamplers (private to the library).
//
// Every resampler is described by two tap tables, one per pass: for each
// destination row (vertical pass) or column (horizontal pass), a fixed number of
// (index, weight) pairs with the resampler's edge rules already applied. A
// sample that a rule folds into a neighbour becomes a zero-weight tap on a valid
// index, so every entry has the same number of taps.
#pragma once

#include "surface/PXSurface.h"

namespace pxresample {

template <typename W>
struct TapTable {
    int count = 0;          // destination rows or columns
    int taps = 0;           // taps per entry
    int* index = nullptr;   // count * taps source rows, or cells of the intermediate row
    W* weight = nullptr;    // count * taps weights

    TapTable(int count, int taps);
    ~TapTable();
    TapTable(const TapTable&) = delete;
    TapTable& operator=(const TapTable&) = delete;
};

// f = i * scale, b = T(f), r = f - b: the frame shared by every resampler.
struct Position {
    int b;
    float r;
    float f;
};
Position At(int i, float scale);

// Two taps: w0 = filter(r) at b, w1 = filter(1 - r) at b + 1 while b < limit - 2,
// otherwise the sum of both at b.
template <typename W>
void BuildTwoTap(TapTable<W>& table, float scale, int limit, W (*filter)(float));

// Four taps at b - 1 .. b + 2 with the edge folds of the cubic resampler. The
// vertical pass has a separate fold for b == limit - 2, the horizontal not.
template <typename W>
void BuildFourTap(TapTable<W>& table, float scale, int limit, bool vertical, W (*filter)(float));

// T(2 * radius) taps from the first sample position; a sample outside
// 0 .. size - 1 is replaced by the centre sample b.
template <typename W>
void BuildAnyRadius(TapTable<W>& table, float scale, float radius, int size, W (*filter)(float));

// Vertical pass into intermediate rows of src->width cells, then horizontal
// pass out of them into dst. Integer form: sums shifted right by 14 and
// clamped; float form: sums truncated and clamped.
void RunPasses(const PXSurface* src, PXSurface* dst, const TapTable<int>& rows, const TapTable<int>& cols);
void RunPasses(const PXSurface* src, PXSurface* dst, const TapTable<float>& rows, const TapTable<float>& cols);

// True if the pixel ranges of the two surfaces share memory.
bool Overlaps(const PXSurface* a, const PXSurface* b);

// to[x] = from[columns[x]] for count pixels.
void NearestRow(const PXPixel* from, const int* columns, PXPixel* to, int count);

} // namespace pxresample
