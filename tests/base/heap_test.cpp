// The allocator's placement worked through by hand against a test provider
// that hands out static arenas. Offsets are from the region's base: the
// sentinel takes 0..24, so the first block's payload is at 48, and a block of
// a request s takes ((s + 3) & ~3) + 24 bytes.
#include "base/LHHeap.h"

#include <gtest/gtest.h>

#include <cstring>
#include <deque>
#include <vector>

namespace {

constexpr int kArenas = 4;
constexpr int kArenaBytes = 8192;
alignas(16) unsigned char g_arena[kArenas][kArenaBytes];

std::deque<int> g_regionSizes;        // length of each region to hand out; 0: none
std::vector<unsigned int> g_requests; // sizes the provider was asked for
int g_nextArena = 0;

void testProvider(unsigned int size, void **region, int *regionSize)
{
    g_requests.push_back(size);
    EXPECT_EQ(*region, nullptr);
    EXPECT_EQ(*regionSize, 0);
    if (g_regionSizes.empty())
        return;
    const int bytes = g_regionSizes.front();
    g_regionSizes.pop_front();
    if (!bytes || g_nextArena == kArenas)
        return;
    *region = g_arena[g_nextArena++];
    *regionSize = bytes;
}

void resetHeaps()
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
    g_nextArena = 0;
    std::memset(g_arena, 0xAB, sizeof g_arena);
}

// Offset of p inside arena k, or -1 when p lies elsewhere.
long off(const void *p, int k = 0)
{
    const unsigned char *c = static_cast<const unsigned char *>(p);
    if (c < g_arena[k] || c >= g_arena[k] + kArenaBytes)
        return -1;
    return c - g_arena[k];
}

bool inAnyArena(const void *p)
{
    for (int k = 0; k < kArenas; ++k) {
        if (off(p, k) >= 0)
            return true;
    }
    return false;
}

int regionCount()
{
    int n = 0;
    for (LHHeapRegion *r = g_heaps.first; r; r = r->next)
        ++n;
    return n;
}

LHHeapRegion *region(int k)
{
    LHHeapRegion *r = g_heaps.first;
    while (k-- && r)
        r = r->next;
    return r;
}

long cursorOff(int k = 0) { return off(region(k)->cursor, k); }

class Heap : public ::testing::Test {
protected:
    void SetUp() override
    {
        resetHeaps();
        LHSetRegionProvider(testProvider);
    }
    void TearDown() override { resetHeaps(); }
};

TEST_F(Heap, ThresholdAndFirstRegion)
{
    g_regionSizes = {4096};
    void *small = LHAlloc(256);
    void *smallZeroed = LHCalloc(16, 16);
    EXPECT_FALSE(inAnyArena(small));
    EXPECT_FALSE(inAnyArena(smallZeroed));
    EXPECT_TRUE(g_requests.empty());

    void *a = LHAlloc(257);
    ASSERT_EQ(g_requests, std::vector<unsigned int>{257}); // the caller's size, not the block's
    EXPECT_EQ(off(a), 48);
    LHHeapRegion *r = region(0);
    EXPECT_EQ(r->base, g_arena[0]);
    EXPECT_EQ(r->size, 4096);
    EXPECT_EQ(r->freeBytes, 4096 - 284);
    EXPECT_EQ(cursorOff(), 24);

    const LHHeapBlock *sentinel = static_cast<LHHeapBlock *>(r->base);
    EXPECT_EQ(sentinel->size, 24);
    EXPECT_EQ(off(sentinel->next), 24);
    EXPECT_EQ(off(sentinel->prev), 24);
    EXPECT_EQ(sentinel->next->size, 284);
    EXPECT_EQ(sentinel->next->next, sentinel);

    LHFree(small);
    LHFree(smallZeroed);
    LHFree(a);
    EXPECT_EQ(r->freeBytes, 4096);
    EXPECT_EQ(cursorOff(), 0);
}

