// Internal helpers shared by the scalers, the transform and the masks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "bitmap/LHBmp.h"

namespace lhbmp {

inline unsigned char* rowOf(const CLHBmp& b, int64_t y)
{
    return b.bits + ptrdiff_t(y) * b.stride;
}

// Stores C bytes; with Swap, bytes 0 and 2 change places (the other colour order).
template <int C, bool Swap>
inline void putPixel(unsigned char* d, const unsigned char* s)
{
    if (C == 1) {
        d[0] = s[0];
    } else if (Swap) {
        d[0] = s[2], d[1] = s[1], d[2] = s[0], d[3] = s[3];
    } else {
        std::memcpy(d, s, 4);
    }
}

// Per-byte values computed in order; Swap stores byte k at 2 - k for k in 0..2.
template <int C, bool Swap>
inline void putByte(unsigned char* d, int k, unsigned int v)
{
    const int at = (C == 4 && Swap && k != 1 && k != 3) ? 2 - k : k;
    d[at] = static_cast<unsigned char>(v);
}

// Whether the rows of two bitmaps share any byte.
inline bool overlaps(const CLHBmp& a, const CLHBmp& b)
{
    auto span = [](const CLHBmp& m, uintptr_t& lo, uintptr_t& hi) {
        const ptrdiff_t last = ptrdiff_t(m.height > 0 ? m.height - 1 : 0) * m.stride;
        lo = uintptr_t(m.bits) + uintptr_t(last < 0 ? last : 0);
        hi = uintptr_t(m.bits) + uintptr_t(last > 0 ? last : 0) + uintptr_t(m.width) * uintptr_t(m.depth / 8);
    };
    uintptr_t alo, ahi, blo, bhi;
    span(a, alo, ahi);
    span(b, blo, bhi);
    return alo < bhi && blo < ahi;
}

inline int64_t absRaw(const LHFIX64& s)
{
    return s.v < 0 ? int64_t(0 - uint64_t(s.v)) : s.v;
}

// Ceiling of |scale| * size from a plain 64-bit product (wrapping).
inline int64_t scaledSize(int64_t a, int size)
{
    return int64_t(uint64_t(a) * uint64_t(int64_t(size)) + uint64_t(LHFIX64::kOne - 1)) >> 26;
}

} // namespace lhbmp
