// replay --decode of a recording of 1,000,000 reports: read, decode and
// listed to /dev/null. The aim is at least 1,000,000 reports a second
// (items_per_second). One file per pad report size: 8 bytes (KV-C1) and the
// longest lines, 64 bytes (KV-C4).
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>

#include "recording/hidrec.h"

namespace {

constexpr size_t kReports = 1000000;

// A signature's worth of pen samples over and over, a lift after every 200,
// at 200 reports a second, written by the recording writer.
std::string makeRecording(uint16_t pid, size_t reportLen)
{
    const std::string path = "/tmp/recording-bench-" + std::to_string(pid) + ".hid";
    hidrec::Header h;
    h.pid = pid;
    h.name = "bench";
    h.descriptor = {0x06, 0x00, 0xff, 0x09, 0x01, 0xa1, 0x01, 0xc0};
    hidrec::Writer w;
    std::string error;
    if (!w.open(path, h, &error))
        return "";
    std::vector<uint8_t> r(reportLen, 0);
    for (size_t i = 0; i < kReports; ++i) {
        const int x = 1000 + int(i % 200) * 20, y = 2000 + int(i % 200) * 10, p = 100 + int(i % 700);
        r[0] = 2;
        if (i % 200 == 199) {
            r[1] = reportLen == 8 ? 0xe0 : 0x00;
        } else if (reportLen == 8) {
            r[1] = 0xa1;
            r[2] = uint8_t(x), r[3] = uint8_t(x >> 8), r[4] = uint8_t(y), r[5] = uint8_t(y >> 8);
            r[6] = uint8_t(p), r[7] = uint8_t(p >> 8);
        } else {
            r[1] = 1;
            r[2] = uint8_t(x >> 7), r[3] = uint8_t(x & 0x7f), r[4] = uint8_t(y >> 7), r[5] = uint8_t(y & 0x7f);
            r[6] = uint8_t(p >> 7), r[7] = uint8_t(p & 0x7f);
        }
        if (!w.add(i * 5000, r.data(), r.size(), hidrec::describe(pid, r.data(), r.size()), &error))
            return "";
    }
    return w.finish(&error) ? path : "";
}

void BM_ReplayDecode(benchmark::State &state)
{
    const uint16_t pid = state.range(0) == 8 ? 0x8420 : 0x880F;
    const std::string path = makeRecording(pid, size_t(state.range(0)));
    if (path.empty()) {
        state.SkipWithError("cannot write the recording");
        return;
    }
    std::FILE *devnull = std::fopen("/dev/null", "w");
    long long events = 0;
    for (auto _ : state) {
        hidrec::Error error;
        events = hidrec::printDecoded(path, devnull, &error);
        if (events < 0)
            state.SkipWithError(error.message().c_str());
    }
    std::fclose(devnull);
    ::unlink(path.c_str());
    state.SetItemsProcessed(int64_t(state.iterations() * kReports));
    state.counters["events"] = double(events);
}

BENCHMARK(BM_ReplayDecode)->Arg(8)->Arg(64)->Unit(benchmark::kMillisecond)->Iterations(3);

}  // namespace

BENCHMARK_MAIN();