TEST_F(Heap, NextFitFromTheCursor)
{
    g_regionSizes = {4096};
    void *a = LHAlloc(257); // block 24..308
    void *b = LHAlloc(300); // block 308..632
    void *c = LHAlloc(300); // block 632..956
    EXPECT_EQ(off(a), 48);
    EXPECT_EQ(off(b), 332);
    EXPECT_EQ(off(c), 656);
    EXPECT_EQ(region(0)->freeBytes, 4096 - 284 - 324 - 324);

    // Freeing the cursor block moves the cursor to its predecessor, and the
    // next request of the same size lands where the freed block was.
    LHFree(c);
    EXPECT_EQ(cursorOff(), 308);
    EXPECT_EQ(off(LHAlloc(300)), 656);

    // Sizes round up to 4: 301 takes 304 + 24 bytes.
    EXPECT_EQ(off(LHAlloc(301)), 980);
    EXPECT_EQ(off(LHAlloc(300)), 980 + 328);
    EXPECT_EQ(regionCount(), 1);
}

TEST_F(Heap, GapBeforeTheCursorWaitsUntilTheCursorMoves)
{
    g_regionSizes = {1000, 4096};
    void *a = LHAlloc(257); // 24..308
    void *b = LHAlloc(300); // 308..632
    void *c = LHAlloc(300); // 632..956, tail of 44 bytes left
    ASSERT_EQ(off(c), 656);

    // b is the cursor's predecessor: the cursor stays on c.
    LHFree(b);
    EXPECT_EQ(cursorOff(), 632);
    EXPECT_EQ(region(0)->freeBytes, 1000 - 284 - 324);

    // 392 free bytes pass the quick test, but the only gap that fits lies just
    // before the cursor and the tail is too short: a second region is made.
    void *d = LHAlloc(300);
    EXPECT_EQ(off(d, 1), 48);
    EXPECT_EQ(regionCount(), 2);

    // Once c is gone the cursor is a, and the old gap of b is found.
    LHFree(c);
    EXPECT_EQ(cursorOff(), 24);
    EXPECT_EQ(off(LHAlloc(300)), 332);
    LHFree(a);
    LHFree(d);
}

TEST_F(Heap, WalkFindsAnExactGap)
{
    g_regionSizes = {1300};
    void *a = LHAlloc(257); // 24..308
    void *b = LHAlloc(300); // 308..632
    void *c = LHAlloc(300); // 632..956
    void *d = LHAlloc(300); // 956..1280, tail of 20 bytes
    LHFree(b);
    EXPECT_EQ(cursorOff(), 956);
    // The tail behind the cursor is too short; the walk from the sentinel
    // finds b's old 324 bytes between a and c, an exact fit.
    EXPECT_EQ(off(LHAlloc(300)), 332);
    EXPECT_EQ(regionCount(), 1);
    EXPECT_EQ(region(0)->freeBytes, 1300 - 284 - 3 * 324);
    LHFree(a);
    LHFree(c);
    LHFree(d);
}

TEST_F(Heap, QuickRejectionAndRegionOrder)
{
    g_regionSizes = {1000, 4096};
    void *a = LHAlloc(400);  // region 0: 24..448, 552 bytes of tail, 576 counted free
    EXPECT_EQ(region(0)->freeBytes, 1000 - 424);
    void *b = LHAlloc(600);  // need 624 > 576: region 0 is passed over
    EXPECT_EQ(off(b, 1), 48);
    void *c = LHAlloc(557);  // need 584 > 576: region 1 again, behind b
    EXPECT_EQ(off(c, 1), 48 + 624);
    void *d = LHAlloc(528);  // need 552 fills region 0's tail exactly
    EXPECT_EQ(off(d, 0), 472);
    // kept: the sentinel is never counted, so a full region still shows 24.
    EXPECT_EQ(region(0)->freeBytes, 24);
    LHFree(a);
    LHFree(b);
    LHFree(c);
    LHFree(d);
}

