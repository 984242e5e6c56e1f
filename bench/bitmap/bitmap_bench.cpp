// Scaling and transform speed of the bitmap library next to pixman (same
// work, source operator) and, for the area reduction, Pillow; one table at
// the end with megapixels of destination per second and the ratio.
#include <benchmark/benchmark.h>
#include <pixman.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "bitmap/LHBmp.h"

namespace {

enum Kind { Nearest, Bilinear, Affine, Area };
struct Row {
    const char* name;
    Kind kind;
    int sw, sh, dw, dh, depth;
};
const Row kRows[] = {
    {"nearest 1920x1080->1280x720", Nearest, 1920, 1080, 1280, 720, 32},
    {"bilinear 1920x1080->1280x720", Bilinear, 1920, 1080, 1280, 720, 32},
    {"nearest 400x250->1280x800", Nearest, 400, 250, 1280, 800, 32},
    {"bilinear 400x250->1280x800", Bilinear, 400, 250, 1280, 800, 32},
    {"rotate 30, scale 0.8, 1024^2", Affine, 1024, 1024, 1024, 1024, 32},
    {"area 1920x1080->640x360 32", Area, 1920, 1080, 640, 360, 32},
    {"area 1920x1080->640x360 8", Area, 1920, 1080, 640, 360, 8},
};
constexpr int kRowCount = sizeof kRows / sizeof kRows[0];

std::vector<unsigned char> Noise(size_t n)
{
    std::vector<unsigned char> v(n);
    std::mt19937 rng(1);
    for (auto& b : v)
        b = static_cast<unsigned char>(rng());
    return v;
}

// The scale that maps the source size onto the destination size, rounded up.
LHFIX64 ScaleOf(int from, int to)
{
    return LHFIX64::raw((int64_t(to) << 26) / from + ((int64_t(to) << 26) % from != 0));
}

// Rotation by 30 degrees with scale 0.8 about the image centre.
void AffineOf(double m[6], int size)
{
    const double a = 0.8 * std::cos(M_PI / 6), b = 0.8 * std::sin(M_PI / 6), c = -b, d = a, h = size / 2.0;
    m[0] = a, m[1] = b, m[2] = c, m[3] = d, m[4] = h - (a * h + c * h), m[5] = h - (b * h + d * h);
}

void BM_Ours(benchmark::State& state)
{
    const Row& r = kRows[state.range(0)];
    const int bpp = r.depth / 8;
    std::vector<unsigned char> px = Noise(size_t(r.sw) * r.sh * bpp);
    std::unique_ptr<CLHBmp> src, dst;
    if (r.depth == 32) {
        src.reset(new CLHBmp32Ref(px.data(), r.sw, r.sh, r.sw * 4));
        dst.reset(new CLHBmp32(r.dw, r.dh, r.dw * 4));
    } else {
        src.reset(new CLHBmp8Ref(px.data(), r.sw, r.sh, r.sw));
        dst.reset(new CLHBmp8(r.dw, r.dh, r.dw));
    }
    const LHFIX64 sx = ScaleOf(r.sw, r.dw), sy = ScaleOf(r.sh, r.dh);
    double md[6];
    AffineOf(md, r.sw);
    _LHMATRIX m;
    LHFIX64* f = &m.a;
    for (int i = 0; i < 6; ++i)
        f[i] = LHFIX64::raw(int64_t(std::llround(md[i] * 67108864.0)));
    for (auto _ : state) {
        switch (r.kind) {
        case Nearest: src->bmp_scale_fast_to(sx, sy, {0, 0}, dst.get()); break;
        case Bilinear: src->bmp_scale_normal_to(sx, sy, {0, 0}, dst.get()); break;
        case Affine: src->bmp_transform_to(m, {0, 0}, dst.get()); break;
        case Area: src->bmp_scale_best_to(sx, sy, {0, 0}, dst.get()); break;
        }
        benchmark::DoNotOptimize(dst->bits);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * int64_t(r.dw) * r.dh);
}

void BM_Pixman(benchmark::State& state)
{
    const Row& r = kRows[state.range(0)];
    std::vector<unsigned char> px = Noise(size_t(r.sw) * r.sh * 4);
    std::vector<uint32_t> out(size_t(r.dw) * r.dh);
    pixman_image_t* src = pixman_image_create_bits(PIXMAN_a8r8g8b8, r.sw, r.sh,
                                                   reinterpret_cast<uint32_t*>(px.data()), r.sw * 4);
    pixman_image_t* dst = pixman_image_create_bits(PIXMAN_a8r8g8b8, r.dw, r.dh, out.data(), r.dw * 4);
    pixman_transform_t t;
    if (r.kind == Affine) {
        double md[6];
        AffineOf(md, r.sw);
        pixman_f_transform_t fwd, inv;
        pixman_f_transform_init_identity(&fwd);
        fwd.m[0][0] = md[0], fwd.m[0][1] = md[2], fwd.m[0][2] = md[4];
        fwd.m[1][0] = md[1], fwd.m[1][1] = md[3], fwd.m[1][2] = md[5];
        pixman_f_transform_invert(&inv, &fwd); // pixman maps destination to source
        pixman_transform_from_pixman_f_transform(&t, &inv);
    } else {
        pixman_transform_init_scale(&t, pixman_double_to_fixed(double(r.sw) / r.dw),
                                    pixman_double_to_fixed(double(r.sh) / r.dh));
    }
    pixman_image_set_transform(src, &t);
    pixman_image_set_filter(src, r.kind == Nearest ? PIXMAN_FILTER_NEAREST : PIXMAN_FILTER_BILINEAR, nullptr, 0);
    for (auto _ : state) {
        pixman_image_composite32(PIXMAN_OP_SRC, src, nullptr, dst, 0, 0, 0, 0, 0, 0, r.dw, r.dh);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * int64_t(r.dw) * r.dh);
    pixman_image_unref(src);
    pixman_image_unref(dst);
}

// The floor set by memory: a plain memcpy of the destination's bytes
// (dw x dh 32-bit pixels) out of the source image into a destination of its
// own, as large as the scaler's; timed like the others.
void BM_Memcpy(benchmark::State& state)
{
    const Row& r = kRows[state.range(0)];
    std::vector<unsigned char> px = Noise(size_t(r.sw) * r.sh * 4);
    const size_t bytes = size_t(r.dw) * r.dh * 4;
    std::vector<unsigned char> out(bytes);
    for (auto _ : state) {
        std::memcpy(out.data(), px.data(), bytes);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * int64_t(r.dw) * r.dh);
}

// Ours and the peer row by row, so that both sides of a row see the same
// load on a shared machine; the best repetition counts.
double Best(const std::vector<double>& v)
{
    return *std::min_element(v.begin(), v.end());
}

void Register()
{
    for (int i = 0; i < kRowCount; ++i) {
        auto* ours = benchmark::RegisterBenchmark("BM_Ours", BM_Ours);
        auto* peer = kRows[i].kind == Area ? nullptr : benchmark::RegisterBenchmark("BM_Pixman", BM_Pixman);
        // The reductions to 1280x720 move the most memory: the copy beside them.
        const bool reduction = kRows[i].sw == 1920 && kRows[i].dw == 1280 && kRows[i].kind != Area;
        auto* copy = reduction ? benchmark::RegisterBenchmark("BM_Memcpy", BM_Memcpy) : nullptr;
        for (auto* b : {ours, peer, copy})
            if (b)
                b->Arg(i)->Unit(benchmark::kMillisecond)->MinTime(0.2)->Repetitions(5)->ReportAggregatesOnly(true)
                    ->ComputeStatistics("best", Best);
    }
}

// The best repetition of the processor time per call, in ms.
class Collector : public benchmark::ConsoleReporter {
public:
    std::map<std::pair<std::string, int>, double> ms;
    void ReportRuns(const std::vector<Run>& runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& r : runs) {
            int row = 0;
            if (r.run_type != Run::RT_Aggregate || r.aggregate_name != "best" ||
                std::sscanf(r.run_name.args.c_str(), "%d", &row) != 1)
                continue;
            ms[{r.run_name.function_name, row}] = r.GetAdjustedCPUTime() *
                                                   (r.time_unit == benchmark::kMillisecond ? 1.0
                                                    : r.time_unit == benchmark::kMicrosecond ? 1e-3
                                                    : r.time_unit == benchmark::kNanosecond ? 1e-6 : 1e3);
        }
    }
};

