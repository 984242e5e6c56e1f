// The two passes of the separable resamplers.
//
// The intermediate is produced one row at a time: the horizontal pass of a
// destination row needs only that row of the intermediate, plus the few cells
// past its end that an enlargement reaches. Those cells are the first cells of
// the following intermediate rows, computed on their own; past the last row
// they read as 0. The output is the same as from a whole intermediate.
//
// Integer sums are exact, so before the passes the taps of each row and column
// are compacted: taps on the same sample are merged and zero weights dropped.
// Columns are then grouped by their number of taps so that every group runs a
// loop of fixed length.
#include "PXResampleCore.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

#if defined(__GNUC__) && !defined(__clang__) && defined(__x86_64__)
// Builds for AVX2, for SSE4.1 (which has the 32-bit multiply) and for the
// x86-64 baseline; the loader picks one.
#define SP_CLONES __attribute__((target_clones("avx2", "sse4.1", "default")))
#define SP_INLINE inline __attribute__((always_inline))
#else
#define SP_CLONES
#define SP_INLINE inline
#endif

namespace pxresample {
namespace {

// ---- Compacted taps.

// Taps of each entry with duplicates merged and zero weights dropped; entry e
// has the taps start[e] .. start[e + 1] - 1.
struct Compact {
    std::vector<int> start;
    std::vector<int> index;
    std::vector<int> weight;
};

Compact Compress(const TapTable<int>& table)
{
    Compact c;
    c.start.reserve(static_cast<size_t>(table.count) + 1);
    c.start.push_back(0);
    for (int e = 0; e < table.count; ++e) {
        size_t first = c.index.size();
        for (int t = 0; t < table.taps; ++t) {
            int at = table.index[static_cast<size_t>(e) * table.taps + t];
            int w = table.weight[static_cast<size_t>(e) * table.taps + t];
            size_t k = first;
            while (k < c.index.size() && c.index[k] != at)
                ++k;
            if (k == c.index.size()) {
                c.index.push_back(at);
                c.weight.push_back(w);
            } else {
                c.weight[k] += w;
            }
        }
        size_t kept = first;
        for (size_t k = first; k < c.index.size(); ++k)
            if (c.weight[k] != 0) {
                c.index[kept] = c.index[k];
                c.weight[kept] = c.weight[k];
                ++kept;
            }
        c.index.resize(kept);
        c.weight.resize(kept);
        c.start.push_back(static_cast<int>(kept));
    }
    return c;
}

// Destination columns with the same number of taps, with cell offsets in
// words (cell index * 4).
struct Group {
    int taps = 0;
    std::vector<int> column;
    std::vector<int> offset;
    std::vector<int> weight;
};

std::vector<Group> GroupColumns(const Compact& c, int count)
{
    std::vector<Group> groups;
    for (int x = 0; x < count; ++x) {
        int n = c.start[x + 1] - c.start[x];
        auto g = std::find_if(groups.begin(), groups.end(), [n](const Group& q) { return q.taps == n; });
        if (g == groups.end()) {
            groups.emplace_back();
            g = groups.end() - 1;
            g->taps = n;
        }
        g->column.push_back(x);
        for (int k = c.start[x]; k < c.start[x + 1]; ++k) {
            g->offset.push_back(c.index[k] * 4);
            g->weight.push_back(c.weight[k]);
        }
    }
    return groups;
}

// ---- Vertical pass.

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
    case 1: VerticalFixed<1>(rows, w, out, n); return;
    case 2: VerticalFixed<2>(rows, w, out, n); return;
    case 3: VerticalFixed<3>(rows, w, out, n); return;
    case 4: VerticalFixed<4>(rows, w, out, n); return;
    case 5: VerticalFixed<5>(rows, w, out, n); return;
    case 6: VerticalFixed<6>(rows, w, out, n); return;
    default: break;
    }
    // Longer filters: the first taps in one go, then the rest one at a time.
    VerticalFixed<6>(rows, w, out, n);
    for (int t = 6; t < taps; ++t) {
        const uint8_t* r = rows[t];
        int k = w[t];
        for (int j = 0; j < n; ++j)
            out[j] += static_cast<int32_t>(r[j]) * k;
    }
}

