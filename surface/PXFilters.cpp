// Integer filter functions of the resamplers: each returns the filter's value
// times 128, truncated towards zero, and 0 outside its support.
#include "surface/PXResampler.h"

#include <cmath>

namespace {

// sin(y) / y with y = x * 3.1415926 rounded to a float first; 1 at 0.
double Sinc(float x)
{
    if (x == 0.0f)
        return 1.0;
    float y = static_cast<float>(x * 3.1415926);
    return std::sin(static_cast<double>(y)) / y;
}

} // namespace

int PXDoResampler::BilinearX128(float t)
{
    // Only given arguments from 0 to 1, so no magnitude is taken.
    if (t < 1.0f)
        return static_cast<int>(128.0f - 128.0f * t);
    return 0;
}

int PXBilinearResampler::HermiteX128(float t)
{
    // Only given arguments from 0 to 1, so no magnitude is taken.
    if (t < 1.0f) {
        float t2 = t * t;
        float t3 = t2 * t;
        return static_cast<int>(256.0f * t3 - 384.0f * t2 + 128.0f);
    }
    return 0;
}

int PXCubicResampler::BiCubicInterpolatorX128(float t)
{
    float a = std::fabs(t);
    float a2 = a * a;
    float a3 = a2 * a;
    if (a <= 1.0f)
        return static_cast<int>(192.0f * a3 - 320.0f * a2 + 128.0f);
    if (a < 2.0f)
        return static_cast<int>(-64.0f * a3 + 320.0f * a2 - 512.0f * a + 256.0f);
    return 0;
}

int PXCubicResampler::BiCubicCatmullRomInterpolatorX128(float t)
{
    float a = std::fabs(t);
    float a2 = a * a;
    float a3 = a2 * a;
    if (a < 1.0f)
        return static_cast<int>(192.0f * a3 - 320.0f * a2 + 128.0f);
    if (a < 2.0f)
        return static_cast<int>(-64.0f * a3 + 320.0f * a2 - 512.0f * a + 256.0f);
    return 0;
}

int PXCubicResampler::BiCubicBSplineInterpolatorX128(float t)
{
    float a = std::fabs(t);
    if (a < 1.0f)
        return static_cast<int>(64.0f * a * a * a - 128.0f * a * a + 85.33f);
    if (a < 2.0f) {
        float u = 2.0f - a;
        return static_cast<int>(u * u * u * 21.33f);
    }
    return 0;
}

int PXCubicResampler::BiCubicMitchellInterpolatorX128(float t)
{
    float a = std::fabs(t);
    double d = a;
    double cube = d * d * d;
    float square = a * a;
    if (a < 1.0f)
        return static_cast<int>(149.33 * cube - 256.0f * square + 113.71);
    if (a < 2.0f)
        return static_cast<int>(-49.78 * cube + 256.0f * square - 426.67 * a + 227.56);
    return 0;
}

int PXDoResampler::BiCubicBellInterpolatorX128(float t)
{
    float a = std::fabs(t);
    if (a < 0.5f)
        return static_cast<int>(96.0f - 128.0f * a * a);
    if (a < 1.5f) {
        float u = a - 1.5f;
        return static_cast<int>(64.0f * u * u);
    }
    return 0;
}

int PXDoResampler::Lanczos3FilterX128(float t)
{
    float a = std::fabs(t);
    if (a < 3.0f)
        return static_cast<int>(Sinc(a) * Sinc(a / 3.0f) * 128);
    return 0;
}

int PXDoResampler::Lanczos4FilterX128(float t)
{
    float a = std::fabs(t);
    if (a < 4.0f)
        return static_cast<int>(Sinc(a) * Sinc(a * 0.25f) * 128);
    return 0;
}

int PXDoResampler::Lanczos5FilterX128(float t)
{
    float a = std::fabs(t);
    if (a < 5.0f)
        return static_cast<int>(Sinc(a) * Sinc(a * 0.2f) * 128);
    return 0;
}
