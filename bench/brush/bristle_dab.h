// A small bristle dab image for the gallery and the benchmark: a ring of
// hair tips, each a soft spot, in byte 0 (the mask channel) of each word.
#pragma once

#include <cmath>
#include <vector>

inline std::vector<int> BristleDab(int side) {
    std::vector<int> px((size_t)side * side, 0);
    const float c = side * 0.5f;
    // Nineteen tips on three rings, their radii and angles fixed by hand.
    struct Tip { float ring, turn, r; };
    const Tip tips[] = {{0.0f, 0.0f, 0.14f},  {0.3f, 0.0f, 0.1f},   {0.3f, 1.05f, 0.12f}, {0.3f, 2.1f, 0.09f},
                        {0.3f, 3.14f, 0.11f}, {0.3f, 4.2f, 0.1f},   {0.3f, 5.25f, 0.12f}, {0.62f, 0.3f, 0.08f},
                        {0.62f, 0.9f, 0.1f},  {0.62f, 1.5f, 0.07f}, {0.62f, 2.2f, 0.09f}, {0.62f, 2.8f, 0.08f},
                        {0.62f, 3.5f, 0.1f},  {0.62f, 4.1f, 0.07f}, {0.62f, 4.8f, 0.09f}, {0.62f, 5.5f, 0.08f},
                        {0.85f, 0.6f, 0.05f}, {0.85f, 2.5f, 0.06f}, {0.85f, 4.4f, 0.05f}};
    for (int y = 0; y < side; ++y)
        for (int x = 0; x < side; ++x) {
            float m = 0.0f;
            for (const Tip& t : tips) {
                const float tx = c + std::cos(t.turn) * t.ring * c, ty = c + std::sin(t.turn) * t.ring * c;
                const float d = std::hypot(x + 0.5f - tx, y + 0.5f - ty) / (t.r * side);
                if (d < 1.0f)
                    m = std::fmax(m, 1.0f - d * d);
            }
            const int v = (int)(m * 255.0f);
            px[(size_t)y * side + x] = (int)(0xFF000000u | (unsigned)(v << 16 | v << 8 | v));
        }
    return px;
}
