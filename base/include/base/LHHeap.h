// Memory functions of the bitmap and string code: a two-tier allocator.
// Requests of 256 bytes or less always go to the system heap; larger ones go
// to regions handed out by a provider callback when one is installed in
// g_heaps, and to the system heap otherwise.
#pragma once

#include <cstdint>

// Supplies a new region for a request of `size` bytes: sets *region to writable
// memory and *regionSize to its length. Both start as null and 0; a region
// counts only if both come back non-zero. Regions are never given back.
typedef void (*LHRegionProvider)(unsigned int size, void **region, int *regionSize);

// Header in front of every block of a region (24 bytes). The blocks of a region
// form one ring in ascending address order; the ring wraps from the highest
// block back to the sentinel at the region's base. Block sizes are multiples
// of 4 only, so a header is 4-aligned and packed to that.
#pragma pack(push, 4)
struct LHHeapBlock {
    int32_t size;        // whole block, header included
    int32_t reserved;
    LHHeapBlock *prev;
    LHHeapBlock *next;
};
#pragma pack(pop)

// One region obtained from the provider.
struct LHHeapRegion {
    void *base;          // start of the region, also its sentinel block
    int32_t size;        // usable bytes: the provider's length, low two bits cleared
    LHHeapBlock *cursor; // where the next search starts
    int32_t freeBytes;   // upper bound of the free space, for quick rejection
    LHHeapRegion *next;
};

// The process-wide region list and its provider.
class CLHHeapSet {
public:
    constexpr CLHHeapSet() : provider(nullptr), first(nullptr), last(nullptr) {}
    // Deletes the region records (not the regions) when a provider is set.
    ~CLHHeapSet();

    LHRegionProvider provider;
    LHHeapRegion *first;
    LHHeapRegion *last;
};

extern CLHHeapSet g_heaps;

extern "C" {

// Memory of `size` bytes, or null.
void *LHAlloc(unsigned int size);

// `count * size` zeroed bytes (product in 32 bits), or null.
void *LHCalloc(unsigned int count, unsigned int size);

// Resizes memory from any of the three, keeping its contents; null on failure.
void *LHRealloc(void *ptr, unsigned int size);

// Releases memory from LHAlloc, LHCalloc or LHRealloc.
void LHFree(void *ptr);

// Installs the region provider. Call it before the first request of more than
// 256 bytes; earlier large blocks stay on the system heap for good.
void LHSetRegionProvider(LHRegionProvider provider);

}
