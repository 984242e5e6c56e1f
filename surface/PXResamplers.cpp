// PXSurface::Resample and the four resamplers it dispatches to.
#include "PXResampleCore.h"
#include "surface/PXResampler.h"

#include <cstdlib>
#include <cstring>

using pxresample::TapTable;

namespace {

float Scale(int from, int to)
{
    return static_cast<float>(from) / static_cast<float>(to);
}

template <typename W>
void TwoTap(PXSurface* src, PXSurface* dst, W (*filter)(float))
{
    TapTable<W> rows(dst->height, 2);
    TapTable<W> cols(dst->width, 2);
    pxresample::BuildTwoTap(rows, Scale(src->height, dst->height), src->height, filter);
    pxresample::BuildTwoTap(cols, Scale(src->width, dst->width), dst->width, filter);
    pxresample::RunPasses(src, dst, rows, cols);
}

template <typename W>
void FourTap(PXSurface* src, PXSurface* dst, W (*filter)(float))
{
    TapTable<W> rows(dst->height, 4);
    TapTable<W> cols(dst->width, 4);
    pxresample::BuildFourTap(rows, Scale(src->height, dst->height), src->height, true, filter);
    pxresample::BuildFourTap(cols, Scale(src->width, dst->width), dst->width, false, filter);
    pxresample::RunPasses(src, dst, rows, cols);
}

template <typename W>
void AnyRadius(PXSurface* src, PXSurface* dst, W (*filter)(float), float radius)
{
    int taps = static_cast<int>(radius + radius);
    TapTable<W> rows(dst->height, taps);
    TapTable<W> cols(dst->width, taps);
    pxresample::BuildAnyRadius(rows, Scale(src->height, dst->height), radius, src->height, filter);
    pxresample::BuildAnyRadius(cols, Scale(src->width, dst->width), radius, src->width, filter);
    pxresample::RunPasses(src, dst, rows, cols);
}

} // namespace

void PXNearestResampler::DoResample(PXSurface* src, PXSurface* dst)
{
    const int dw = dst->width;
    const int dh = dst->height;
    if (dw < 1 || dh < 1)
        return;
    const float xs = Scale(src->width, dw);
    const float ys = Scale(src->height, dh);
    int* columns = static_cast<int*>(std::malloc(static_cast<size_t>(dw) * sizeof(int)));
    for (int x = 0; x < dw; ++x) {
        int sx = static_cast<int>(xs * x + 0.5);
        columns[x] = sx > src->width - 1 ? src->width - 1 : sx;
    }
    // A repeated source row is copied from the row above, unless the rows of
    // the destination overlap each other or the source.
    const bool reuse = dst->stride >= dw && !pxresample::Overlaps(src, dst);
    int previous = -1;
    for (int y = 0; y < dh; ++y) {
        int sy = static_cast<int>(ys * y + 0.5);
        if (sy > src->height - 1)
            sy = src->height - 1;
        PXPixel* to = dst->pixels + static_cast<ptrdiff_t>(y) * dst->stride;
        if (reuse && sy == previous) {
            // Same source row as the row above: the same pixels again.
            std::memcpy(static_cast<void*>(to), to - dst->stride, static_cast<size_t>(dw) * sizeof(PXPixel));
            continue;
        }
        previous = sy;
        pxresample::NearestRow(src->pixels + static_cast<ptrdiff_t>(sy) * src->stride, columns, to, dw);
    }
    std::free(columns);
}

void PXBilinearResampler::DoResample(PXSurface* src, PXSurface* dst, int (*filter)(float))
{
    TwoTap(src, dst, filter);
}

void PXBilinearResampler::DoResample(PXSurface* src, PXSurface* dst, float (*filter)(float))
{
    TwoTap(src, dst, filter);
}

void PXCubicResampler::DoResample(PXSurface* src, PXSurface* dst, int (*filter)(float))
{
    FourTap(src, dst, filter);
}

void PXCubicResampler::DoResample(PXSurface* src, PXSurface* dst, float (*filter)(float))
{
    FourTap(src, dst, filter);
}

void PXDoResampler::DoResample(PXSurface* src, PXSurface* dst, int (*filter)(float), float radius)
{
    AnyRadius(src, dst, filter, radius);
}

void PXDoResampler::DoResample(PXSurface* src, PXSurface* dst, float (*filter)(float), float radius)
{
    AnyRadius(src, dst, filter, radius);
}

void PXSurface::Resample(PXSurface* src, PXSurface* dst, PXInterpolationMode mode)
{
    switch (static_cast<int>(mode)) {
    case 0:
        PXNearestResampler::DoResample(src, dst);
        return;
    case 2:
        PXCubicResampler::DoResample(src, dst, PXCubicResampler::BiCubicInterpolatorX128);
        return;
    case 3:
        PXCubicResampler::DoResample(src, dst, PXCubicResampler::BiCubicBSplineInterpolatorX128);
        return;
    case 4:
        PXCubicResampler::DoResample(src, dst, PXCubicResampler::BiCubicMitchellInterpolatorX128);
        return;
    case 5:
        PXBilinearResampler::DoResample(src, dst, PXBilinearResampler::HermiteX128);
        return;
    case 6:
        PXDoResampler::DoResample(src, dst, PXDoResampler::BiCubicBellInterpolatorX128, 1.5f);
        return;
    case 7:
        PXDoResampler::DoResample(src, dst, PXDoResampler::Lanczos3FilterX128, 3.0f);
        return;
    case 8:
        PXDoResampler::DoResample(src, dst, PXDoResampler::Lanczos4FilterX128, 4.0f);
        return;
    case 9:
        PXDoResampler::DoResample(src, dst, PXDoResampler::Lanczos5FilterX128, 5.0f);
        return;
    case 10:
        PXCubicResampler::DoResample(src, dst, PXCubicResampler::BiCubicCatmullRomInterpolatorX128);
        return;
    default:
        PXBilinearResampler::DoResample(src, dst, PXDoResampler::BilinearX128);
        return;
    }
}
