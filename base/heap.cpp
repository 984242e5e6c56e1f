// The two-tier allocator: system heap for small blocks, provider regions with a
// next-fit block ring for large ones.
#include "base/LHHeap.h"

#include <cstdlib>
#include <cstring>

CLHHeapSet g_heaps;

namespace {

constexpr unsigned int kSmallLimit = 256;
constexpr int32_t kHeader = static_cast<int32_t>(sizeof(LHHeapBlock));
static_assert(sizeof(LHHeapBlock) == 24 && alignof(LHHeapBlock) == 4, "24-byte header, 4-aligned");

char *bytes(void *p) { return static_cast<char *>(p); }
LHHeapBlock *blockAt(void *p) { return static_cast<LHHeapBlock *>(p); }
LHHeapBlock *blockOf(void *payload) { return blockAt(bytes(payload) - kHeader); }
void *payloadOf(LHHeapBlock *b) { return bytes(b) + kHeader; }

// Byte distance from a to b, signed.
intptr_t gap(const void *a, const void *b)
{
    return reinterpret_cast<intptr_t>(b) - reinterpret_cast<intptr_t>(a);
}

// Payload rounded up to 4 plus the header, in 32 bits like the size field.
int32_t needFor(unsigned int size)
{
    return static_cast<int32_t>(((size + 3u) & ~3u) + static_cast<unsigned int>(kHeader));
}

void linkBehind(LHHeapBlock *p, LHHeapBlock *b)
{
    b->prev = p;
    b->next = p->next;
    p->next->prev = b;
    p->next = b;
}

void *placeBehind(LHHeapRegion *r, LHHeapBlock *p, int32_t need)
{
    LHHeapBlock *b = blockAt(bytes(p) + p->size);
    b->size = need;
    b->reserved = 0;
    linkBehind(p, b);
    r->cursor = b;
    r->freeBytes -= need;
    return payloadOf(b);
}

// Next-fit search from the cursor. The gap just before the cursor is never
// examined, and the region's tail only when the cursor is the highest block;
// a later search from another cursor finds them.
void *placeIn(LHHeapRegion *r, unsigned int size)
{
    // Sizes of 2^31 and up are negative in the 32-bit size field.
    if (static_cast<int32_t>(size) < 1)
        return nullptr;
    const int32_t need = needFor(size);
    if (need > r->freeBytes)
        return nullptr;
    LHHeapBlock *c = r->cursor;
    LHHeapBlock *n = c->next;
    if (c == n) {
        if (need > r->size - c->size)
            return nullptr;
        return placeBehind(r, c, need);
    }
    if (gap(n, c) > 0) {
        if (gap(bytes(c) + c->size, bytes(r->base) + r->size) >= need)
            return placeBehind(r, c, need);
    } else if (gap(c, n) - c->size >= need) {
        return placeBehind(r, c, need);
    }
    for (LHHeapBlock *p = n;;) {
        LHHeapBlock *q = p->next;
        if (q == c)
            return nullptr;
        if (gap(p, q) - p->size >= need)
            return placeBehind(r, p, need);
        p = q;
    }
}

void *placeAnywhere(unsigned int size)
{
    for (LHHeapRegion *r = g_heaps.first; r; r = r->next) {
        if (void *p = placeIn(r, size))
            return p;
    }
    return nullptr;
}

// Asks the provider for a region, appends it and puts the first block in it.
// Null when the provider gives nothing or the block does not fit; a region
// that came but was too small stays in the list.
void *placeInNewRegion(unsigned int size)
{
    void *region = nullptr;
    int regionSize = 0;
    g_heaps.provider(size, &region, &regionSize);
    if (!region || !regionSize)
        return nullptr;

    LHHeapRegion *r = new LHHeapRegion;
    r->base = region;
    r->cursor = blockAt(region);
    r->size = r->freeBytes = regionSize & ~3;
    r->next = nullptr;
    if (g_heaps.last)
        g_heaps.last->next = r;
    else
        g_heaps.first = r;
    g_heaps.last = r;

    LHHeapBlock *sentinel = blockAt(region);
    sentinel->size = kHeader;
    sentinel->reserved = 0;
    sentinel->prev = sentinel->next = sentinel;

    const int32_t need = needFor(size);
    if (static_cast<int32_t>(size) < 1 || need > r->size || need > regionSize - kHeader)
        return nullptr;
    void *p = placeBehind(r, sentinel, need);
    // kept: the figure starts from the unrounded length, and the sentinel is
    // not counted; it only serves as an upper bound.
    r->freeBytes = regionSize - need;
    return p;
}

LHHeapRegion *regionHolding(void *ptr)
{
    const uintptr_t a = reinterpret_cast<uintptr_t>(ptr);
    for (LHHeapRegion *r = g_heaps.first; r; r = r->next) {
        const uintptr_t base = reinterpret_cast<uintptr_t>(r->base);
        if (base <= a && a < base + static_cast<uintptr_t>(static_cast<intptr_t>(r->size)))
            return r;
    }
    return nullptr;
}

// Unlinks a block; its space simply becomes part of the gap between its
// neighbours, so there is nothing to merge.
void release(LHHeapRegion *r, LHHeapBlock *b)
{
    r->freeBytes += b->size;
    b->prev->next = b->next;
    b->next->prev = b->prev;
    if (r->cursor == b)
        r->cursor = b->prev;
}

void *moveBlock(LHHeapRegion *from, LHHeapBlock *old, void *to)
{
    const int32_t oldPayload = old->size - kHeader;
    if (oldPayload > 0)
        std::memcpy(to, payloadOf(old), static_cast<size_t>(oldPayload));
    release(from, old);
    return to;
}

} // namespace

