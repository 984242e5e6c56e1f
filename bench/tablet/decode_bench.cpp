// Cost of decoding one report per layout, and the whole reader path: reports
// per second and latency from the emulator's push to the callback.
// The reader-path benchmarks need the umockdev preload:
//   umockdev-wrapper ./tablet_decode_bench
#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "emulator/emulator.h"
#include "emulator/tablet_protocol.h"
#include "tablet/pxtablet.h"

namespace {

using Clock = std::chrono::steady_clock;

int sink(TOUCH_INFO t)
{
    benchmark::DoNotOptimize(t);
    return 1;
}

int multiSink(MULTITOUCH_INFO m)
{
    benchmark::DoNotOptimize(m);
    return 1;
}

// Pads: Analize_TabletPacket over a stroke of the model's reports.
void BM_DecodePad(benchmark::State &state)
{
    const uint16_t pid = uint16_t(state.range(0));
    std::vector<emu::Bytes> reports;
    for (int i = 0; i < 256; ++i)
        reports.push_back(emu::encodeSample(pid, {1000 + i, 2000 + i, 100 + i * 7}));
    PXResetDecodeState();
    TOUCH_INFO out = {};
    size_t i = 0;
    for (auto _ : state) {
        emu::Bytes &r = reports[i++ & 255];
        Analize_TabletPacket(r.data(), int(r.size()), pid, &out);
        benchmark::DoNotOptimize(out);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_DecodePad)->ArgName("pid")->Arg(0x8420)->Arg(0x8421)->Arg(0x8807);

// Display tablets: decoding and dispatch to one callback, per layout.
void BM_DecodeDisplay(benchmark::State &state)
{
    const uint16_t pid = uint16_t(state.range(0));
    const DEV_INFO_PX &row = Dev_info_px[catalogueRowOfPid(pid)];
    std::vector<std::vector<unsigned char>> reports;
    for (int i = 0; i < 256; ++i) {
        emu::Bytes r = emu::encodeSample(pid, {1000 + i, 2000 + i, 100 + i * 7});
        r.resize(64, 0);
        reports.push_back(r);
    }
    PXResetDecodeState();
    memset(Touchcallback, 0, sizeof Touchcallback);
    Touchcallback[0] = sink;
    TOUCH_INFO touch = {};
    size_t i = 0;
    for (auto _ : state)
        PXHandleDisplayReport(reports[i++ & 255].data(), row.reportLen, row.devType, &touch);
    state.SetItemsProcessed(state.iterations());
}
// wide (KV-A1), short-high (KV-A2), short-low (KV-B2)
BENCHMARK(BM_DecodeDisplay)->ArgName("pid")->Arg(0x3101)->Arg(0x3102)->Arg(0x8811);

void BM_DecodeMultiTouch(benchmark::State &state)
{
    auto parts = emu::encodeMultiTouch(0x3102, {{true, 100, 200}, {true, 3000, 4000}, {false, 0, 0},
                                                {true, 16000, 9000}, {true, 5, 5}});
    std::vector<unsigned char> frame(64, 0);
    std::copy(parts[0].begin(), parts[0].end(), frame.begin());
    std::copy(parts[1].begin(), parts[1].end(), frame.begin() + 10);
    memset(MultiTouchcallback, 0, sizeof MultiTouchcallback);
    MultiTouchcallback[0] = multiSink;
    TOUCH_INFO touch = {};
    for (auto _ : state)
        PXHandleDisplayReport(frame.data(), 10, 6, &touch);
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_DecodeMultiTouch);

// ---- the whole reader path --------------------------------------------------

struct Arrivals {
    std::mutex m;
    std::vector<Clock::time_point> at;  // by sequence number (X - kBaseX)
    std::atomic<int> count{0};
};
Arrivals g_arrivals;
constexpr int kBaseX = 100;

int timeArrival(TOUCH_INFO t)
{
    const auto now = Clock::now();
    const int seq = t.x - kBaseX;
    std::lock_guard<std::mutex> lock(g_arrivals.m);
    if (seq >= 0 && size_t(seq) < g_arrivals.at.size() && g_arrivals.at[seq] == Clock::time_point{}) {
        g_arrivals.at[seq] = now;
        g_arrivals.count++;
    }
    return 1;
}

bool underUmockdev()
{
    const char *pre = getenv("LD_PRELOAD");
    return pre && strstr(pre, "umockdev");
}

// Pushes `n` pen samples `gap` microseconds apart and times each to its callback.
void BM_ReaderPath(benchmark::State &state)
{
    if (!underUmockdev()) {
        state.SkipWithError("run under umockdev-wrapper");
        return;
    }
    const uint16_t pid = uint16_t(state.range(0));
    const auto gap = std::chrono::microseconds(state.range(1));
    const int n = 3000;
    emu::Testbed bed;
    auto beh = std::make_shared<emu::TabletBehaviour>(pid);
    emu::Device &dev = bed.add(emu::DeviceSpec::tabletPid(pid), beh);
    if (OpenDevice() != 0) {
        state.SkipWithError("open failed");
        return;
    }
    memset(Touchcallback, 0, sizeof Touchcallback);
    RegisterTouchInfoCallBack(timeArrival);
    std::vector<emu::Bytes> reports;
    for (int i = 0; i < n; ++i)
        reports.push_back(emu::encodeSample(pid, {kBaseX + i, 3000, 600}));

    std::vector<double> latencies;
    double rate = 0, lost = 0;
    for (auto _ : state) {
        {
            std::lock_guard<std::mutex> lock(g_arrivals.m);
            g_arrivals.at.assign(n, Clock::time_point{});
            g_arrivals.count = 0;
        }
        std::vector<Clock::time_point> pushed(n);
        const auto start = Clock::now();
        auto due = start;
        for (int i = 0; i < n; ++i) {
            std::this_thread::sleep_until(due);
            pushed[i] = Clock::now();
            dev.push(reports[i]);
            due += gap;
        }
        const auto deadline = Clock::now() + std::chrono::seconds(5);
        while (g_arrivals.count < n && Clock::now() < deadline)
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        std::lock_guard<std::mutex> lock(g_arrivals.m);
        Clock::time_point last = start;
        for (int i = 0; i < n; ++i) {
            if (g_arrivals.at[i] == Clock::time_point{})
                continue;
            latencies.push_back(std::chrono::duration<double, std::micro>(g_arrivals.at[i] - pushed[i]).count());
            last = std::max(last, g_arrivals.at[i]);
        }
        rate = g_arrivals.count / std::chrono::duration<double>(last - start).count();
        lost = n - g_arrivals.count;
    }
    UnregisterTouchInfoCallBack(timeArrival);
    CloseDevice();
    std::sort(latencies.begin(), latencies.end());
    if (!latencies.empty()) {
        state.counters["median_us"] = latencies[latencies.size() / 2];
        state.counters["p99_us"] = latencies[latencies.size() * 99 / 100];
    }
    state.counters["reports_per_s"] = rate;
    state.counters["lost"] = lost;
}
// KV-A2 (display) and KV-C1 (pad); back to back, and one report per millisecond.
BENCHMARK(BM_ReaderPath)->Args({0x3102, 0})->Args({0x3102, 1000})->Args({0x8420, 0})->Args({0x8420, 1000})
    ->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();

// Counts the runs that stopped with an error (the reader path outside the
// umockdev preload), so that such a run does not end as a success.
class ErrorCounter : public benchmark::ConsoleReporter {
public:
    int errors = 0;
    void ReportRuns(const std::vector<Run> &runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (const Run &r : runs)
            errors += r.error_occurred ? 1 : 0;
    }
};

}  // namespace

int main(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    ErrorCounter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    if (reporter.errors) {
        fprintf(stderr, "%s: %d benchmark(s) stopped with an error, see above\n", argv[0], reporter.errors);
        return 1;
    }
    return 0;
}
