// One slot of a callback table, read and written as one atomic word: release
// on store, acquire on load, so that the reader thread sees a callback
// together with what was set up before it was registered.
#pragma once

namespace pxslots {

template <typename F>
F slot(F *table, int i)
{
    return __atomic_load_n(&table[i], __ATOMIC_ACQUIRE);
}

template <typename F>
void setSlot(F *table, int i, F callback)
{
    __atomic_store_n(&table[i], callback, __ATOMIC_RELEASE);
}

}  // namespace pxslots
