// The allocator's placement worked through by hand against a provider of
// static arenas, in a process of their own as they reset the region list.
// Offsets are from the region base: the sentinel takes 0..24,
// so the first payload is at 48, and a request s takes ((s + 3) & ~3) + 24.
#include "base/LHHeap.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

namespace {

constexpr int kArenas = 4, kArenaBytes = 8192;
alignas(16) unsigned char g_arena[kArenas][kArenaBytes];
std::vector<int> g_regionSizes;       // request k gets arena k with this length, 0: nothing
std::vector<unsigned int> g_requests; // sizes the provider was asked for

void testProvider(unsigned int size, void **region, int *regionSize)
{
    EXPECT_TRUE(*region == nullptr && *regionSize == 0);
    const size_t k = g_requests.size();
    g_requests.push_back(size);
    if (k < g_regionSizes.size() && g_regionSizes[k]) {
        *region = g_arena[k];
        *regionSize = g_regionSizes[k];
    }
}

// Offset of p in arena k, or -1 when it lies elsewhere.
long off(const void *p, int k = 0)
{
    const uintptr_t at = reinterpret_cast<uintptr_t>(p) - reinterpret_cast<uintptr_t>(g_arena[k]);
    return at < kArenaBytes ? long(at) : -1;
}

bool inArenas(const void *p) { return reinterpret_cast<uintptr_t>(p) - reinterpret_cast<uintptr_t>(g_arena) < sizeof g_arena; }

long cursorOff() { return off(g_heaps.first->cursor); }

// Every test starts from an empty region list; the arenas are static, so
// only the region records are dropped.
class Heap : public ::testing::Test {
protected:
    void SetUp() override
    {
        while (LHHeapRegion *r = g_heaps.first) {
            g_heaps.first = r->next;
            delete r;
        }
        g_heaps.last = nullptr;
        g_requests.clear();
        std::memset(g_arena, 0xAB, sizeof g_arena);
        LHSetRegionProvider(testProvider);
    }
};

TEST_F(Heap, ThresholdFirstRegionAndCalloc)
{
    g_regionSizes = {1003};
    void *small = LHAlloc(256);
    // 0x40000001 * 256 wraps to 256 in 32 bits: a zeroed system block.
    auto *wrapped = static_cast<unsigned char *>(LHCalloc(0x40000001u, 256));
    EXPECT_FALSE(inArenas(small) || wrapped == nullptr || inArenas(wrapped) || wrapped[255]);

    auto *a = static_cast<unsigned char *>(LHCalloc(1, 257));
    EXPECT_EQ(g_requests, std::vector<unsigned int>{257}); // the caller's size, not the block's
    EXPECT_EQ(off(a), 48);
    EXPECT_EQ(std::vector<unsigned char>(a, a + 257), std::vector<unsigned char>(257, 0));
    const auto *sentinel = static_cast<LHHeapBlock *>(g_heaps.first->base);
    EXPECT_TRUE(sentinel->size == 24 && off(sentinel->next) == 24 && off(sentinel->prev) == 24);
    EXPECT_TRUE(sentinel->next->size == 284 && sentinel->next->next == sentinel);
    // The length loses its low bits in `size`, but the free figure starts
    // from the full length.
    EXPECT_TRUE(g_heaps.first->size == 1000 && g_heaps.first->freeBytes == 1003 - 284);
    LHFree(a);
    EXPECT_TRUE(g_heaps.first->freeBytes == 1003 && cursorOff() == 0);
    LHFree(small);
    LHFree(wrapped);
}

TEST_F(Heap, NextFitFromTheCursor)
{
    g_regionSizes = {1000, 4096};
    void *b, *c;
    EXPECT_EQ(off(LHAlloc(257)), 48);       // a: 24..308
    EXPECT_EQ(off(b = LHAlloc(300)), 332);  // b: 308..632
    EXPECT_EQ(off(c = LHAlloc(300)), 656);  // c: 632..956, tail of 44

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
    EXPECT_EQ(g_heaps.first->freeBytes, 1000 - 284 - 324 - 328);
}

TEST_F(Heap, ExactFitsAndFullRegions)
{
    g_regionSizes = {1000, 4096};
    LHAlloc(400);                         // 24..448, tail 552
    EXPECT_EQ(off(LHAlloc(557), 1), 48);  // 584 bytes: region 1
    EXPECT_EQ(off(LHAlloc(528)), 472);    // 552 bytes: region 0's tail exactly
    // kept: the sentinel is never counted, so a full region still shows 24.
    EXPECT_EQ(g_heaps.first->freeBytes, 24);
}

TEST_F(Heap, ProviderFailures)
{
    g_regionSizes = {0, 300, 300, 4096};
    EXPECT_EQ(LHAlloc(300), nullptr);           // nothing given: no region
    EXPECT_EQ(g_heaps.first, nullptr);
    EXPECT_EQ(LHAlloc(300), nullptr);           // too small: the region stays
    EXPECT_NE(g_heaps.first, nullptr);
    void *p = LHRealloc(nullptr, 300);          // same, but ends in malloc
    EXPECT_FALSE(p == nullptr || inArenas(p));
    LHFree(p);

    // 2^31 is negative in 32 bits and fits no region, not even a fresh one,
    // which stays and serves the next request.
    EXPECT_EQ(LHAlloc(0x80000000u), nullptr);
    EXPECT_EQ(g_requests.back(), 0x80000000u);
    EXPECT_EQ(off(LHAlloc(257), 3), 48);
}

TEST_F(Heap, Realloc)
{
    g_regionSizes = {4096, 4096};
    auto *a = static_cast<unsigned char *>(LHAlloc(400)); // 24..448
    std::memset(a, 0x5A, 400);
    EXPECT_EQ(LHRealloc(a, 1000), a);                     // highest: grows into the tail
    EXPECT_EQ(g_heaps.first->freeBytes, 4096 - 1024);
    EXPECT_EQ(off(LHAlloc(300)), 1072);                   // b: 1048..1372
    EXPECT_EQ(LHRealloc(a, 400), a);                      // shrinks in place
    EXPECT_EQ(g_heaps.first->freeBytes, 4096 - 424 - 324);
    EXPECT_EQ(LHRealloc(a, 1000), a);                     // and grows back up to b
    // Past b it moves behind the cursor (b), with its bytes.
    auto *moved = static_cast<unsigned char *>(LHRealloc(a, 1001));
    EXPECT_EQ(off(moved), 1372 + 24);
    EXPECT_EQ(g_heaps.first->freeBytes, 4096 - 324 - 1028);
    EXPECT_EQ(std::vector<unsigned char>(moved, moved + 400), std::vector<unsigned char>(400, 0x5A));

    // Too big for region 0: a new region, and region 0 gets its bytes back.
    auto *far = static_cast<unsigned char *>(LHRealloc(moved, 3000));
    EXPECT_EQ(off(far, 1), 48);
    EXPECT_EQ(g_heaps.first->freeBytes, 4096 - 324);
    EXPECT_EQ(far[399], 0x5A);
    // No region from the provider: null, the old block untouched.
    EXPECT_EQ(LHRealloc(far, 5000), nullptr);
    EXPECT_TRUE(g_heaps.first->next->freeBytes == 4096 - 3024 && far[0] == 0x5A);

    // A block outside every region goes to the system's realloc.
    void *sys = LHRealloc(LHAlloc(100), 2000);
    EXPECT_FALSE(inArenas(sys));
    LHFree(sys);
}

} // namespace