CLHHeapSet::~CLHHeapSet()
{
    if (!provider)
        return;
    // The regions belong to the provider and are left alone; `first` ends on
    // the last record deleted.
    for (LHHeapRegion *r = first; r;) {
        first = r;
        LHHeapRegion *next = r->next;
        delete r;
        r = next;
    }
}

extern "C" {

void *LHAlloc(unsigned int size)
{
    if (size <= kSmallLimit || !g_heaps.provider)
        return std::malloc(size);
    if (void *p = placeAnywhere(size))
        return p;
    return placeInNewRegion(size);
}

void *LHCalloc(unsigned int count, unsigned int size)
{
    const unsigned int total = count * size;
    if (total < kSmallLimit + 1 || !g_heaps.provider)
        return std::calloc(1, total);
    void *p = placeAnywhere(total);
    if (!p)
        p = placeInNewRegion(total);
    if (p)
        std::memset(p, 0, total);
    return p;
}

void *LHRealloc(void *ptr, unsigned int size)
{
    // This branch does not look where ptr lives: callers that use regions never
    // shrink a block across the small-block limit.
    if (size <= kSmallLimit || !g_heaps.provider)
        return ptr ? std::realloc(ptr, size) : std::malloc(size);

    if (!ptr) {
        if (void *p = placeAnywhere(size))
            return p;
        if (void *p = placeInNewRegion(size))
            return p;
        return std::malloc(size);
    }

    if (!g_heaps.first)
        return std::realloc(ptr, size);
    LHHeapRegion *r = regionHolding(ptr);
    if (!r)
        return std::realloc(ptr, size);

    LHHeapBlock *b = blockOf(ptr);
    const int32_t need = needFor(size);

    // In place: up to the next block, or to the region's end for the highest.
    if (r->freeBytes >= need - b->size) {
        const bool highest = gap(b->next, b) > 0;
        const bool fits = highest ? gap(bytes(b) + need, bytes(r->base) + r->size) >= 0
                                  : gap(b, b->next) >= need;
        if (fits) {
            r->freeBytes += b->size - need;
            b->size = need;
            return ptr;
        }
    }

    if (static_cast<int32_t>((size + 3u) & ~3u) > 0 && r->freeBytes >= need) {
        if (void *p = placeIn(r, size))
            return moveBlock(r, b, p);
    }
    if (void *p = placeAnywhere(size))
        return moveBlock(r, b, p);
    if (void *p = placeInNewRegion(size))
        return moveBlock(r, b, p);
    return nullptr;
}

void LHFree(void *ptr)
{
    if (!g_heaps.first) {
        std::free(ptr);
        return;
    }
    LHHeapRegion *r = regionHolding(ptr);
    if (!r) {
        std::free(ptr);
        return;
    }
    release(r, blockOf(ptr));
}

void LHSetRegionProvider(LHRegionProvider provider)
{
    g_heaps.provider = provider;
}

} // extern "C"
