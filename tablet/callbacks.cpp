// The two callback tables and their dispatch. Callbacks run on the reader
// thread; registration (callbacks_register.cpp) runs on the application
// thread with no lock, as a single pointer store per slot. The tables stay
// plain arrays for the callers that fill them directly.
#include "callback_slots.h"
#include "tablet/pxtablet.h"

TouchInfoCallBack Touchcallback[kCallbackSlots] = {};
MultiTouchInfoCallBack MultiTouchcallback[kCallbackSlots] = {};

namespace {

using pxslots::slot;

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
