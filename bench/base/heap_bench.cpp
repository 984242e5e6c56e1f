// Region tier against plain malloc for the two patterns that matter: the
// scalers' pair of line buffers taken and released per image, and random
// sizes between 257 bytes and 64 KiB with a working set of live blocks.
#include "base/LHHeap.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <random>
#include <vector>

namespace {

constexpr int kRegionBytes = 64 << 20;
int g_regionsMade = 0;

void benchProvider(unsigned int size, void **region, int *regionSize)
{
    (void)size;
    // Regions are never given back; the process ends with the benchmark.
    *region = std::malloc(kRegionBytes);
    *regionSize = *region ? kRegionBytes : 0;
    ++g_regionsMade;
}

struct Malloc {
    static void *alloc(unsigned int n) { return std::malloc(n); }
    static void release(void *p) { std::free(p); }
};

struct Regions {
    static void *alloc(unsigned int n) { return LHAlloc(n); }
    static void release(void *p) { LHFree(p); }
};

// One scaled image: a source and a destination line buffer of a few KiB,
// touched once, released in the order the scalers release them.
template <class Heap>
void ScalerLineBuffers(benchmark::State &state)
{
    const unsigned int width = static_cast<unsigned int>(state.range(0));
    for (auto _ : state) {
        auto *src = static_cast<int *>(Heap::alloc(width * 4));
        auto *dst = static_cast<int *>(Heap::alloc(width * 4 * 2));
        src[0] = 1;
        dst[0] = 2;
        benchmark::DoNotOptimize(src);
        benchmark::DoNotOptimize(dst);
        Heap::release(src);
        Heap::release(dst);
    }
    state.counters["regions"] = g_regionsMade;
}

// Random sizes in 257..65536 over a working set of `range(0)` live blocks:
// each iteration replaces one random block.
template <class Heap>
void RandomSizes(benchmark::State &state)
{
    const size_t live = static_cast<size_t>(state.range(0));
    std::mt19937 rng(12345);
    std::uniform_int_distribution<unsigned int> size(257, 65536);
    std::uniform_int_distribution<size_t> slot(0, live - 1);
    std::vector<void *> blocks(live);
    for (auto &b : blocks)
        b = Heap::alloc(size(rng));
    for (auto _ : state) {
        void *&b = blocks[slot(rng)];
        Heap::release(b);
        b = Heap::alloc(size(rng));
        benchmark::DoNotOptimize(b);
    }
    for (void *b : blocks)
        Heap::release(b);
    state.counters["regions"] = g_regionsMade;
}

struct Install {
    Install() { LHSetRegionProvider(benchProvider); }
} g_install;

BENCHMARK_TEMPLATE(ScalerLineBuffers, Malloc)->Arg(640)->Arg(2048);
BENCHMARK_TEMPLATE(ScalerLineBuffers, Regions)->Arg(640)->Arg(2048);
BENCHMARK_TEMPLATE(RandomSizes, Malloc)->Arg(16)->Arg(256);
BENCHMARK_TEMPLATE(RandomSizes, Regions)->Arg(16)->Arg(256);

} // namespace

BENCHMARK_MAIN();
