// Random sequences of LHAlloc, LHCalloc, LHRealloc and LHFree over a
// provider of small static regions. After every step each region's ring must
// be in ascending address order with no two blocks overlapping and every
// block inside the region, and the free figure must match the blocks; a block
// must keep the marks written into it until it is moved or released.
#include "base/LHHeap.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

constexpr int kRegions = 32;
constexpr int kRegionBytes = 16384;
alignas(16) unsigned char g_pool[kRegions][kRegionBytes];
int g_used;

void poolProvider(unsigned int, void **region, int *regionSize)
{
    if (g_used < kRegions) {
        *region = g_pool[g_used++];
        *regionSize = kRegionBytes;
    }
}

struct Live {
    unsigned char *p;
    unsigned int size;
    unsigned char tag;
};

// Only the first and last bytes of a block carry its tag: enough to see a
// neighbour written over it, and cheap enough for long runs.
constexpr unsigned int kMark = 16;

void mark(const Live &l)
{
    std::memset(l.p, l.tag, kMark);
    std::memset(l.p + l.size - kMark, l.tag, kMark);
}

bool marked(const unsigned char *p, unsigned int n, unsigned char tag)
{
    for (unsigned int k = 0; k < n; ++k) {
        if (p[k] != tag)
            return false;
    }
    return true;
}

void checkBytes(const Live &l)
{
    if (!marked(l.p, kMark, l.tag) || !marked(l.p + l.size - kMark, kMark, l.tag))
        std::abort();
}

void checkRings()
{
    for (LHHeapRegion *r = g_heaps.first; r; r = r->next) {
        auto *base = static_cast<unsigned char *>(r->base);
        auto *sentinel = static_cast<LHHeapBlock *>(r->base);
        int32_t used = 0;
        unsigned char *end = base + sentinel->size;
        for (LHHeapBlock *b = sentinel->next; b != sentinel; b = b->next) {
            auto *at = reinterpret_cast<unsigned char *>(b);
            if (at < end || b->size < 24 || at + b->size > base + r->size || b->next->prev != b)
                std::abort();
            end = at + b->size;
            used += b->size;
        }
        if (r->freeBytes != kRegionBytes - used)
            std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    for (LHHeapRegion *r = g_heaps.first; r;) {
        LHHeapRegion *next = r->next;
        delete r;
        r = next;
    }
    g_heaps.first = g_heaps.last = nullptr;
    g_heaps.provider = poolProvider;
    g_used = 0;

    std::vector<Live> live;
    unsigned char tag = 1;
    for (size_t at = 0; at + 3 <= size && at < 3 * 200; at += 3) {
        const unsigned int op = data[at] % 4;
        // Large blocks only: a region block never shrinks below 257 bytes.
        const unsigned int bytes = 257 + ((data[at + 1] | data[at + 2] << 8) % 6000);
        const size_t pick = live.empty() ? 0 : data[at + 1] % live.size();
        if (op < 2 || live.empty()) {
            auto *p = static_cast<unsigned char *>(op == 1 ? LHCalloc(1, bytes) : LHAlloc(bytes));
            if (!p)
                continue;
            if (op == 1 && p[bytes - 1] != 0)
                std::abort();
            live.push_back({p, bytes, tag++});
            mark(live.back());
        } else if (op == 2) {
            checkBytes(live[pick]);
            LHFree(live[pick].p);
            live.erase(live.begin() + static_cast<long>(pick));
        } else {
            Live &l = live[pick];
            auto *p = static_cast<unsigned char *>(LHRealloc(l.p, bytes));
            if (!p)
                continue; // the old block stays as it was
            // The head moves with the block; so does the old tail when it grows.
            if (!marked(p, kMark, l.tag) || (bytes >= l.size && !marked(p + l.size - kMark, kMark, l.tag)))
                std::abort();
            l.p = p;
            l.size = bytes;
            mark(l);
        }
        checkRings();
    }
    for (const Live &l : live) {
        checkBytes(l);
        LHFree(l.p);
    }
    return 0;
}
