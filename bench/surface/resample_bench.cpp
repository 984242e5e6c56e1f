// Resampling speed in every mode on two sizes, next to Pillow's Image.resize
// on the same work, timed in the same run by pillow_resize.py.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "surface/PXSurface.h"

namespace {

struct Size {
    int sw, sh, dw, dh;
};
const Size kSizes[] = {{1920, 1080, 1280, 720}, {400, 250, 1280, 800}};

const char* const kModeNames[] = {"nearest", "bilinear", "bicubic",  "b-spline", "mitchell",   "hermite",
                                  "bell",    "lanczos3", "lanczos4", "lanczos5", "catmull-rom"};
// The Pillow filter closest to each mode by kind and support.
const char* const kPillowFilter[] = {"NEAREST", "BILINEAR", "BICUBIC", "BICUBIC", "BICUBIC", "BILINEAR",
                                     "BICUBIC", "LANCZOS",  "LANCZOS", "LANCZOS", "BICUBIC"};

void BM_Resample(benchmark::State& state)
{
    const Size& s = kSizes[state.range(0)];
    const int mode = static_cast<int>(state.range(1));
    PXSurface src(s.sw, s.sh);
    PXSurface dst(s.dw, s.dh);
    std::mt19937 rng(1);
    for (int i = 0; i < s.sw * s.sh; ++i) {
        uint32_t v = rng();
        src.pixels[i] = PXPixel(uint8_t(v), uint8_t(v >> 8), uint8_t(v >> 16), uint8_t(v >> 24));
    }
    for (auto _ : state) {
        PXSurface::Resample(&src, &dst, static_cast<PXInterpolationMode>(mode));
        benchmark::DoNotOptimize(dst.pixels);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * int64_t(s.dw) * s.dh);
}
BENCHMARK(BM_Resample)
    ->ArgsProduct({{0, 1}, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10}})
    ->Unit(benchmark::kMillisecond)
    ->MinTime(0.2)
    ->Repetitions(5)
    ->ReportAggregatesOnly(true);

// Keeps the console output and notes the median over the repetitions of the
// mean processor time of each case, in ms.
class Collector : public benchmark::ConsoleReporter {
public:
    std::map<std::pair<int, int>, double> ms; // (size, mode) -> ms

    void ReportRuns(const std::vector<Run>& runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& r : runs) {
            int size = 0, mode = 0;
            if (r.run_type != Run::RT_Aggregate || r.aggregate_name != "median" ||
                std::sscanf(r.run_name.args.c_str(), "%d/%d", &size, &mode) != 2)
                continue;
            ms[{size, mode}] = r.GetAdjustedCPUTime() *
                               (r.time_unit == benchmark::kMillisecond ? 1.0
                                : r.time_unit == benchmark::kMicrosecond ? 1e-3
                                : r.time_unit == benchmark::kNanosecond ? 1e-6 : 1e3);
        }
    }
};

// Runs the Pillow script; returns (filter, size index) -> ms, empty if it fails.
std::map<std::pair<std::string, int>, double> TimePillow()
{
    std::map<std::pair<std::string, int>, double> out;
    std::string args;
    for (const Size& s : kSizes)
        args += " " + std::to_string(s.sw) + " " + std::to_string(s.sh) + " " + std::to_string(s.dw) + " " +
                std::to_string(s.dh);
    for (const char* python : {"/usr/bin/python3", "python3"}) {
        std::string cmd = std::string(python) + " " SP_PILLOW_SCRIPT + args + " 2>/dev/null";
        FILE* p = popen(cmd.c_str(), "r");
        if (!p)
            continue;
        char name[32];
        int sw, sh, dw, dh;
        double ms;
        while (std::fscanf(p, "%31s %d %d %d %d %lf", name, &sw, &sh, &dw, &dh, &ms) == 6)
            for (int i = 0; i < 2; ++i)
                if (kSizes[i].sw == sw && kSizes[i].sh == sh && kSizes[i].dw == dw && kSizes[i].dh == dh)
                    out[{name, i}] = ms;
        if (pclose(p) == 0 && !out.empty())
            return out;
        out.clear();
    }
    return out;
}

} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    Collector collector;
    benchmark::RunSpecifiedBenchmarks(&collector);
    benchmark::Shutdown();
    if (collector.ms.empty())
        return 0;

    auto pillow = TimePillow();
    if (pillow.empty())
        std::printf("\nPillow timing skipped: no python3 with PIL (Debian python3-pil).\n");
    std::printf("\n%-22s %-12s %10s %-9s %11s %7s\n", "size", "mode", "ours ms", "Pillow", "Pillow ms",
                "ratio");
    for (auto& [key, ours] : collector.ms) {
        const Size& s = kSizes[key.first];
        char size[32];
        std::snprintf(size, sizeof size, "%dx%d->%dx%d", s.sw, s.sh, s.dw, s.dh);
        auto it = pillow.find({kPillowFilter[key.second], key.first});
        if (it == pillow.end())
            std::printf("%-22s %-12s %10.3f\n", size, kModeNames[key.second], ours);
        else
            std::printf("%-22s %-12s %10.3f %-9s %11.3f %7.2f\n", size, kModeNames[key.second], ours,
                        kPillowFilter[key.second], it->second, ours / it->second);
    }
    return 0;
}
