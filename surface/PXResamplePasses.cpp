// The two passes of the separable resamplers.
//
// The intermediate is produced one row at a time: the horizontal pass of a
// destination row needs only that row of the intermediate, plus the few cells
// past its end that an enlargement reaches. Those cells are the first cells of
// the following intermediate rows, computed on their own; past the last row
// they read as 0. The output is the same as from a whole intermediate.
#include "PXResampleCore.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#if defined(__GNUC__) && !defined(__clang__) && defined(__x86_64__)
// One build for AVX2 machines, one for the rest; the loader picks.
#define SP_CLONES __attribute__((target_clones("avx2", "default")))
#define SP_INLINE inline __attribute__((always_inline))
#else
#define SP_CLONES
#define SP_INLINE inline
#endif

namespace pxresample {
namespace {

// out[j] = sum over taps of rows[t][j] * w[t], for n bytes of source rows.
template <int N>
SP_INLINE void VerticalFixed(const uint8_t* const* rows, const int* w, int32_t* out, int n)
{
    const uint8_t* r[N];
    int k[N];
    for (int t = 0; t < N; ++t) {
        r[t] = rows[t];
        k[t] = w[t];
    }
    for (int j = 0; j < n; ++j) {
        int32_t s = 0;
        for (int t = 0; t < N; ++t)
            s += static_cast<int32_t>(r[t][j]) * k[t];
        out[j] = s;
    }
}

SP_CLONES void VerticalKernel(const uint8_t* const* rows, const int* w, int taps, int32_t* out, int n)
{
    switch (taps) {
    case 2: VerticalFixed<2>(rows, w, out, n); return;
    case 3: VerticalFixed<3>(rows, w, out, n); return;
    case 4: VerticalFixed<4>(rows, w, out, n); return;
    case 6: VerticalFixed<6>(rows, w, out, n); return;
    case 8: VerticalFixed<8>(rows, w, out, n); return;
    case 10: VerticalFixed<10>(rows, w, out, n); return;
    default: break;
    }
    for (int j = 0; j < n; ++j)
        out[j] = 0;
    for (int t = 0; t < taps; ++t) {
        const uint8_t* r = rows[t];
        int k = w[t];
        for (int j = 0; j < n; ++j)
            out[j] += static_cast<int32_t>(r[j]) * k;
    }
}

// One destination row out of one intermediate row: each pixel is the weighted
// sum of its cells. The four channels of a cell are one vector, so each tap is
// one multiply-add. Sums go to a scratch row first; shifting, clamping and
// narrowing them in a loop of their own lets that loop be vectorised too.
typedef int32_t Cell4 __attribute__((vector_size(16)));

template <int N>
SP_INLINE void HorizontalFixed(const int32_t* cells, const int* idx, const int* w, int taps,
                               int32_t* sums, uint8_t* out, int count)
{
    const int n = N > 0 ? N : taps;
    for (int x = 0; x < count; ++x) {
        const int* ix = idx + x * n;
        const int* wx = w + x * n;
        Cell4 s = {0, 0, 0, 0};
        for (int t = 0; t < n; ++t) {
            Cell4 c;
            std::memcpy(&c, cells + ix[t] * 4, sizeof c);
            s += c * wx[t];
        }
        std::memcpy(sums + x * 4, &s, sizeof s);
    }
    for (int j = 0; j < count * 4; ++j) {
        int32_t v = sums[j] >> 14;
        out[j] = static_cast<uint8_t>(v < 0 ? 0 : (v > 255 ? 255 : v));
    }
}

SP_CLONES void HorizontalKernel(const int32_t* cells, const int* idx, const int* w, int taps,
                                int32_t* sums, uint8_t* out, int count)
{
    switch (taps) {
    case 2: HorizontalFixed<2>(cells, idx, w, taps, sums, out, count); return;
    case 3: HorizontalFixed<3>(cells, idx, w, taps, sums, out, count); return;
    case 4: HorizontalFixed<4>(cells, idx, w, taps, sums, out, count); return;
    case 6: HorizontalFixed<6>(cells, idx, w, taps, sums, out, count); return;
    case 8: HorizontalFixed<8>(cells, idx, w, taps, sums, out, count); return;
    case 10: HorizontalFixed<10>(cells, idx, w, taps, sums, out, count); return;
    default: HorizontalFixed<0>(cells, idx, w, taps, sums, out, count); return;
    }
}

const uint8_t* SourceBytes(const PXSurface* src, int row, int col)
{
    return reinterpret_cast<const uint8_t*>(src->pixels + static_cast<ptrdiff_t>(row) * src->stride + col);
}

// Cells of intermediate row y for source columns col .. col + n - 1.
void VerticalCells(const PXSurface* src, const TapTable<int>& rows, int y, int col, int n,
                   const uint8_t** scratch, int32_t* out)
{
    const int* idx = rows.index + static_cast<ptrdiff_t>(y) * rows.taps;
    for (int t = 0; t < rows.taps; ++t)
        scratch[t] = SourceBytes(src, idx[t], col);
    VerticalKernel(scratch, rows.weight + static_cast<ptrdiff_t>(y) * rows.taps, rows.taps, out, n * 4);
}

void VerticalCells(const PXSurface* src, const TapTable<float>& rows, int y, int col, int n,
                   const uint8_t**, float* out)
{
    const int* idx = rows.index + static_cast<ptrdiff_t>(y) * rows.taps;
    const float* w = rows.weight + static_cast<ptrdiff_t>(y) * rows.taps;
    for (int j = 0; j < n * 4; ++j) {
        float s = 0;
        for (int t = 0; t < rows.taps; ++t)
            s += static_cast<float>(SourceBytes(src, idx[t], col)[j]) * w[t];
        out[j] = s;
    }
}

void HorizontalRow(const int32_t* cells, const TapTable<int>& cols, int32_t* sums, uint8_t* out)
{
    HorizontalKernel(cells, cols.index, cols.weight, cols.taps, sums, out, cols.count);
}

void HorizontalRow(const float* cells, const TapTable<float>& cols, float*, uint8_t* out)
{
    for (int x = 0; x < cols.count; ++x) {
        const int* ix = cols.index + static_cast<ptrdiff_t>(x) * cols.taps;
        const float* wx = cols.weight + static_cast<ptrdiff_t>(x) * cols.taps;
        for (int ch = 0; ch < 4; ++ch) {
            float s = 0;
            for (int t = 0; t < cols.taps; ++t)
                s += cells[ix[t] * 4 + ch] * wx[t];
            // Truncated, then clamped to a byte.
            out[x * 4 + ch] = !(s > 0.0f) ? 0 : (s >= 255.0f ? 255 : static_cast<uint8_t>(s));
        }
    }
}

// Byte range [first, last) covered by a surface's rows.
void Span(const PXSurface* s, uintptr_t& first, uintptr_t& last)
{
    uintptr_t top = reinterpret_cast<uintptr_t>(s->pixels);
    uintptr_t bottom = reinterpret_cast<uintptr_t>(s->pixels + static_cast<ptrdiff_t>(s->height - 1) * s->stride);
    first = std::min(top, bottom);
    last = std::max(top, bottom) + static_cast<uintptr_t>(s->width) * sizeof(PXPixel);
}

template <typename Cell, typename W>
void Run(const PXSurface* src, PXSurface* dst, const TapTable<W>& rows, const TapTable<W>& cols)
{
    const int dw = dst->width;
    const int dh = dst->height;
    const int sw = src->width;
    if (dw < 1 || dh < 1)
        return;

    int cells = sw;
    size_t colEntries = static_cast<size_t>(cols.count) * static_cast<size_t>(cols.taps);
    for (size_t e = 0; e < colEntries; ++e)
        cells = std::max(cells, cols.index[e] + 1);

    Cell* row = static_cast<Cell*>(std::malloc(static_cast<size_t>(cells) * 4 * sizeof(Cell) + 1));
    Cell* sums = static_cast<Cell*>(std::malloc(static_cast<size_t>(dw) * 4 * sizeof(Cell)));
    const uint8_t** scratch =
        static_cast<const uint8_t**>(std::malloc(static_cast<size_t>(rows.taps) * sizeof(uint8_t*) + 1));

    for (int y = 0; y < dh; ++y) {
        VerticalCells(src, rows, y, 0, sw, scratch, row);
        // Cells past the row's end belong to the following intermediate rows.
        for (int c = sw; c < cells; ++c) {
            long long flat = static_cast<long long>(y) * sw + c;
            long long yy = sw > 0 ? flat / sw : dh;
            if (yy < dh)
                VerticalCells(src, rows, static_cast<int>(yy), static_cast<int>(flat % sw), 1, scratch,
                              row + static_cast<size_t>(c) * 4);
            else
                std::memset(static_cast<void*>(row + static_cast<size_t>(c) * 4), 0, 4 * sizeof(Cell));
        }
        HorizontalRow(row, cols, sums, reinterpret_cast<uint8_t*>(dst->pixels + static_cast<ptrdiff_t>(y) * dst->stride));
    }

    std::free(scratch);
    std::free(sums);
    std::free(row);
}

} // namespace

bool Overlaps(const PXSurface* a, const PXSurface* b)
{
    if (a->width < 1 || a->height < 1 || b->width < 1 || b->height < 1)
        return false;
    uintptr_t a0, a1, b0, b1;
    Span(a, a0, a1);
    Span(b, b0, b1);
    return a0 < b1 && b0 < a1;
}

SP_CLONES void NearestRow(const PXPixel* from, const int* columns, PXPixel* to, int count)
{
    const uint32_t* f = reinterpret_cast<const uint32_t*>(from);
    uint32_t* t = reinterpret_cast<uint32_t*>(to);
    for (int x = 0; x < count; ++x)
        t[x] = f[columns[x]];
}

// The source is read whole before the destination is written, so a
// destination that shares memory with the source is filled from a copy of it.
void RunPasses(const PXSurface* src, PXSurface* dst, const TapTable<int>& rows, const TapTable<int>& cols)
{
    if (Overlaps(src, dst)) {
        PXSurface copy(*src);
        Run<int32_t>(&copy, dst, rows, cols);
        return;
    }
    Run<int32_t>(src, dst, rows, cols);
}

void RunPasses(const PXSurface* src, PXSurface* dst, const TapTable<float>& rows, const TapTable<float>& cols)
{
    if (Overlaps(src, dst)) {
        PXSurface copy(*src);
        Run<float>(&copy, dst, rows, cols);
        return;
    }
    Run<float>(src, dst, rows, cols);
}

} // namespace pxresample
