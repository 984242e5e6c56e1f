// Shared pieces of the end-to-end tests: a test bed with one emulated
// tablet, and a recorder of the events that reach a registered callback.
#pragma once

#include <pthread.h>

#include <condition_variable>
#include <cstring>
#include <future>
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

inline int recordTouch(TOUCH_INFO t)
{
    Recorder &r = recorder();
    {
        std::lock_guard<std::mutex> lock(r.m);
        r.touches.push_back(t);
    }
    r.cv.notify_all();
    if (r.onTouch)
        r.onTouch(t);
    return 1;
}

inline int recordMulti(MULTITOUCH_INFO t)
{
    std::lock_guard<std::mutex> lock(recorder().m);
    recorder().multis.push_back(t);  // polled, nobody waits on the condition
    return 1;
}

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
class TabletTest : public Bus {
protected:
    void SetUp() override
    {
        // Default timer slack here: a finer one lets the first reader of a
        // second open take the acknowledgements meant for that open.
        bed = std::make_unique<emu::Testbed>();
        memset(Touchcallback, 0, sizeof Touchcallback);
        memset(MultiTouchcallback, 0, sizeof MultiTouchcallback);
        PXResetDecodeState();
        g_nSerial = 0;
        std::lock_guard<std::mutex> lock(recorder().m);
        recorder().touches.clear();
        recorder().multis.clear();
    }
    void TearDown() override
    {
        CloseDevice();
        memset(Touchcallback, 0, sizeof Touchcallback);
        recorder().onTouch = nullptr;
        Bus::TearDown();
    }
    emu::Device &plug(uint16_t pid, std::shared_ptr<emu::TabletBehaviour> &behaviour, uint16_t inPacketSize = 0)
    {
        behaviour = std::make_shared<emu::TabletBehaviour>(pid);
        emu::DeviceSpec profile = emu::DeviceSpec::tabletPid(pid);
        if (inPacketSize)
            profile.inPacketSize = inPacketSize;
        return bed->add(profile, behaviour);
    }
};

}  // namespace e2e