// "reduce RGBX" -> ms, from the Pillow script; empty without Pillow.
std::map<std::string, double> TimePillow()
{
    std::map<std::string, double> out;
    // The system's python first: that is where Debian's python3-pil lives.
    for (const char* python : {"/usr/bin/python3", "python3"}) {
        FILE* p = popen((std::string(python) + " " SP_PILLOW_SCRIPT " 1920 1080 640 360 3 2>/dev/null").c_str(), "r");
        if (!p)
            continue;
        char name[32], mode[16];
        double ms;
        while (std::fscanf(p, "%31s %15s %lf", name, mode, &ms) == 3)
            out[std::string(name) + " " + mode] = ms;
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
    Register();
    Collector c;
    benchmark::RunSpecifiedBenchmarks(&c);
    benchmark::Shutdown();
    // Pillow only when an area row ran (a filtered run may leave them out).
    const bool area = c.ms.count({"BM_Ours", kRowCount - 1}) || c.ms.count({"BM_Ours", kRowCount - 2});
    const auto pillow = area ? TimePillow() : std::map<std::string, double>();
    auto mps = [](const Row& r, double ms) { return r.dw * double(r.dh) / (ms * 1000.0); };
    std::printf("\n%-30s %10s %-16s %10s %7s\n", "work", "ours MP/s", "peer", "peer MP/s", "ratio");
    for (int i = 0; i < kRowCount; ++i) {
        const Row& r = kRows[i];
        auto ours = c.ms.find({"BM_Ours", i});
        if (ours == c.ms.end())
            continue;
        std::vector<std::pair<std::string, double>> peers;
        if (auto p = c.ms.find({"BM_Pixman", i}); p != c.ms.end())
            peers.push_back({r.kind == Nearest ? "pixman nearest" : "pixman bilinear", p->second});
        const char* mode = r.depth == 32 ? "RGBX" : "L";
        for (const char* name : {"reduce", "box"})
            if (auto p = pillow.find(std::string(name) + " " + mode); r.kind == Area && p != pillow.end())
                peers.push_back({std::string("Pillow ") + (name[0] == 'r' ? "reduce(3) " : "BOX ") + mode, p->second});
        if (peers.empty())
            std::printf("%-30s %10.1f\n", r.name, mps(r, ours->second));
        for (auto& [name, ms] : peers)
            std::printf("%-30s %10.1f %-16s %10.1f %7.2f\n", r.name, mps(r, ours->second), name.c_str(), mps(r, ms),
                        ms / ours->second);
        if (auto p = c.ms.find({"BM_Memcpy", i}); p != c.ms.end())
            std::printf("%-30s %10.1f %-16s %10.1f %7.2f  (ours takes %.2f times the copy's time)\n", r.name,
                        mps(r, ours->second), "memcpy dst bytes", mps(r, p->second), p->second / ours->second,
                        ours->second / p->second);
    }
    return 0;
}