TEST_F(Heap, RegionSetup)
{
    // A length that is not a multiple of 4 loses its low bits in `size`, but
    // the first block's free figure starts from the full length.
    g_regionSizes = {1003};
    void *a = LHAlloc(257);
    EXPECT_EQ(off(a), 48);
    EXPECT_EQ(region(0)->size, 1000);
    EXPECT_EQ(region(0)->freeBytes, 1003 - 284);
    LHFree(a);
    EXPECT_EQ(region(0)->freeBytes, 1003);
}

TEST_F(Heap, ProviderFailures)
{
    // Nothing from the provider: null, no region.
    g_regionSizes = {0};
    EXPECT_EQ(LHAlloc(300), nullptr);
    EXPECT_EQ(regionCount(), 0);

    // Too small for need + 24: null, but the region stays in the list.
    g_regionSizes = {300};
    EXPECT_EQ(LHAlloc(300), nullptr);
    EXPECT_EQ(regionCount(), 1);

    // The same through LHRealloc(null) ends on the system heap instead.
    g_regionSizes = {300};
    void *p = LHRealloc(nullptr, 300);
    ASSERT_NE(p, nullptr);
    EXPECT_FALSE(inAnyArena(p));
    EXPECT_EQ(regionCount(), 2);
    LHFree(p);

    // A request of 2^31 or more is negative in 32 bits: it fits no region,
    // not even a fresh one; the region is kept and serves the next request.
    g_regionSizes = {4096};
    EXPECT_EQ(LHAlloc(0x80000000u), nullptr);
    EXPECT_EQ(g_requests.back(), 0x80000000u);
    EXPECT_EQ(regionCount(), 3);
    EXPECT_EQ(off(LHAlloc(257), 2), 48);
}

TEST_F(Heap, CallocClearsAndMultipliesIn32Bits)
{
    g_regionSizes = {4096};
    unsigned char *p = static_cast<unsigned char *>(LHCalloc(3, 100));
    ASSERT_EQ(off(p), 48);
    for (int i = 0; i < 300; ++i)
        ASSERT_EQ(p[i], 0) << i;

    // 0x40000001 * 256 wraps to 256: a small, zeroed system block.
    unsigned char *q = static_cast<unsigned char *>(LHCalloc(0x40000001u, 256));
    ASSERT_NE(q, nullptr);
    EXPECT_FALSE(inAnyArena(q));
    EXPECT_EQ(q[255], 0);
    EXPECT_EQ(g_requests.size(), 1u);
    LHFree(p);
    LHFree(q);
}

TEST_F(Heap, ReallocInPlace)
{
    g_regionSizes = {4096};
    unsigned char *a = static_cast<unsigned char *>(LHAlloc(400)); // 24..448
    std::memset(a, 0x5A, 400);

    // The highest block grows into the tail.
    EXPECT_EQ(LHRealloc(a, 1000), a);                          // 24..1048
    EXPECT_EQ(region(0)->freeBytes, 4096 - 1024);
    unsigned char *b = static_cast<unsigned char *>(LHAlloc(300)); // 1048..1372
    EXPECT_EQ(off(b), 1072);

    // A lower block shrinks in place, and grows back up to its neighbour.
    EXPECT_EQ(LHRealloc(a, 400), a);
    EXPECT_EQ(region(0)->freeBytes, 4096 - 424 - 324);
    EXPECT_EQ(LHRealloc(a, 1000), a);
    EXPECT_EQ(region(0)->freeBytes, 4096 - 1024 - 324);
    for (int i = 0; i < 400; ++i)
        ASSERT_EQ(a[i], 0x5A) << i;
    LHFree(a);
    LHFree(b);
}

