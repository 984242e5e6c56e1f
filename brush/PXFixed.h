// 32-bit integer helpers of the rasteriser: arithmetic that wraps as the
// machine does instead of overflowing, and float truncation that gives
// INT_MIN for values out of range, as the processor's conversion does.
#pragma once

#include <climits>
#include <cstdint>

namespace pxfix {

inline int Wrap(int64_t v) { return (int)(uint32_t)(uint64_t)v; }
inline int Add(int a, int b) { return (int)((uint32_t)a + (uint32_t)b); }
inline int Sub(int a, int b) { return (int)((uint32_t)a - (uint32_t)b); }
inline int Mul(int a, int b) { return (int)((uint32_t)a * (uint32_t)b); }
inline int Trunc(double f) {
    if (!(f > -2147483649.0 && f < 2147483648.0))
        return INT_MIN;
    return (int)f;
}
// trunc(f) * 65536, kept in 32 bits.
inline int Fix(float f) { return Mul(Trunc(f), 65536); }
// Signed division towards zero, the one overflowing case wrapped.
inline int Div(int a, int b) { return (a == INT_MIN && b == -1) ? INT_MIN : a / b; }

}  // namespace pxfix
