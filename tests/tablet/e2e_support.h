// Shared pieces of the end-to-end tests: a test bed with one emulated
// tablet, and a recorder of the events that reach a registered callback.
#pragma once

#include <gtest/gtest.h>
#include <pthread.h>

#include <chrono>
#include <condition_variable>
#include <cstring>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "emulator/emulator.h"
#include "emulator/tablet_protocol.h"
#include "tablet/pxtablet.h"

namespace e2e {

// Events seen by the recording callback, in order.
struct Recorder {
    std::mutex m;
    std::condition_variable cv;
    std::vector<TOUCH_INFO> touches;
    std::vector<MULTITOUCH_INFO> multis;
    std::function<void(const TOUCH_INFO &)> onTouch;  // runs on the reader thread

    // Waits (bounded) until pred holds; false on time-out.
    template <typename P>
    bool waitFor(P pred, std::chrono::seconds limit = std::chrono::seconds(10))
    {
        std::unique_lock<std::mutex> lock(m);
        return cv.wait_for(lock, limit, [&] { return pred(); });
    }
    bool waitTouches(size_t n) { return waitFor([&] { return touches.size() >= n; }); }
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
    Recorder &r = recorder();
    {
        std::lock_guard<std::mutex> lock(r.m);
        r.multis.push_back(t);
    }
    r.cv.notify_all();
    return 1;
}

// Polls a condition set by another thread, bounded.
template <typename P>
bool eventually(P pred, std::chrono::seconds limit = std::chrono::seconds(10))
{
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!pred()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

// Runs a call that may loop for as long as the pad keeps accepting commands.
// Bounded: if it has not returned in time, the device is unplugged so that
// the next send fails and the call ends, and the test fails.
inline int bounded(emu::Device &dev, std::function<int()> call, std::chrono::seconds limit = std::chrono::seconds(20))
{
    auto result = std::async(std::launch::async, std::move(call));
    if (result.wait_for(limit) == std::future_status::timeout) {
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
        Recorder &r = recorder();
        std::lock_guard<std::mutex> lock(r.m);
        r.touches.clear();
        r.multis.clear();
        r.onTouch = nullptr;
    }
    void TearDown() override
    {
        CloseDevice();
        memset(Touchcallback, 0, sizeof Touchcallback);
        recorder().onTouch = nullptr;
        bed.reset();
    }
    emu::Device &plug(uint16_t pid, std::shared_ptr<emu::TabletBehaviour> &behaviour,
                      uint16_t inPacketSize = 0)
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