TEST_F(Heap, ReallocMoves)
{
    // Same region: behind the cursor, contents kept, old gap released.
    g_regionSizes = {4096};
    unsigned char *a = static_cast<unsigned char *>(LHAlloc(257)); // 24..308
    void *b = LHAlloc(257);                                        // 308..592
    for (int i = 0; i < 257; ++i)
        a[i] = static_cast<unsigned char>(i);
    unsigned char *moved = static_cast<unsigned char *>(LHRealloc(a, 600));
    EXPECT_EQ(off(moved), 592 + 24);
    EXPECT_EQ(region(0)->freeBytes, 4096 - 284 - 624);
    for (int i = 0; i < 257; ++i)
        ASSERT_EQ(moved[i], static_cast<unsigned char>(i)) << i;
    EXPECT_EQ(cursorOff(), 592);
    LHFree(moved);
    LHFree(b);
}

TEST_F(Heap, ReallocAcrossRegions)
{
    g_regionSizes = {1000, 4096};
    unsigned char *a = static_cast<unsigned char *>(LHAlloc(257)); // region 0: 24..308
    void *b = LHAlloc(257);                                        // region 0: 308..592
    std::memset(a, 7, 257);

    // 624 bytes fit neither in place nor anywhere in region 0 (432 free):
    // a new region takes the block and a's bytes go with it.
    unsigned char *moved = static_cast<unsigned char *>(LHRealloc(a, 600));
    EXPECT_EQ(off(moved, 1), 48);
    EXPECT_EQ(region(0)->freeBytes, 1000 - 284);
    EXPECT_EQ(moved[0], 7);
    EXPECT_EQ(moved[256], 7);

    // a was not the cursor, so region 0's cursor stays on b.
    EXPECT_EQ(cursorOff(), 308);

    // No region from the provider: null, and the old block is untouched.
    g_regionSizes = {0};
    moved[0] = 9;
    EXPECT_EQ(LHRealloc(moved, 5000), nullptr);
    EXPECT_EQ(moved[0], 9);
    EXPECT_EQ(region(1)->freeBytes, 4096 - 624);
    LHFree(moved);
    LHFree(b);
}

TEST_F(Heap, SystemHeapPaths)
{
    g_regionSizes = {4096};
    // A block from malloc grows with realloc even when regions exist.
    void *sys = LHAlloc(100);
    void *region0 = LHAlloc(300);
    ASSERT_EQ(off(region0), 48);
    std::memset(sys, 3, 100);
    unsigned char *grown = static_cast<unsigned char *>(LHRealloc(sys, 2000));
    EXPECT_FALSE(inAnyArena(grown));
    EXPECT_EQ(grown[99], 3);

    // Null goes down the system path on either tier.
    const int before = region(0)->freeBytes;
    LHFree(nullptr);
    EXPECT_EQ(region(0)->freeBytes, before);
    LHFree(grown);
    LHFree(region0);

    // Without a provider everything is malloc, realloc and free.
    g_heaps.provider = nullptr;
    unsigned char *p = static_cast<unsigned char *>(LHRealloc(nullptr, 5000));
    EXPECT_FALSE(inAnyArena(p));
    p[4999] = 1;
    p = static_cast<unsigned char *>(LHRealloc(p, 9000));
    EXPECT_EQ(p[4999], 1);
    LHFree(p);
    EXPECT_EQ(g_requests.size(), 1u);
}

// Under the sanitizer build a missing delete shows as a leak and a wrong
// one as a double free.
TEST(HeapSet, DestructionDeletesRecordsOnlyWithAProvider)
{
    auto *withProvider = new CLHHeapSet;
    withProvider->provider = testProvider;
    withProvider->first = new LHHeapRegion{};
    withProvider->first->next = new LHHeapRegion{};
    withProvider->last = withProvider->first->next;
    delete withProvider;

    auto *without = new CLHHeapSet;
    LHHeapRegion *record = new LHHeapRegion{};
    without->first = without->last = record;
    delete without;
    delete record;
}

} // namespace
