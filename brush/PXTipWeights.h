// The tip weights as inline functions, so that the dab loops can run them
// without a virtual call. r is the float radius, d the double squared
// distance; rr is r * r rounded to float and widened. The rest is double
// unless a rule rounds to float on purpose, and the result is a float.
#pragma once

#include <cmath>

namespace pxtip {

inline double RR(float r) { return (double)(r * r); }

inline float Flat(float r, double d) {
    if (RR(r) >= d)
        return 1.0f;
    const float q = r + 1.0f;
    if (d >= (double)(q * q))
        return 0.0f;
    return (float)(((double)q - std::sqrt(d)) * 0.5);
}

// The ring's bound o lies below the inner bound for every radius above 0.5,
// so for those the ring is empty; it is kept as the tip has always been.
inline float Dull(float radius, double d) {
    const double r = radius;
    const double rr = RR(radius);
    if (rr - 0.4 * r + 0.04 > d)
        return (float)(1.0 - d / rr);
    const float o = (float)(rr - 1.6 * r + 0.64);
    if (d < (double)o)
        return (float)(((double)o - d) / 25.0);
    return 0.0f;
}

inline float DullAA(float radius, double d) {
    const double r = radius;
    const double inner = r - 0.2;
    if (inner * inner > d)
        return (float)std::sqrt(1.0 - d / RR(radius));
    const double q = r + 0.8;
    if (d < q * q)
        return (float)((q - std::sqrt(d)) * (double)0.2f);  // the float 0.2, widened
    return 0.0f;
}

inline float Linear(float radius, double d) {
    const double r = radius;
    if (RR(radius) <= d)
        return 0.0f;
    return (float)((r - std::sqrt(d)) / r);
}

inline float Linear2(float radius, double d) {
    const double r = radius;
    if (RR(radius) <= d)
        return 0.0f;
    if (d >= (double)(radius * radius * 0.2f))
        return (float)((r + 0.8 - std::sqrt(d)) / 30.0);
    return (float)((r - std::sqrt(d)) / r);
}

}  // namespace pxtip
