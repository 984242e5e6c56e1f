// Integer and float rectangles.
#include "surface/PXRectangle.h"

#include <climits>
#include <cstdlib>
#include <utility>

namespace {

// Truncation towards zero into 32 bits; values out of range (and NaN) give
// INT_MIN, as the hardware conversion does.
int T32(double v)
{
    if (!(v > -2147483649.0 && v < 2147483648.0))
        return INT_MIN;
    return static_cast<int>(v);
}

// Absolute value that leaves INT_MIN as it is, as the hardware does.
int Abs32(int v)
{
    return v == INT_MIN ? INT_MIN : std::abs(v);
}

// The tolerance of the float comparisons (bits 0x38D1B717).
const float kEps = 0.0001f;

// Equality of two fields: the difference truncated to an integer, its absolute
// value compared with the tolerance. Values less than 1.0 apart count as equal.
bool SameField(float a, float b)
{
    return static_cast<float>(Abs32(T32(a - b))) < kEps;
}

} // namespace

void PXRectangle::sort()
{
    if (left > right)
        std::swap(left, right);
    if (top > bottom)
        std::swap(top, bottom);
}

void PXRectangle::Inflate(int dx, int dy)
{
    left -= dx;
    top -= dy;
    right += dx;
    bottom += dy;
    sort();
}

void PXRectangle::Intersect(const PXRectangle& other)
{
    if (left == other.left && top == other.top && right == other.right && bottom == other.bottom &&
        (left >= right || top >= bottom))
        return;
    if (other.left >= other.right || other.bottom <= other.top)
        left = top = right = bottom = 0;
    if (other.left >= left && right > other.left)
        left = other.left;
    if (other.top >= top && other.top < bottom)
        top = other.top;
    if (left < other.right && right > other.right)
        right = other.right;
    // Kept without a test against top: callers rely on an "above" rectangle
    // coming out with a negative height rather than as zeros.
    if (other.bottom < bottom)
        bottom = other.bottom;
}

PXRectangle PXRectangle::Truncate(const PXRectangleF& r)
{
    PXRectangle out(T32(r.left), T32(r.top), T32(r.right), T32(r.bottom));
    out.sort();
    return out;
}

PXRectangle PXRectangle::Round(const PXRectangleF& r)
{
    auto round = [](float v) { return v > 0 ? T32(v + 0.5) : T32(v - 0.5); };
    PXRectangle out(round(r.left), round(r.top), round(r.right), round(r.bottom));
    out.sort();
    return out;
}

PXRectangle PXRectangle::Ceiling(const PXRectangleF& r)
{
    // The fraction is compared through an integer, so it never exceeds the
    // tolerance and the result equals Truncate's. Kept: drawn rectangles are
    // sized by it and must not grow.
    auto ceiling = [](float v) {
        int t = T32(v);
        if (v > 0) {
            float frac = v - static_cast<float>(t);
            if (static_cast<float>(Abs32(T32(frac))) > kEps)
                t = T32(v + 1.0);
        }
        return t;
    };
    PXRectangle out(ceiling(r.left), ceiling(r.top), ceiling(r.right), ceiling(r.bottom));
    out.sort();
    return out;
}

void PXRectangleF::sortF()
{
    if (left > right)
        std::swap(left, right);
    if (top > bottom)
        std::swap(top, bottom);
}

void PXRectangleF::Inflate(float dx, float dy)
{
    left -= dx;
    top -= dy;
    right += dx;
    bottom += dy;
    sortF();
}

void PXRectangleF::Intersect(const PXRectangleF& other)
{
    if (SameField(left, other.left) && SameField(top, other.top) && SameField(right, other.right) &&
        SameField(bottom, other.bottom) && (left >= right || top >= bottom))
        return;
    float cl, ct;
    if (other.right > other.left && other.bottom > other.top) {
        cl = left - kEps;
        ct = top - kEps;
    } else {
        left = top = right = bottom = 0;
        cl = ct = -kEps;
    }
    if (other.left > cl && right + kEps > other.left) {
        left = other.left;
        cl = other.left - kEps;
    }
    if (other.top > ct && bottom + kEps > other.top) {
        top = other.top;
        ct = other.top - kEps;
    }
    if (other.right > cl && right + kEps > other.right)
        right = other.right;
    if (ct < other.bottom && bottom + kEps > other.bottom)
        bottom = other.bottom;
}
