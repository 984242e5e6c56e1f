// Dab throughput and the cost of pen input (the demo signature played at four
// sizes and speeds, bench/brush/signatures30sec.txt), ours next to libmypaint's
// in the same run. libmypaint paints on its fixed tiled surface, one OpenMP
// thread, so both sides use one core.
#include <benchmark/benchmark.h>
#include <omp.h>

#include <cmath>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

extern "C" {
#include <mypaint-brush.h>
#include <mypaint-fixed-tiled-surface.h>
}

#include "bench_input.h"
#include "brush/PXPen.h"
#include "brush/PXTipFunction.h"
#include "pen/PX_PEN_API.h"

namespace {

constexpr int kSide = 1024;
constexpr int kDabsPerBatch = 1024;
const float kRadii[] = {1.5f, 8.0f, 32.0f};

// The same placements for both sides: a fixed walk over the whole surface.
std::vector<std::pair<float, float>> Placements() {
    std::vector<std::pair<float, float>> v;
    uint32_t s = 12345;
    for (int i = 0; i < kDabsPerBatch; ++i) {
        s = s * 1103515245u + 12345u;
        const float x = 40.0f + (float)((s >> 8) % 94400) / 100.0f;
        s = s * 1103515245u + 12345u;
        const float y = 40.0f + (float)((s >> 8) % 94400) / 100.0f;
        v.emplace_back(x, y);
    }
    return v;
}

// Our round dab: PXPen's preset but for the size, flat tip, full pressure so
// that the radius is size / 2; the surface is cleared between batches.
void BM_OursDab(benchmark::State& state) {
    const float r = kRadii[state.range(0)];
    PXSurface surface(kSide, kSide);
    PXPen pen(&surface, new PXFlatTipFunction());
    pen.size = 2.0f * r;
    pen.min_size = 0.0f;
    pen.opacity = 0.6f;
    pen.min_opacity = 1.0f;
    const auto at = Placements();
    for (auto _ : state) {
        for (const auto& p : at)
            benchmark::DoNotOptimize(pen.ApplyDab(p.first, p.second, 1.0f));
        state.PauseTiming();
        surface.ResetScanColor(0);
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * kDabsPerBatch);
}

// libmypaint: the same dabs through mypaint_surface_draw_dab, hardness 1; the
// tiles are rendered when the atomic section ends, so that is inside the timing.
void BM_MyPaintDab(benchmark::State& state) {
    const float r = kRadii[state.range(0)];
    MyPaintFixedTiledSurface* tiled = mypaint_fixed_tiled_surface_new(kSide, kSide);
    MyPaintSurface* surface = mypaint_fixed_tiled_surface_interface(tiled);
    const auto at = Placements();
    for (auto _ : state) {
        mypaint_surface_begin_atomic(surface);
        for (const auto& p : at)
            mypaint_surface_draw_dab(surface, p.first, p.second, r, 0.0f, 0.0f, 0.0f, 0.6f, 1.0f, 1.0f, 1.0f, 0.0f,
                                     0.0f, 0.0f);
        MyPaintRectangle roi;
        mypaint_surface_end_atomic(surface, &roi);
        benchmark::DoNotOptimize(roi);
    }
    state.SetItemsProcessed(state.iterations() * kDabsPerBatch);
    mypaint_surface_unref(surface);
}

BENCHMARK(BM_OursDab)->DenseRange(0, 2)->Unit(benchmark::kMicrosecond)->MinTime(0.3);
BENCHMARK(BM_MyPaintDab)->DenseRange(0, 2)->Unit(benchmark::kMicrosecond)->MinTime(0.3);

// The signature input (bench/brush/signatures30sec.txt), read by main.
std::vector<PenEvent> g_events;
const std::vector<PenEvent>& Events() { return g_events; }

// Our engine as the windows drive it: one StrokePoint per event (with its
// blend_out), a pen-up ends the stroke. Arg 0: style 3 at pen size 3 (brush
// size 8), arg 1: the airbrush the engine starts with (size 32).
void BM_OursEvents(benchmark::State& state) {
    std::vector<int> pixels((size_t)kSide * kSide);
    void* h = Initialize(kSide, kSide, pixels.data());
    SetColor(h, 0, 0, 0, 255);
    if (state.range(0) == 0) {
        SetPenStyle(h, 3);
        SetPenSize(h, 3.0f);
    }
    int rect[4];
    const auto& ev = Events();
    for (auto _ : state) {
        bool down = false;
        for (const PenEvent& e : ev) {
            if (e.pressure <= 0.0f) {
                if (down)
                    EndStroke(h, rect);
                down = false;
                continue;
            }
            if (!down)
                BeginStroke(h);
            down = true;
            StrokePoint(h, rect, e.x, e.y, e.pressure);
        }
        if (down)
            EndStroke(h, rect);
    }
    state.SetItemsProcessed(state.iterations() * (int64_t)ev.size());
    DestroyEngine(h);
}

// libmypaint's default brush at a radius like ours (4 for the pen, 16 for the
// airbrush), every event in an atomic section of its own as a display would.
void BM_MyPaintEvents(benchmark::State& state) {
    MyPaintFixedTiledSurface* tiled = mypaint_fixed_tiled_surface_new(kSide, kSide);
    MyPaintSurface* surface = mypaint_fixed_tiled_surface_interface(tiled);
    MyPaintBrush* brush = mypaint_brush_new();
    mypaint_brush_from_defaults(brush);
    mypaint_brush_set_base_value(brush, MYPAINT_BRUSH_SETTING_RADIUS_LOGARITHMIC,
                                 std::log(state.range(0) == 0 ? 4.0f : 16.0f));
    const auto& ev = Events();
    for (auto _ : state) {
        mypaint_brush_reset(brush);
        mypaint_brush_new_stroke(brush);
        double last = 0.0;
        for (const PenEvent& e : ev) {
            MyPaintRectangle roi;
            mypaint_surface_begin_atomic(surface);
            mypaint_brush_stroke_to(brush, surface, e.x, e.y, e.pressure, 0.0f, 0.0f, e.time - last);
            mypaint_surface_end_atomic(surface, &roi);
            last = e.time;
        }
    }
    state.SetItemsProcessed(state.iterations() * (int64_t)ev.size());
    mypaint_brush_unref(brush);
    mypaint_surface_unref(surface);
}

BENCHMARK(BM_OursEvents)->DenseRange(0, 1)->Unit(benchmark::kMillisecond)->MinTime(0.5);
BENCHMARK(BM_MyPaintEvents)->DenseRange(0, 1)->Unit(benchmark::kMillisecond)->MinTime(0.5);

// Keeps the console output and notes the best CPU time per item (dab or
// event) over the repetitions, ns. With --benchmark_repetitions=N and
// --benchmark_enable_random_interleaving=true both sides are measured in
// turns, so a spell of load on the shared machine hits both alike.
class Collector : public benchmark::ConsoleReporter {
public:
    std::map<std::string, double> ns;  // "BM_x/arg" -> ns per item
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& r : runs) {
            if (r.run_type != Run::RT_Iteration)
                continue;
            auto it = r.counters.find("items_per_second");
            if (it == r.counters.end() || !(it->second.value > 0))
                continue;
            const std::string name = r.benchmark_name().substr(0, r.benchmark_name().find("/min_time"));
            const double v = 1e9 / it->second.value;
            if (!ns.count(name) || v < ns[name])
                ns[name] = v;
        }
    }
};

}  // namespace

