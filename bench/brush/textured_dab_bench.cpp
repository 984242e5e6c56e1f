// Dabs per second of the bristle brush (64 x 64 image) and the pencil next
// to PXPen's round dab at the same radius, one core, 1024 x 1024 surface.
#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "bristle_dab.h"
#include "brush/PXDryMedia.h"
#include "brush/PXPaintBaseJitterAngle.h"
#include "brush/PXPen.h"
#include "brush/PXTipFunction.h"

namespace {

constexpr int kSide = 1024, kDabs = 1024;

std::vector<std::pair<float, float>> Placements() {
    std::vector<std::pair<float, float>> v;
    uint32_t s = 12345;
    for (int i = 0; i < kDabs; ++i) {
        s = s * 1103515245u + 12345u;
        const float x = 40.0f + (float)((s >> 8) % 94400) / 100.0f;
        s = s * 1103515245u + 12345u;
        v.emplace_back(x, 40.0f + (float)((s >> 8) % 94400) / 100.0f);
    }
    return v;
}

// Full pressure so that the radius is size / 2; cleared between batches.
template <class B, class Dab>
void Run(benchmark::State& state, PXSurface& surface, B& b, float r, Dab dab) {
    b.size = 2.0f * r;
    b.min_size = 0.0f;
    const auto at = Placements();
    for (auto _ : state) {
        for (const auto& p : at)
            benchmark::DoNotOptimize(dab(p.first, p.second));
        state.PauseTiming();
        surface.ResetScanColor(0);
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * kDabs);
}

void BM_PenDab(benchmark::State& state) {
    PXSurface s(kSide, kSide);
    PXPen pen(&s, new PXFlatTipFunction());
    pen.opacity = 0.6f;
    pen.min_opacity = 1.0f;
    Run(state, s, pen, (float)state.range(0), [&](float x, float y) { return pen.ApplyDab(x, y, 1.0f); });
}

void BM_BristleDab(benchmark::State& state) {
    PXSurface s(kSide, kSide);
    std::vector<int> px = BristleDab(64);
    PXSurface img(64, 64, 64, reinterpret_cast<PXPixel*>(px.data()), true);
    PXBristleBrush b(&s, new PXDullAntiAliasingTipFunction());
    b.opacity = 1.0f;
    b.min_opacity = 1.0f;
    b.use_jitter = true;  // as the preset: every dab unturned
    b.dab_image = &img;
    b.dab_diagonal = std::sqrt(64.0f * 64.0f + (float)(64 * 64));
    Run(state, s, b, (float)state.range(0), [&](float x, float y) { return b.ApplyDab(x, y, 1.0f, 0.7f); });
}

void BM_PencilDab(benchmark::State& state) {
    PXSurface s(kSide, kSide);
    PXPencil p(&s, new PXDullAntiAliasingTipFunction());
    p.opacity = 1.58f;
    p.min_opacity = 0.3f;
    p.pressure_gamma = 2.5f;
    p.grain = 1.0f;
    Run(state, s, p, (float)state.range(0), [&](float x, float y) { return p.ApplyDab(x, y, 1.0f); });
}

}  // namespace

BENCHMARK(BM_PenDab)->Arg(2)->Arg(8)->Arg(32);
BENCHMARK(BM_BristleDab)->Arg(8)->Arg(32);
BENCHMARK(BM_PencilDab)->Arg(2)->Arg(8);
BENCHMARK_MAIN();
