// A few slots of (surface, box) under a spin lock: a note costs a handful of
// instructions per dab, and engines on different threads stay apart.
#include "brush/PXInkExtent.h"

#include <atomic>

namespace {

struct Slot {
    const PXSurface* surface;
    int left, top, right, bottom;
};

constexpr int kSlots = 16;
Slot slots[kSlots];
// Set for good once a note found no free slot: from then on every Take
// answers the whole surface, which is always safe.
bool overflowed = false;
int hint = 0;  // the slot noted last
std::atomic_flag busy = ATOMIC_FLAG_INIT;

struct Lock {
    Lock() {
        while (busy.test_and_set(std::memory_order_acquire)) {
        }
    }
    ~Lock() { busy.clear(std::memory_order_release); }
};

}  // namespace

namespace pxink {

void Note(const PXSurface* s, int left, int top, int right, int bottom) {
    if (left >= right || top >= bottom)
        return;
    Lock lock;
    // Dabs come in long runs on one surface: its slot is tried first.
    Slot& last = slots[hint];
    if (last.surface == s) {
        last.left = left < last.left ? left : last.left;
        last.top = top < last.top ? top : last.top;
        last.right = right > last.right ? right : last.right;
        last.bottom = bottom > last.bottom ? bottom : last.bottom;
        return;
    }
    Slot* free_slot = nullptr;
    for (Slot& k : slots) {
        if (k.surface == s) {
            hint = (int)(&k - slots);
            k.left = left < k.left ? left : k.left;
            k.top = top < k.top ? top : k.top;
            k.right = right > k.right ? right : k.right;
            k.bottom = bottom > k.bottom ? bottom : k.bottom;
            return;
        }
        if (!k.surface && !free_slot)
            free_slot = &k;
    }
    if (free_slot) {
        *free_slot = Slot{s, left, top, right, bottom};
        hint = (int)(free_slot - slots);
    }
    else
        overflowed = true;
}

PXRectangle Take(const PXSurface* s) {
    PXRectangle r(0, 0, 0, 0);
    {
        Lock lock;
        if (overflowed) {
            r = PXRectangle(0, 0, s->width, s->height);
        } else {
            for (Slot& k : slots) {
                if (k.surface == s) {
                    r = PXRectangle(k.left, k.top, k.right, k.bottom);
                    k.surface = nullptr;
                    break;
                }
            }
        }
    }
    // A slot left by a surface since destroyed can be found again at the
    // same address: it only widens the answer, which is clipped here.
    if (r.left < 0)
        r.left = 0;
    if (r.top < 0)
        r.top = 0;
    if (r.right > s->width)
        r.right = s->width;
    if (r.bottom > s->height)
        r.bottom = s->height;
    return r;
}

}  // namespace pxink