const uint8_t* SourceBytes(const PXSurface* src, int row, int col)
{
    return reinterpret_cast<const uint8_t*>(src->pixels + static_cast<ptrdiff_t>(row) * src->stride + col);
}

// Cells of intermediate row y for source columns col .. col + n - 1.
void VerticalCells(const PXSurface* src, const Compact& rows, int y, int col, int n,
                   std::vector<const uint8_t*>& scratch, int32_t* out)
{
    int first = rows.start[y];
    int taps = rows.start[y + 1] - first;
    if (taps == 0) {
        std::memset(out, 0, static_cast<size_t>(n) * 4 * sizeof(int32_t));
        return;
    }
    for (int t = 0; t < taps; ++t)
        scratch[t] = SourceBytes(src, rows.index[first + t], col);
    VerticalKernel(scratch.data(), rows.weight.data() + first, taps, out, n * 4);
}

// ---- Horizontal pass.

// Sums of one group of columns. The four channels of a cell are one vector,
// so each tap is one multiply-add.
typedef int32_t Cell4 __attribute__((vector_size(16)));

template <int N>
SP_INLINE void HorizontalFixed(const int32_t* cells, const Group& g, int32_t* sums)
{
    const int n = N > 0 ? N : g.taps;
    const int* column = g.column.data();
    const int* offset = g.offset.data();
    const int* weight = g.weight.data();
    const int count = static_cast<int>(g.column.size());
    for (int i = 0; i < count; ++i) {
        Cell4 s = {0, 0, 0, 0};
        for (int t = 0; t < n; ++t) {
            Cell4 c;
            std::memcpy(&c, cells + offset[i * n + t], sizeof c);
            s += c * weight[i * n + t];
        }
        std::memcpy(sums + column[i] * 4, &s, sizeof s);
    }
}

SP_CLONES void HorizontalKernel(const int32_t* cells, const Group& g, int32_t* sums)
{
    switch (g.taps) {
    case 1: HorizontalFixed<1>(cells, g, sums); return;
    case 2: HorizontalFixed<2>(cells, g, sums); return;
    case 3: HorizontalFixed<3>(cells, g, sums); return;
    case 4: HorizontalFixed<4>(cells, g, sums); return;
    case 5: HorizontalFixed<5>(cells, g, sums); return;
    case 6: HorizontalFixed<6>(cells, g, sums); return;
    case 7: HorizontalFixed<7>(cells, g, sums); return;
    case 8: HorizontalFixed<8>(cells, g, sums); return;
    case 9: HorizontalFixed<9>(cells, g, sums); return;
    case 10: HorizontalFixed<10>(cells, g, sums); return;
    default: HorizontalFixed<0>(cells, g, sums); return;
    }
}

// Shift right by 14 and clamp to a byte, in a loop of its own so that it is
// vectorised too.
SP_CLONES void Narrow(const int32_t* sums, uint8_t* out, int n)
{
    for (int j = 0; j < n; ++j) {
        int32_t v = sums[j] >> 14;
        out[j] = static_cast<uint8_t>(v < 0 ? 0 : (v > 255 ? 255 : v));
    }
}

