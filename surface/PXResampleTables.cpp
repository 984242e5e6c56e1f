// Weight tables of the separable resamplers, computed once per destination row
// and column before the passes.
#include "PXResampleCore.h"

#include <cstdlib>

namespace pxresample {

template <typename W>
TapTable<W>::TapTable(int c, int t) : count(c < 0 ? 0 : c), taps(t < 0 ? 0 : t)
{
    size_t n = static_cast<size_t>(count) * static_cast<size_t>(taps);
    index = static_cast<int*>(std::malloc(n * sizeof(int) + 1));
    weight = static_cast<W*>(std::malloc(n * sizeof(W) + 1));
}

template <typename W>
TapTable<W>::~TapTable()
{
    std::free(index);
    std::free(weight);
}

Position At(int i, float scale)
{
    Position p;
    p.f = static_cast<float>(i) * scale;
    p.b = static_cast<int>(p.f);
    p.r = p.f - static_cast<float>(p.b);
    return p;
}

template <typename W>
void BuildTwoTap(TapTable<W>& table, float scale, int limit, W (*filter)(float))
{
    for (int i = 0; i < table.count; ++i) {
        Position p = At(i, scale);
        W w0 = filter(p.r);
        W w1 = filter(1.0f - p.r);
        int* idx = table.index + i * 2;
        W* w = table.weight + i * 2;
        // Vertical passes compare with the source height, horizontal ones with
        // the destination width; kept, as the output depends on it.
        if (p.b < limit - 2) {
            idx[0] = p.b, w[0] = w0;
            idx[1] = p.b + 1, w[1] = w1;
        } else {
            idx[0] = p.b, w[0] = w0 + w1;
            idx[1] = p.b, w[1] = 0;
        }
    }
}

template <typename W>
void BuildFourTap(TapTable<W>& table, float scale, int limit, bool vertical, W (*filter)(float))
{
    for (int i = 0; i < table.count; ++i) {
        Position p = At(i, scale);
        W w0 = filter(p.r + 1.0f);
        W w1 = filter(p.r);
        W w2 = filter(1.0f - p.r);
        W w3 = filter(2.0f - p.r);
        int* idx = table.index + i * 4;
        W* w = table.weight + i * 4;
        int b = p.b;
        if (0 < b && b < limit - 2) {
            idx[0] = b - 1, w[0] = w0;
            idx[1] = b, w[1] = w1;
            idx[2] = b + 1, w[2] = w2;
            idx[3] = b + 2, w[3] = w3;
        } else if (b == 0) {
            idx[0] = 0, w[0] = w0 + w1;
            idx[1] = 1, w[1] = w2;
            idx[2] = 2, w[2] = w3;
            idx[3] = 0, w[3] = 0;
        } else if (vertical && b == limit - 2) {
            idx[0] = b - 1, w[0] = w0;
            idx[1] = b, w[1] = w1;
            idx[2] = b + 1, w[2] = w2 + w3;
            idx[3] = b, w[3] = 0;
        } else {
            idx[0] = b - 1, w[0] = w0;
            idx[1] = b, w[1] = w1 + w2 + w3;
            idx[2] = b, w[2] = 0;
            idx[3] = b, w[3] = 0;
        }
    }
}

template <typename W>
void BuildAnyRadius(TapTable<W>& table, float scale, float radius, int size, W (*filter)(float))
{
    int taps = table.taps;
    for (int i = 0; i < table.count; ++i) {
        Position p = At(i, scale);
        int k0 = static_cast<int>(p.r - radius);
        int first = static_cast<int>(static_cast<float>(k0) + p.f);
        int* idx = table.index + i * taps;
        W* w = table.weight + i * taps;
        for (int t = 0; t < taps; ++t) {
            int k = k0 + t;
            w[t] = k > 0 ? filter(static_cast<float>(k) - p.r) : filter(p.r - static_cast<float>(k));
            int at = first + t;
            // Off the edge the centre sample stands in, not the edge sample.
            idx[t] = (at < 0 || at > size - 1) ? p.b : at;
        }
    }
}

template struct TapTable<int>;
template struct TapTable<float>;
template void BuildTwoTap<int>(TapTable<int>&, float, int, int (*)(float));
template void BuildTwoTap<float>(TapTable<float>&, float, int, float (*)(float));
template void BuildFourTap<int>(TapTable<int>&, float, int, bool, int (*)(float));
template void BuildFourTap<float>(TapTable<float>&, float, int, bool, float (*)(float));
template void BuildAnyRadius<int>(TapTable<int>&, float, float, int, int (*)(float));
template void BuildAnyRadius<float>(TapTable<float>&, float, float, int, float (*)(float));

} // namespace pxresample
