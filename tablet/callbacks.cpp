// The two callback tables and their dispatch. Callbacks run on the reader
// thread; registration runs on the application thread with no lock, as a
// single pointer store. Each slot is read and written as one atomic word
// (release on store, acquire on load), so that the reader sees a callback
// together with what was set up before it was registered; the tables stay
// plain arrays for the callers that fill them directly.
#include "tablet/pxtablet.h"
#include "log/writelog.h"

TouchInfoCallBack Touchcallback[kCallbackSlots] = {};
MultiTouchInfoCallBack MultiTouchcallback[kCallbackSlots] = {};

namespace {

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

template <typename F>
int addCallback(F *table, F callback)
{
    for (int i = 0; i < kCallbackSlots; ++i) {
        if (!slot(table, i)) {
            setSlot(table, i, callback);
            return 0;
        }
        if (slot(table, i) == callback)
            return 0;
    }
    return PX_ERR_CALLBACK_FULL;
}

// Closes the gap left by the removed callback but never clears slot 4: with
// a full table the last callback then stands in slots 3 and 4 and runs twice
// per event. Kept: callers rely on the established removal behaviour.
template <typename F>
bool removeCallback(F *table, F callback)
{
    bool found = false;
    for (int i = 0; i < kCallbackSlots; ++i) {
        if (slot(table, i) == callback) {
            setSlot(table, i, F(nullptr));
            found = true;
        }
        if (found && i < kCallbackSlots - 1)
            setSlot(table, i, slot(table, i + 1));
    }
    return found;
}

template <typename F, typename E>
void dispatch(F *table, const E &info)
{
    if (!slot(table, 0))
        return;
    for (int i = kCallbackSlots - 1; i >= 0; --i) {
        const F callback = slot(table, i);
        if (callback && callback(info) == 0)
            return;
    }
}

}  // namespace

// Registers a touch callback; opens the device when none is selected.
int RegisterTouchInfoCallBack(TouchInfoCallBack callback)
{
    if (!callback)
        return PX_ERR_NULL_ARG;
    WriteLog("[RegisterTouchInfoCallBack]", 0);
    if (g_uDevinfo_index == -1) {
        int r = OpenDevice();
        if (r != 0)
            return r;
    }
    int r = addCallback(Touchcallback, callback);
    if (r != 0)
        WriteLog("RegisterTouchInfoCallBack fail", 0);
    return r;
}

// Registers a multi-touch callback; opening stays the caller's step.
int RegisterMultiTouchInfoCallBack(MultiTouchInfoCallBack callback)
{
    if (!callback)
        return PX_ERR_NULL_ARG;
    WriteLog("[RegisterMultiTouchInfoCallBack]", 0);
    int r = addCallback(MultiTouchcallback, callback);
    if (r != 0)
        WriteLog("RegisterMultiTouchInfoCallBack fail", 0);
    return r;
}

// Removes a touch callback; 11 when it was not registered.
int UnregisterTouchInfoCallBack(TouchInfoCallBack callback)
{
    if (!callback)
        return PX_ERR_NULL_ARG;
    WriteLog("[UnregisterTouchInfoCallBack]", 0);
    return removeCallback(Touchcallback, callback) ? 0 : PX_ERR_NOT_REGISTERED;
}

// Removes a multi-touch callback. A null argument is not refused: it
// matches the first empty slot.
int UnregisterMultiTouchInfoCallBack(MultiTouchInfoCallBack callback)
{
    WriteLog("[UnregisterMultiTouchInfoCallBack]", 0);
    if (removeCallback(MultiTouchcallback, callback))
        return 0;
    WriteLog("fail", 0);
    return PX_ERR_NOT_REGISTERED;
}

// Hands a pen or key event to the touch callbacks, newest first.
void disptchEvent(TOUCH_INFO info)
{
    dispatch(Touchcallback, info);
}

// Hands a multi-touch event to the multi-touch callbacks, newest first.
void dispatchMultiEvent(MULTITOUCH_INFO info)
{
    dispatch(MultiTouchcallback, info);
}
