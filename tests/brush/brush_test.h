// Small helpers the brush tests share: reading alphas back, presetting a
// brush, and a repeatable random stream for the tests that compare many dabs.
#pragma once

#include <cstdint>
#include <vector>

#include "brush/PXPaintBrush.h"

namespace brushtest {

inline int Alpha(const PXSurface& s, int x, int y) { return s.pixels[y * s.stride + x].a; }

inline int Inked(const PXSurface& s) {
    int n = 0;
    for (int y = 0; y < s.height; ++y)
        for (int x = 0; x < s.width; ++x)
            n += Alpha(s, x, y) != 0;
    return n;
}

inline std::vector<int> Alphas(const PXSurface& s) {
    std::vector<int> v;
    for (int y = 0; y < s.height; ++y)
        for (int x = 0; x < s.width; ++x)
            v.push_back(Alpha(s, x, y));
    return v;
}

inline std::vector<int> Rect(const PXRectangle& r) { return {r.left, r.top, r.right, r.bottom}; }

inline void Preset(PXPaintBrush& b, float size, float min_size, float opacity, float min_opacity,
                   float min_spacing = 0.0f) {
    b.size = size;
    b.min_size = min_size;
    b.opacity = opacity;
    b.min_opacity = min_opacity;
    b.spacing = 0.12f;
    b.min_spacing = min_spacing;
}

// The shared generator's state after n draws from 0.
inline uint32_t Steps(uint32_t n) {
    uint32_t s = 0;
    for (uint32_t i = 0; i < n; ++i)
        s = s * 214013u + 2531011u;
    return s;
}

// A linear congruential stream of floats in [lo, hi).
struct Random {
    uint32_t seed;
    float operator()(float lo, float hi) {
        seed = seed * 1664525u + 1013904223u;
        return lo + (hi - lo) * (float)(seed >> 8) / 16777216.0f;
    }
};

}  // namespace brushtest
