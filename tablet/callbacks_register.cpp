// Registration of the event callbacks, on the application thread.
#include "callback_slots.h"
#include "log/writelog.h"
#include "tablet/pxtablet.h"

namespace {

using pxslots::setSlot;
using pxslots::slot;

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