int main(int argc, char** argv) {
    omp_set_num_threads(1);
    g_events = LoadPenEventsOrExit(argv[0], SP_SIGNATURES_INPUT);
    benchmark::Initialize(&argc, argv);
    Collector c;
    benchmark::RunSpecifiedBenchmarks(&c);
    benchmark::Shutdown();
    std::printf("\n%-8s %14s %14s %8s\n", "radius", "ours dab/s", "mypaint dab/s", "ratio");
    for (int i = 0; i < 3; ++i) {
        const std::string a = "BM_OursDab/" + std::to_string(i), b = "BM_MyPaintDab/" + std::to_string(i);
        if (c.ns.count(a) && c.ns.count(b))
            std::printf("%-8.1f %14.0f %14.0f %8.2f\n", kRadii[i], 1e9 / c.ns[a], 1e9 / c.ns[b], c.ns[b] / c.ns[a]);
    }
    const char* names[] = {"style 3", "airbrush"};
    std::printf("\n%zu reports of %s\n", g_events.size(), SP_SIGNATURES_INPUT);
    std::printf("%-9s %16s %16s %8s\n", "input", "ours us/event", "mypaint us/event", "ratio");
    for (int i = 0; i < 2; ++i) {
        const std::string a = "BM_OursEvents/" + std::to_string(i), b = "BM_MyPaintEvents/" + std::to_string(i);
        if (c.ns.count(a) && c.ns.count(b))
            std::printf("%-9s %16.2f %16.2f %8.2f\n", names[i], c.ns[a] / 1e3, c.ns[b] / 1e3, c.ns[b] / c.ns[a]);
    }
    return 0;
}
