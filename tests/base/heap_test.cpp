// The allocator's placement worked through by hand against a provider of
// static arenas. Offsets are from the region base: the sentinel takes 0..24,
// so the first payload is at 48, and a request s takes ((s + 3) & ~3) + 24.
#include "base/LHHeap.h"

#include <gtest/gtest.h>

#include <cstring>
#include <deque>
#include <vector>

namespace {

constexpr int kArenas = 4, kArenaBytes = 8192;
alignas(16) unsigned char g_arena[kArenas][kArenaBytes];
std::deque<int> g_regionSizes;        // lengths to hand out, 0: nothing
std::vector<unsigned int> g_requests; // sizes the provider was asked for
int g_used = 0;

void testProvider(unsigned int size, void **region, int *regionSize)
{
    g_requests.push_back(size);
    EXPECT_TRUE(*region == nullptr && *regionSize == 0);
    if (!g_regionSizes.empty() && g_regionSizes.front() && g_used < kArenas) {
        *region = g_arena[g_used++];
        *regionSize = g_regionSizes.front();
    }
    if (!g_regionSizes.empty())
        g_regionSizes.pop_front();
}

// Offset of p in arena k, or -1 when it lies elsewhere.
long off(const void *p, int k = 0)
{
    const auto *c = static_cast<const unsigned char *>(p);
    return (c >= g_arena[k] && c < g_arena[k] + kArenaBytes) ? c - g_arena[k] : -1;
}

bool inArenas(const void *p)
{
    const auto *c = static_cast<const unsigned char *>(p);
    return c >= g_arena[0] && c < g_arena[kArenas - 1] + kArenaBytes;
}

LHHeapRegion *region(int k)
{
    LHHeapRegion *r = g_heaps.first;
    while (k-- && r)
        r = r->next;
    return r;
}

long cursorOff(int k = 0) { return off(region(k)->cursor, k); }

// Region blocks need no release: the arenas are static and every test starts
// from an empty region list.
class Heap : public ::testing::Test {
protected:
    void SetUp() override { reset(); LHSetRegionProvider(testProvider); }
    void TearDown() override { reset(); }
    static void reset()
    {
        for (LHHeapRegion *r = g_heaps.first; r;) {
            LHHeapRegion *next = r->next;
            delete r;
            r = next;
        }
        g_heaps.first = g_heaps.last = nullptr;
        g_heaps.provider = nullptr;
        g_regionSizes.clear();
        g_requests.clear();
        g_used = 0;
        std::memset(g_arena, 0xAB, sizeof g_arena);
    }
};

TEST_F(Heap, ThresholdAndFirstRegion)
{
    g_regionSizes = {1003};
    void *small = LHAlloc(256), *smallZeroed = LHCalloc(16, 16);
    EXPECT_FALSE(inArenas(small) || inArenas(smallZeroed));
    EXPECT_TRUE(g_requests.empty());

    void *a = LHAlloc(257);
    EXPECT_EQ(g_requests, std::vector<unsigned int>{257}); // the caller's size, not the block's
    EXPECT_EQ(off(a), 48);
    LHHeapRegion *r = region(0);
    const auto *sentinel = static_cast<LHHeapBlock *>(r->base);
    EXPECT_TRUE(sentinel->size == 24 && off(sentinel->next) == 24 && off(sentinel->prev) == 24);
    EXPECT_TRUE(sentinel->next->size == 284 && sentinel->next->next == sentinel);
    // The length loses its low bits in `size`, but the free figure starts
    // from the full length.
    EXPECT_EQ(r->size, 1000);
    EXPECT_EQ(r->freeBytes, 1003 - 284);
    LHFree(a);
    EXPECT_EQ(r->freeBytes, 1003);
    EXPECT_EQ(cursorOff(), 0);
    LHFree(small);
    LHFree(smallZeroed);
}

TEST_F(Heap, NextFitFromTheCursor)
{
    g_regionSizes = {1000, 4096};
    EXPECT_EQ(off(LHAlloc(257)), 48);       // a: 24..308
    void *b = LHAlloc(300);                 // b: 308..632
    void *c = LHAlloc(300);                 // c: 632..956, tail of 44
    EXPECT_EQ(off(b), 332);
    EXPECT_EQ(off(c), 656);
    EXPECT_EQ(region(0)->freeBytes, 1000 - 284 - 2 * 324);

    // Freeing the cursor moves it back to a; the same size lands again on c.
    LHFree(c);
    EXPECT_EQ(cursorOff(), 308);
    EXPECT_EQ(off(c = LHAlloc(300)), 656);

    // b is the cursor's predecessor: the cursor stays, and its gap, just
    // before the cursor, is not looked at; the tail is too short, so a
    // second region takes the block.
    LHFree(b);
    EXPECT_EQ(cursorOff(), 632);
    EXPECT_EQ(off(LHAlloc(300), 1), 48);

    // Once c is gone the cursor is a, and b's old place is found.
    LHFree(c);
    EXPECT_EQ(cursorOff(), 24);
    EXPECT_EQ(off(LHAlloc(300)), 332);
    // Sizes round up to 4: 301 takes 328 bytes, behind the new cursor.
    EXPECT_EQ(off(LHAlloc(301)), 656);
    EXPECT_EQ(region(0)->freeBytes, 1000 - 284 - 324 - 328);
}

TEST_F(Heap, ExactFitsAndFullRegions)
{
    g_regionSizes = {1300, 1000, 4096};
    LHAlloc(257);           // 24..308
    void *b = LHAlloc(300); // 308..632
    LHAlloc(300);           // 632..956
    LHAlloc(300);           // 956..1280, tail of 20
    LHFree(b);
    // The walk from the sentinel finds b's 324 bytes, an exact fit.
    EXPECT_EQ(off(LHAlloc(300)), 332);

    LHAlloc(400);                         // region 1: 24..448, tail 552
    EXPECT_EQ(off(LHAlloc(557), 2), 48);  // 584 bytes: region 2
    EXPECT_EQ(off(LHAlloc(528), 1), 472); // 552 bytes: region 1's tail exactly
    // kept: the sentinel is never counted, so a full region still shows 24.
    EXPECT_EQ(region(1)->freeBytes, 24);
    EXPECT_EQ(region(0)->freeBytes, 1300 - 284 - 3 * 324);
}

TEST_F(Heap, ProviderFailures)
{
    g_regionSizes = {0, 300, 300, 4096};
    EXPECT_EQ(LHAlloc(300), nullptr);           // nothing given: no region
    EXPECT_EQ(region(0), nullptr);
    EXPECT_EQ(LHAlloc(300), nullptr);           // too small: the region stays
    EXPECT_NE(region(0), nullptr);
    void *p = LHRealloc(nullptr, 300);          // same, but ends in malloc
    EXPECT_FALSE(p == nullptr || inArenas(p));
    EXPECT_NE(region(1), nullptr);
    LHFree(p);

    // 2^31 is negative in 32 bits and fits no region, not even a fresh one,
    // which stays and serves the next request.
    EXPECT_EQ(LHAlloc(0x80000000u), nullptr);
    EXPECT_EQ(g_requests.back(), 0x80000000u);
    EXPECT_EQ(off(LHAlloc(257), 2), 48);
}

TEST_F(Heap, CallocClearsAndMultipliesIn32Bits)
{
    g_regionSizes = {4096};
    auto *p = static_cast<unsigned char *>(LHCalloc(3, 100));
    EXPECT_EQ(off(p), 48);
    EXPECT_EQ(std::vector<unsigned char>(p, p + 300), std::vector<unsigned char>(300, 0));
    // 0x40000001 * 256 wraps to 256: a zeroed system block.
    auto *q = static_cast<unsigned char *>(LHCalloc(0x40000001u, 256));
    EXPECT_FALSE(q == nullptr || inArenas(q));
    EXPECT_EQ(q[255], 0);
    EXPECT_EQ(g_requests.size(), 1u);
    LHFree(q);
}

TEST_F(Heap, Realloc)
{
    g_regionSizes = {4096, 4096};
    auto *a = static_cast<unsigned char *>(LHAlloc(400)); // 24..448
    std::memset(a, 0x5A, 400);
    EXPECT_EQ(LHRealloc(a, 1000), a);                     // highest: grows into the tail
    EXPECT_EQ(region(0)->freeBytes, 4096 - 1024);
    void *b = LHAlloc(300);                               // 1048..1372
    EXPECT_EQ(off(b), 1072);
    EXPECT_EQ(LHRealloc(a, 400), a);                      // shrinks in place
    EXPECT_EQ(region(0)->freeBytes, 4096 - 424 - 324);
    EXPECT_EQ(LHRealloc(a, 1000), a);                     // and grows back up to b
    // Past b it moves behind the cursor (b), with its bytes.
    auto *moved = static_cast<unsigned char *>(LHRealloc(a, 1001));
    EXPECT_EQ(off(moved), 1372 + 24);
    EXPECT_EQ(region(0)->freeBytes, 4096 - 324 - 1028);
    EXPECT_EQ(std::vector<unsigned char>(moved, moved + 400), std::vector<unsigned char>(400, 0x5A));

    // Too big for region 0: a new region, and region 0 gets its bytes back.
    auto *far = static_cast<unsigned char *>(LHRealloc(moved, 3000));
    EXPECT_EQ(off(far, 1), 48);
    EXPECT_EQ(region(0)->freeBytes, 4096 - 324);
    EXPECT_EQ(far[399], 0x5A);
    // No region from the provider: null, the old block untouched.
    EXPECT_EQ(LHRealloc(far, 5000), nullptr);
    EXPECT_EQ(region(1)->freeBytes, 4096 - 3024);
    EXPECT_EQ(far[0], 0x5A);
}

TEST_F(Heap, SystemHeapPaths)
{
    g_regionSizes = {4096};
    auto *sys = static_cast<unsigned char *>(LHAlloc(100));
    EXPECT_EQ(off(LHAlloc(300)), 48);
    sys[99] = 3;
    sys = static_cast<unsigned char *>(LHRealloc(sys, 2000)); // not in a region: realloc
    EXPECT_FALSE(inArenas(sys));
    EXPECT_EQ(sys[99], 3);
    const int before = region(0)->freeBytes;
    LHFree(nullptr);
    EXPECT_EQ(region(0)->freeBytes, before);
    LHFree(sys);

    // Without a provider everything is malloc, realloc and free.
    g_heaps.provider = nullptr;
    auto *p = static_cast<unsigned char *>(LHRealloc(nullptr, 5000));
    p[4999] = 1;
    p = static_cast<unsigned char *>(LHRealloc(p, 9000));
    EXPECT_FALSE(inArenas(p));
    EXPECT_EQ(p[4999], 1);
    LHFree(p);
    LHFree(nullptr);
    EXPECT_EQ(g_requests.size(), 1u);
}

// Under the sanitizer build a missing delete shows as a leak, a wrong one as
// a double free.
TEST(HeapSet, DestructionDeletesRecordsOnlyWithAProvider)
{
    auto *withProvider = new CLHHeapSet;
    withProvider->provider = testProvider;
    withProvider->first = new LHHeapRegion{};
    withProvider->first->next = withProvider->last = new LHHeapRegion{};
    delete withProvider;

    auto *without = new CLHHeapSet;
    auto *record = new LHHeapRegion{};
    without->first = without->last = record;
    delete without;
    delete record;
}

} // namespace
