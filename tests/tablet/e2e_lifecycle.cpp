// Life of an open tablet: opening on demand, a second open while the reader
// runs, unplug in the middle of a stroke, close from inside a callback.
#include "e2e_support.h"

#include <algorithm>
#include <atomic>

namespace {

using namespace e2e;
using emu::Command;

// GetDeviceInfo and RegisterTouchInfoCallBack open the device when none is
// selected.
TEST_F(TabletTest, OpenOnDemand)
{
    DEVICE_INFO info;
    memset(&info, 0xEE, sizeof info);
    EXPECT_EQ(GetDeviceInfo(&info), 1);  // nothing attached
    EXPECT_EQ(RegisterTouchInfoCallBack(recordTouch), 1);

    std::shared_ptr<emu::TabletBehaviour> beh;
    emu::Device &dev = plug(0x8816, beh);
    beh->identity = {0x07, 0xBEEF, 0x12, 0x0A0B};
    ASSERT_EQ(g_uDevinfo_index, -1);
    EXPECT_EQ(bounded(dev, [&] { return GetDeviceInfo(&info); }), 0);
    EXPECT_NE(hDev, nullptr);
    EXPECT_EQ(beh->count(Command::Sign), 1);
    // The record is filled from the row and the identity just read.
    EXPECT_EQ(info.pid, 0x8816);
    const unsigned char serial[11] = {0x02, 0x88, 0x07, 0xEF, 0xBE, 0, 0, 0x12, 0, 0x0B, 0x0A};
    EXPECT_EQ(memcmp(info.serial, serial, 11), 0);
    EXPECT_EQ(bounded(dev, [] { return CloseDevice(); }), 0);

    // Registering opens too, and the callback then gets the pen.
    ASSERT_EQ(bounded(dev, [] { return RegisterTouchInfoCallBack(recordTouch); }), 0);
    EXPECT_NE(hDev, nullptr);
    dev.push(emu::encodeSample(0x8816, {2000, 3000, 512}));
    ASSERT_TRUE(recorder().waitTouches(1));
    EXPECT_EQ(recorder().takeTouches()[0].y, 3000 - 1136);
}

// A second OpenDevice repeats identity and sign mode and starts a second
// reader; events keep flowing. The running reader may take an
// acknowledgement meant for the open (which then asks again) and dispatch it
// as an empty event, so counts are at least, and the pen is looked for.
TEST_F(TabletTest, SecondOpenWhileReaderRuns)
{
    std::shared_ptr<emu::TabletBehaviour> beh;
    emu::Device &dev = plug(0x8420, beh);
    ASSERT_EQ(bounded(dev, [] { return OpenDevice(); }), 0);
    ASSERT_EQ(RegisterTouchInfoCallBack(recordTouch), 0);
    const pthread_t first = ReaderThread_id;
    ASSERT_EQ(bounded(dev, [] { return OpenDevice(); }), 0);
    EXPECT_FALSE(pthread_equal(first, ReaderThread_id));
    EXPECT_GE(beh->count(Command::Identity), 2);
    EXPECT_GE(beh->count(Command::Sign), 2);

    dev.push(emu::encodeSample(0x8420, {1000, 2000, 512}));
    EXPECT_TRUE(waitFor([] {
        std::lock_guard<std::mutex> lock(recorder().m);
        return std::any_of(recorder().touches.begin(), recorder().touches.end(),
                           [](const TOUCH_INFO &t) { return t.x == 1000 && t.y == 2000 - 955 && t.state == 1; });
    }));

    // Both readers watch exit_flag; the first is nobody's to join, so the
    // test stops and reaps it before closing.
    exit_flag = 1;
    pthread_join(first, nullptr);
    EXPECT_EQ(bounded(dev, [] { return CloseDevice(); }), 0);
    EXPECT_GE(beh->count(Command::Start), 1);
}

// Unplug in the middle of a stroke: the reader ends by itself, clears the
// selection and the handle, and GetDeviceStatus then reports no tablet.
TEST_F(TabletTest, UnplugMidStroke)
{
    for (uint16_t pid : {0x3102, 0x880F}) {
        SCOPED_TRACE(pid);
        std::shared_ptr<emu::TabletBehaviour> beh;
        emu::Device &dev = plug(pid, beh);
        ASSERT_EQ(bounded(dev, [] { return OpenDevice(); }), 0);
        ASSERT_EQ(RegisterTouchInfoCallBack(recordTouch), 0);
        std::vector<emu::Bytes> reports;
        for (int i = 0; i < 15; ++i)
            reports.push_back(emu::encodeSample(pid, {2000 + 10 * i, 3000 + 10 * i, 800}));
        dev.pushPaced(reports, std::chrono::microseconds(2000));  // well inside what the queue absorbs
        dev.waitPacedDone();
        ASSERT_TRUE(recorder().waitTouches(15));
        dev.unplug();
        ASSERT_TRUE(waitFor([] { return g_uDevinfo_index == -1 && hDev == nullptr; }));
        pthread_join(ReaderThread_id, nullptr);  // ended by itself; reap it
        EXPECT_EQ(recorder().takeTouches().size(), 15u);
        EXPECT_EQ(GetDeviceStatus(), 1);
        EXPECT_EQ(CloseDevice(), 0);
        EXPECT_EQ(beh->count(Command::Start), 0);
        UnregisterTouchInfoCallBack(recordTouch);
    }
}

// The application closes the device from its callback on the OK key, on the
// reader thread: start mode is still sent and the reader then ends.
TEST_F(TabletTest, CloseFromCallbackOnReaderThread)
{
    for (uint16_t pid : {0x8421, 0x8807}) {
        SCOPED_TRACE(pid);
        std::shared_ptr<emu::TabletBehaviour> beh;
        emu::Device &dev = plug(pid, beh);
        ASSERT_EQ(bounded(dev, [] { return OpenDevice(); }), 0);
        std::atomic<int> closed{99};
        std::atomic<bool> onReader{false};
        const pthread_t reader = ReaderThread_id;
        recorder().onTouch = [&](const TOUCH_INFO &t) {
            if (t.key == 32) {
                onReader = pthread_equal(pthread_self(), reader);
                closed = CloseDevice();
            }
        };
        ASSERT_EQ(RegisterTouchInfoCallBack(recordTouch), 0);
        for (const auto &r : emu::encodeKey(pid, emu::PadKey::Ok))
            dev.push(r);
        ASSERT_TRUE(waitFor([&] { return closed != 99; }));
        pthread_join(reader, nullptr);  // the loop has seen exit_flag and ended
        EXPECT_TRUE(onReader);
        EXPECT_EQ(closed, 0);
        EXPECT_EQ(beh->count(Command::Start), 1);
        EXPECT_EQ(hDev, nullptr);
        EXPECT_EQ(g_uDevinfo_index, -1);
        EXPECT_FALSE(dev.claimed());
        recorder().onTouch = nullptr;
        UnregisterTouchInfoCallBack(recordTouch);
        dev.unplug();
    }
}

}  // namespace
