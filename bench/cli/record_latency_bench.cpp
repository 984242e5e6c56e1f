// What recording adds to a report's way from the device to the window. The
// tablet layer runs in this process as the window runs it (OpenDevice, a
// pen callback) on an emulated KV-C1 under a paced stream; with the argument
// 1 the recording's taps are set and a writer thread writes the file as
// `record` does. Counters: the push-to-callback time (median, p99), and the
// time the taps themselves take on the report's way (p99 of their sum per
// report), which is what recording adds.
//
//   umockdev-wrapper build/bench/cli/cli_record_latency_bench
#include <benchmark/benchmark.h>
#include <sys/prctl.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <mutex>
#include <thread>
#include <vector>

#include "emulator/tablet_protocol.h"
#include "recording/hidrec.h"
#include "report_trail.h"
#include "tablet/pxtablet.h"

namespace {

using Clock = std::chrono::steady_clock;
constexpr int kBaseX = 100;
constexpr int kReports = 3000;

struct Timing {
    std::mutex m;
    std::vector<Clock::time_point> arrived;  // at the callback, by sequence number
    std::vector<double> tapUs;               // time inside the taps, per call
    std::atomic<int> count{0};
};
Timing g_timing;

int timeArrival(TOUCH_INFO t)
{
    const auto now = Clock::now();
    const int seq = t.x - kBaseX;
    std::lock_guard<std::mutex> lock(g_timing.m);
    if (seq >= 0 && seq < kReports && g_timing.arrived[size_t(seq)] == Clock::time_point{}) {
        g_timing.arrived[size_t(seq)] = now;
        g_timing.count++;
    }
    return 1;
}

void timedArrivalTap(const unsigned char *data, size_t length, void *trail)
{
    const auto t0 = Clock::now();
    cli::ReportTrail::arrivalTap(data, length, trail);
    const double us = std::chrono::duration<double, std::micro>(Clock::now() - t0).count();
    std::lock_guard<std::mutex> lock(g_timing.m);
    g_timing.tapUs.push_back(us);
}

void timedReaderTap(const unsigned char *report, int length, void *trail)
{
    const auto t0 = Clock::now();
    cli::ReportTrail::readerTap(report, length, trail);
    const double us = std::chrono::duration<double, std::micro>(Clock::now() - t0).count();
    std::lock_guard<std::mutex> lock(g_timing.m);
    g_timing.tapUs.push_back(us);
}

double percentile(std::vector<double> v, double p)
{
    if (v.empty())
        return 0;
    std::sort(v.begin(), v.end());
    return v[std::min(v.size() - 1, size_t(double(v.size()) * p))];
}

void BM_PushToCallback(benchmark::State &state)
{
    const bool recording = state.range(0) != 0;
    emu::Testbed bed;
    auto pad = std::make_shared<emu::TabletBehaviour>(0x8420);
    emu::Device &dev = bed.add(emu::DeviceSpec::tabletPid(0x8420), pad);
    cli::ReportTrail trail(0x8420);
    if (recording) {
        hid_set_input_tap(timedArrivalTap, &trail);
        PXSetReportTap(timedReaderTap, &trail);
    }
    if (OpenDevice() != 0) {
        state.SkipWithError("open failed");
        return;
    }
    std::atomic<bool> stop{false};
    hidrec::Writer writer;
    std::thread writing;
    if (recording) {
        hidrec::Header header;
        header.name = "KV-C1";
        header.pid = 0x8420;
        header.descriptor = {0x06, 0x00, 0xff, 0x09, 0x01, 0xa1, 0x01, 0xc0};
        std::string error;
        writer.open("/tmp/cli-record-latency.hid", header, &error);
        trail.arm(true);
        writing = std::thread([&] {
            while (!stop) {
                std::this_thread::sleep_for(std::chrono::milliseconds(100));
                for (const cli::Received &r : trail.takeReady())
                    writer.add(r.ns / 1000, r.bytes.data(), r.bytes.size(), r.comment, nullptr);
            }
        });
    }
    RegisterTouchInfoCallBack(timeArrival);
    std::vector<emu::Bytes> reports;
    for (int i = 0; i < kReports; ++i)
        reports.push_back(emu::encodeSample(0x8420, {kBaseX + i, 3000, 600}));

    std::vector<double> latencies;
    for (auto _ : state) {
        {
            std::lock_guard<std::mutex> lock(g_timing.m);
            g_timing.arrived.assign(kReports, Clock::time_point{});
            g_timing.tapUs.clear();
            g_timing.count = 0;
        }
        std::vector<Clock::time_point> pushed(kReports);
        auto due = Clock::now();
        for (int i = 0; i < kReports; ++i) {
            std::this_thread::sleep_until(due);
            pushed[size_t(i)] = Clock::now();
            dev.push(reports[size_t(i)]);
            due += std::chrono::milliseconds(1);
        }
        const auto deadline = Clock::now() + std::chrono::seconds(5);
        while (g_timing.count < kReports && Clock::now() < deadline)
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        std::lock_guard<std::mutex> lock(g_timing.m);
        for (int i = 0; i < kReports; ++i)
            if (g_timing.arrived[size_t(i)] != Clock::time_point{})
                latencies.push_back(
                    std::chrono::duration<double, std::micro>(g_timing.arrived[size_t(i)] - pushed[size_t(i)]).count());
        state.counters["lost"] = kReports - g_timing.count;
    }
    UnregisterTouchInfoCallBack(timeArrival);
    if (recording) {
        stop = true;
        writing.join();
        trail.arm(false);
        writer.finish(nullptr);
    }
    CloseDevice();
    hid_set_input_tap(nullptr, nullptr);
    PXSetReportTap(nullptr, nullptr);
    state.counters["median_us"] = percentile(latencies, 0.5);
    state.counters["p99_us"] = percentile(latencies, 0.99);
    if (recording) {
        // Two taps per report: the arrival's and the reader's.
        std::lock_guard<std::mutex> lock(g_timing.m);
        state.counters["tap_p99_us"] = percentile(g_timing.tapUs, 0.99) * 2;
        state.counters["tap_max_us"] = percentile(g_timing.tapUs, 1.0) * 2;
    }
}
BENCHMARK(BM_PushToCallback)->ArgName("recording")->Arg(0)->Arg(1)->Iterations(1)->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace

int main(int argc, char **argv)
{
    prctl(PR_SET_TIMERSLACK, 1);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
