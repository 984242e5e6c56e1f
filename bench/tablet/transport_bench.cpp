// The transport against an emulated KV-C5: sustained input reports per
// second, latency from a push on the device to hid_read returning it, and
// the CPU a process spends with a device open and idle.
// Run under umockdev-wrapper.
#include <benchmark/benchmark.h>

#include <stdio.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <time.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <thread>
#include <vector>

#include "emulator/emulator.h"
#include "tablet/sphid.h"

namespace {

emu::Device *g_tablet = nullptr;
hid_device *g_dev = nullptr;

using Clock = std::chrono::steady_clock;

double cpuSeconds()
{
    struct rusage ru;
    getrusage(RUSAGE_SELF, &ru);
    return ru.ru_utime.tv_sec + ru.ru_stime.tv_sec +
           (ru.ru_utime.tv_usec + ru.ru_stime.tv_usec) / 1e6;
}

void drain()
{
    unsigned char buf[64];
    while (hid_read_timeout(g_dev, buf, sizeof buf, 0) > 0) {
    }
}

// A batch of reports pushed at the device as fast as it takes them, read
// with blocking waits. The last report of a batch is marked; the queue drops
// the oldest, never the newest, so the marked one always arrives and the
// reports missing before it count as lost.
void BM_SustainedReports(benchmark::State &state)
{
    const int batch = (int)state.range(0);
    std::vector<emu::Bytes> reports(batch, emu::Bytes(64, 0x5A));
    reports.back()[0] = 0xEE;
    unsigned char buf[64];
    int64_t received = 0, lost = 0;
    drain();
    for (auto _ : state) {
        for (const emu::Bytes &r : reports)
            g_tablet->push(r);
        int got = 0;
        do {
            if (hid_read_timeout(g_dev, buf, sizeof buf, -1) <= 0)
                break;
            ++got;
        } while (buf[0] != 0xEE);
        received += got;
        lost += batch - got;
    }
    state.SetItemsProcessed(received);
    state.counters["reports_per_s"] = benchmark::Counter((double)received, benchmark::Counter::kIsRate);
    state.counters["lost"] = (double)lost;
}
BENCHMARK(BM_SustainedReports)->Arg(256)->UseRealTime()->Unit(benchmark::kMillisecond)->MinTime(3);

// One report at a time: push, then hid_read waits for it.
void BM_PushToReadLatency(benchmark::State &state)
{
    emu::Bytes report(64, 0x11);
    unsigned char buf[64];
    std::vector<double> micros;
    micros.reserve(100000);
    drain();
    for (auto _ : state) {
        auto t0 = Clock::now();
        g_tablet->push(report);
        hid_read_timeout(g_dev, buf, sizeof buf, -1);
        auto t1 = Clock::now();
        micros.push_back(std::chrono::duration<double, std::micro>(t1 - t0).count());
    }
    std::sort(micros.begin(), micros.end());
    if (!micros.empty()) {
        state.counters["median_us"] = micros[micros.size() / 2];
        state.counters["p99_us"] = micros[std::min(micros.size() - 1, micros.size() * 99 / 100)];
    }
}
BENCHMARK(BM_PushToReadLatency)->UseRealTime()->Unit(benchmark::kMicrosecond)->MinTime(3);

// CPU used by the whole process (read thread and emulator included) while
// the device is open and nothing arrives, as a share of one core.
void BM_IdleCpuOpen(benchmark::State &state)
{
    double share = 0;
    for (auto _ : state) {
        double c0 = cpuSeconds();
        auto t0 = Clock::now();
        std::this_thread::sleep_for(std::chrono::seconds(2));
        double wall = std::chrono::duration<double>(Clock::now() - t0).count();
        share = (cpuSeconds() - c0) / wall;
    }
    state.counters["cpu_percent"] = share * 100.0;
}
BENCHMARK(BM_IdleCpuOpen)->Iterations(2)->UseRealTime()->Unit(benchmark::kSecond);

} // namespace

int main(int argc, char **argv)
{
    // The preload sleeps after each ioctl; default timer slack costs much.
    prctl(PR_SET_TIMERSLACK, 1);
    benchmark::Initialize(&argc, argv);

    auto bed = std::make_unique<emu::Testbed>();
    g_tablet = &bed->add(emu::DeviceSpec::tabletPid(0x8807));
    unsigned short pid = 0x8807;
    g_dev = hid_open(0x5E1B, &pid, nullptr);
    if (g_dev == nullptr) {
        fprintf(stderr, "no emulated tablet (run under umockdev-wrapper)\n");
        return 1;
    }

    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();

    hid_close(g_dev);
    hid_exit();
    return 0;
}
