// Shared pieces of the end-to-end tests: a test bed with one emulated
// tablet, and a recorder of the events that reach a registered callback.
#pragma once

#include <pthread.h>

#include <condition_variable>
#include <cstring>
#include <future>
#include <type_traits>
#include <mutex>
#include <utility>
#include <vector>

#include "emulator/tablet_protocol.h"
#include "tablet/pxtablet.h"
#include "transport_fixture.h"

namespace e2e {

// Events seen by the recording callbacks, in order.
struct Recorder {
    std::mutex m;
    std::condition_variable cv;
    std::vector<TOUCH_INFO> touches;
    std::vector<MULTITOUCH_INFO> multis;
    std::function<void(const TOUCH_INFO &)> onTouch;  // runs on the reader thread

    // Waits (bounded) until n touches have arrived.
    bool waitTouches(size_t n)
    {
        std::unique_lock<std::mutex> lock(m);
        return cv.wait_for(lock, std::chrono::seconds(10), [&] { return touches.size() >= n; });
    }
    std::vector<TOUCH_INFO> takeTouches()
    {
        std::lock_guard<std::mutex> lock(m);
        return std::exchange(touches, {});
    }
};

inline Recorder &recorder()
{
    static Recorder r;
    return r;
}

template <typename Event>
int record(Event e)
{
    Recorder &r = recorder();
    {
        std::lock_guard<std::mutex> lock(r.m);
        if constexpr (std::is_same_v<Event, TOUCH_INFO>)
            r.touches.push_back(e);
        else
            r.multis.push_back(e);
    }
    r.cv.notify_all();
    if constexpr (std::is_same_v<Event, TOUCH_INFO>)
        if (r.onTouch)
            r.onTouch(e);
    return 1;
}
inline int recordTouch(TOUCH_INFO t) { return record(t); }
inline int recordMulti(MULTITOUCH_INFO t) { return record(t); }

// Runs a call that may loop for as long as the pad keeps accepting commands.
// Bounded: if it has not returned in time, the device is unplugged so that
// the next send fails and the call ends, and the test fails.
inline int bounded(emu::Device &dev, std::function<int()> call)
{
    auto result = std::async(std::launch::async, std::move(call));
    if (result.wait_for(std::chrono::seconds(20)) == std::future_status::timeout) {
        ADD_FAILURE() << "call did not end in time; unplugging";
        dev.unplug();
    }
    return result.get();
}

// A fresh test bed and tablet layer state for each test; the layer is closed
// (and libusb released) before the test bed goes.
class TabletTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        bed = std::make_unique<emu::Testbed>();
        memset(Touchcallback, 0, sizeof Touchcallback);
        memset(MultiTouchcallback, 0, sizeof MultiTouchcallback);
        PXResetDecodeState();
        g_nSerial = 0;
        memset(g_bSerial, 0, sizeof g_bSerial);
        std::lock_guard<std::mutex> lock(recorder().m);
        recorder().touches.clear();
        recorder().multis.clear();
    }
    void TearDown() override
    {
        CloseDevice();
        memset(Touchcallback, 0, sizeof Touchcallback);
        recorder().onTouch = nullptr;
        bed.reset();
    }
    emu::Device &plug(uint16_t pid, std::shared_ptr<emu::TabletBehaviour> &behaviour, uint16_t inPacketSize = 0)
    {
        behaviour = std::make_shared<emu::TabletBehaviour>(pid);
        emu::DeviceSpec profile = emu::DeviceSpec::tabletPid(pid);
        if (inPacketSize)
            profile.inPacketSize = inPacketSize;
        return bed->add(profile, behaviour);
    }
    std::unique_ptr<emu::Testbed> bed;
};

}  // namespace e2e