void RunInteger(const PXSurface* src, PXSurface* dst, const TapTable<int>& rowTable, const TapTable<int>& colTable)
{
    const int dw = dst->width;
    const int dh = dst->height;
    const int sw = src->width;
    if (dw < 1 || dh < 1)
        return;

    const Compact rows = Compress(rowTable);
    const Compact cols = Compress(colTable);
    const std::vector<Group> groups = GroupColumns(cols, dw);
    int cells = sw;
    for (int at : cols.index)
        cells = std::max(cells, at + 1);
    int maxTaps = 1;
    for (int y = 0; y < dh; ++y)
        maxTaps = std::max(maxTaps, rows.start[y + 1] - rows.start[y]);

    std::vector<int32_t> row(static_cast<size_t>(cells) * 4);
    std::vector<int32_t> sums(static_cast<size_t>(dw) * 4);
    std::vector<const uint8_t*> scratch(static_cast<size_t>(maxTaps));
    for (int y = 0; y < dh; ++y) {
        VerticalCells(src, rows, y, 0, sw, scratch, row.data());
        // Cells past the row's end belong to the following intermediate rows.
        for (int c = sw; c < cells; ++c) {
            long long flat = static_cast<long long>(y) * sw + c;
            long long yy = sw > 0 ? flat / sw : dh;
            int32_t* cell = row.data() + static_cast<size_t>(c) * 4;
            if (yy < dh)
                VerticalCells(src, rows, static_cast<int>(yy), static_cast<int>(flat % sw), 1, scratch, cell);
            else
                std::memset(cell, 0, 4 * sizeof(int32_t));
        }
        for (const Group& g : groups)
            HorizontalKernel(row.data(), g, sums.data());
        Narrow(sums.data(), reinterpret_cast<uint8_t*>(dst->pixels + static_cast<ptrdiff_t>(y) * dst->stride),
               dw * 4);
    }
}

// ---- Floating point: the taps as they are, in order, no compaction.

void RunFloat(const PXSurface* src, PXSurface* dst, const TapTable<float>& rows, const TapTable<float>& cols)
{
    const int dw = dst->width;
    const int dh = dst->height;
    const int sw = src->width;
    if (dw < 1 || dh < 1)
        return;
    int cells = sw;
    for (size_t e = 0; e < static_cast<size_t>(cols.count) * cols.taps; ++e)
        cells = std::max(cells, cols.index[e] + 1);

    // One intermediate cell: the vertical sum at row y, source column x.
    auto vertical = [&](int y, int x, int ch) {
        const int* idx = rows.index + static_cast<size_t>(y) * rows.taps;
        const float* w = rows.weight + static_cast<size_t>(y) * rows.taps;
        float s = 0;
        for (int t = 0; t < rows.taps; ++t)
            s += static_cast<float>(SourceBytes(src, idx[t], x)[ch]) * w[t];
        return s;
    };
    std::vector<float> row(static_cast<size_t>(cells) * 4);
    for (int y = 0; y < dh; ++y) {
        for (int c = 0; c < cells; ++c) {
            long long flat = static_cast<long long>(y) * sw + c;
            long long yy = sw > 0 ? flat / sw : dh;
            for (int ch = 0; ch < 4; ++ch)
                row[static_cast<size_t>(c) * 4 + ch] =
                    yy < dh ? vertical(static_cast<int>(yy), static_cast<int>(flat % sw), ch) : 0.0f;
        }
        uint8_t* out = reinterpret_cast<uint8_t*>(dst->pixels + static_cast<ptrdiff_t>(y) * dst->stride);
        for (int x = 0; x < dw; ++x) {
            const int* ix = cols.index + static_cast<size_t>(x) * cols.taps;
            const float* wx = cols.weight + static_cast<size_t>(x) * cols.taps;
            for (int ch = 0; ch < 4; ++ch) {
                float s = 0;
                for (int t = 0; t < cols.taps; ++t)
                    s += row[static_cast<size_t>(ix[t]) * 4 + ch] * wx[t];
                // Truncated, then clamped to a byte.
                out[x * 4 + ch] = !(s > 0.0f) ? 0 : (s >= 255.0f ? 255 : static_cast<uint8_t>(s));
            }
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
        RunInteger(&copy, dst, rows, cols);
        return;
    }
    RunInteger(src, dst, rows, cols);
}

void RunPasses(const PXSurface* src, PXSurface* dst, const TapTable<float>& rows, const TapTable<float>& cols)
{
    if (Overlaps(src, dst)) {
        PXSurface copy(*src);
        RunFloat(&copy, dst, rows, cols);
        return;
    }
    RunFloat(src, dst, rows, cols);
}

} // namespace pxresample
