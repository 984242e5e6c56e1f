// The resamplers behind PXSurface::Resample and their integer filter functions.
// Filter functions return the filter's value times 128, so that the two passes
// together scale by 16384 and one final shift by 14 restores the range.
#pragma once

#include "surface/PXSurface.h"

// Plain lookup of the nearest source pixel.
class PXNearestResampler {
public:
    PXNearestResampler() = delete;
    // Fills dst with the source pixel nearest to each destination pixel.
    static void DoResample(PXSurface* src, PXSurface* dst);
};

// Two-tap separable resampler.
class PXBilinearResampler {
public:
    PXBilinearResampler() = delete;
    // Integer weights; sums shifted by 14 and clamped.
    static void DoResample(PXSurface* src, PXSurface* dst, int (*filter)(float));
    // Same in floating point: no shift, the sum truncated and clamped.
    static void DoResample(PXSurface* src, PXSurface* dst, float (*filter)(float));
    // Hermite smoothstep for arguments 0 to 1.
    static int HermiteX128(float t);
};

// Four-tap separable resampler.
class PXCubicResampler {
public:
    PXCubicResampler() = delete;
    // Integer weights; sums shifted by 14 and clamped.
    static void DoResample(PXSurface* src, PXSurface* dst, int (*filter)(float));
    // Same in floating point: no shift, the sum truncated and clamped.
    static void DoResample(PXSurface* src, PXSurface* dst, float (*filter)(float));
    // Cubic convolution kernel (a = -0.5), the first piece closed at 1.
    static int BiCubicInterpolatorX128(float t);
    // Cubic B-spline.
    static int BiCubicBSplineInterpolatorX128(float t);
    // Mitchell-Netravali (B = C = 1/3).
    static int BiCubicMitchellInterpolatorX128(float t);
    // Catmull-Rom: the cubic convolution kernel with the first piece open at 1.
    static int BiCubicCatmullRomInterpolatorX128(float t);
};

// Separable resampler of any radius.
class PXDoResampler {
public:
    PXDoResampler() = delete;
    // Integer weights over T(2 * radius) taps; sums shifted by 14 and clamped.
    static void DoResample(PXSurface* src, PXSurface* dst, int (*filter)(float), float radius);
    // Same in floating point: no shift, the sum truncated and clamped.
    static void DoResample(PXSurface* src, PXSurface* dst, float (*filter)(float), float radius);
    // Tent for arguments 0 to 1.
    static int BilinearX128(float t);
    // Quadratic bell of radius 1.5.
    static int BiCubicBellInterpolatorX128(float t);
    // Windowed sinc of radius 3, 4 and 5.
    static int Lanczos3FilterX128(float t);
    static int Lanczos4FilterX128(float t);
    static int Lanczos5FilterX128(float t);
};
