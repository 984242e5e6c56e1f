// One pad event as the main window runs it: PXStrokePoint (the brush's
// StrokePoint and blend_out) on a 400 x 250 engine, then the copy of the
// 400,000-byte buffer to the window's image; against that copy alone. The
// events are the demo signature (demo/signature.txt) as the demo pad signs it:
// its 400 x 250 picture is the window's, one report every 8 ms; a pen-up ends
// the stroke as the window does.
#include <benchmark/benchmark.h>

#include <QImage>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "bench_input.h"
#include "pen/PX_PEN_API.h"
#include "tablet/deviceRead.h"

namespace {

constexpr int kW = 400, kH = 250;

// Read by main.
std::vector<PenEvent> g_events;

struct Window {
    std::vector<int> buffer = std::vector<int>((size_t)kW * kH);
    QImage image = QImage(kW, kH, QImage::Format_ARGB32);
    int dummy = 0;
    void* pen = nullptr;
    Window() {
        hDev = reinterpret_cast<hid_device*>(&dummy);  // the front end only asks whether it is open
        pen = PXPenSet(kW, kH, buffer.data(), 0, 3, 3.0f);
        PXSetBkColor(pen, 0xFFFFFF);
    }
    ~Window() {
        DestroyEngine(g_be);
        g_be = nullptr;
        hDev = nullptr;
    }
    void Show() { std::memcpy(image.bits(), buffer.data(), buffer.size() * 4); }
};

void BM_PadEvent(benchmark::State& state) {
    Window w;
    const auto& ev = g_events;
    int rect[4];
    size_t i = 0;
    bool down = false;
    for (auto _ : state) {
        const PenEvent& e = ev[i];
        if (++i == ev.size())
            i = 0;
        if (e.pressure <= 0.0f) {
            if (down)
                PXEndStroke(w.pen, rect);
            down = false;
        } else {
            if (!down)
                PXBeginStroke(w.pen);
            down = true;
            PXStrokePoint(w.pen, rect, e.x, e.y, e.pressure);
        }
        w.Show();
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_CopyOnly(benchmark::State& state) {
    Window w;
    for (auto _ : state) {
        w.Show();
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations());
}

BENCHMARK(BM_PadEvent)->MinTime(1.0);
BENCHMARK(BM_CopyOnly)->MinTime(1.0);

class Collector : public benchmark::ConsoleReporter {
public:
    std::map<std::string, double> ns;
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& r : runs) {
            if (r.run_type != Run::RT_Iteration)
                continue;
            // Best of the repetitions (--benchmark_repetitions=N, interleaved
            // with --benchmark_enable_random_interleaving=true).
            const std::string name = r.benchmark_name().substr(0, r.benchmark_name().find("/min_time"));
            const double v = r.GetAdjustedCPUTime();
            if (!ns.count(name) || v < ns[name])
                ns[name] = v;
        }
    }
};

}  // namespace

int main(int argc, char** argv) {
    g_events = LoadPenEventsOrExit(argv[0], SP_DEMO_SIGNATURE);
    benchmark::Initialize(&argc, argv);
    Collector c;
    benchmark::RunSpecifiedBenchmarks(&c);
    benchmark::Shutdown();
    if (c.ns.count("BM_PadEvent") && c.ns.count("BM_CopyOnly"))
        std::printf("\nevent + copy %.2f us, copy alone %.2f us, ratio %.3f\n", c.ns["BM_PadEvent"] / 1e3,
                    c.ns["BM_CopyOnly"] / 1e3, c.ns["BM_PadEvent"] / c.ns["BM_CopyOnly"]);
    return 0;
}
