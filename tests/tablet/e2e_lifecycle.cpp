// Life of an open tablet: opening on demand, a second open while the reader
// runs, unplug mid-stroke and a close just after it, close from inside a
// callback.
#include "e2e_support.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <fstream>
#include <random>
#include <string>

#include "../log/private_tmp.h"

namespace {

using namespace e2e;
using emu::Answer;
using emu::Command;

// Address space of the process, KiB.
long vmSizeKiB()
{
    std::ifstream in("/proc/self/status");
    for (std::string line; std::getline(in, line);)
        if (line.rfind("VmSize:", 0) == 0)
            return std::stol(line.substr(7));
    return -1;
}

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

    // Both readers watch exit_flag; the close stops and joins both.
    EXPECT_EQ(bounded(dev, [] { return CloseDevice(); }), 0);
    EXPECT_GE(beh->count(Command::Start), 1);

    // A second open that fails closes the handle the running reader reads
    // (a crash until the reader was stopped first).
    ASSERT_EQ(bounded(dev, [] { return OpenDevice(); }), 0);
    beh->plan(Command::Identity, {Answer::Stall});
    EXPECT_EQ(bounded(dev, [] { return OpenDevice(); }), -10);
    EXPECT_EQ(hDev, nullptr);
    EXPECT_EQ(g_uDevinfo_index, -1);
    EXPECT_FALSE(dev.claimed());
}

// Unplug, in the middle of a stroke and just before a close. The reader
// ends by itself: it clears the row, closes the handle it found gone, and
// GetDeviceStatus then reports no tablet. A CloseDevice at about the same
// moment must neither close that handle a second time (libusb aborts) nor
// leave the reader unjoined (a thread stack per unplug). Even rounds wait
// until the row reads -1, the first of them with a stroke under way; odd
// ones close at a seeded random moment up to 12 ms after the pull (the
// reader polls every 10 ms), so the close lands before, during and after
// the reader's own.
TEST_F(TabletTest, UnplugAndCloseAfterIt)
{
    const std::vector<std::string> readerLines = {"reader_loop:手写设备拔掉", "reader_loop: exit"};
    const int rounds = 24, settled = 4;
    std::mt19937 rng(8);
    for (uint16_t pid : {0x880F, 0x3102}) {
        SCOPED_TRACE(pid);
        const bool isPad = pid == 0x880F;
        std::shared_ptr<emu::TabletBehaviour> beh;
        emu::Device &dev = plug(pid, beh);
        long before = 0;
        for (int round = 0; round < rounds; ++round) {
            SCOPED_TRACE(round);
            if (round == settled)
                before = vmSizeKiB();  // the allocator's thread arenas exist by now
            ASSERT_EQ(bounded(dev, [] { return OpenDevice(); }), 0);
            if (round == 0) {
                ASSERT_EQ(RegisterTouchInfoCallBack(recordTouch), 0);
                std::vector<emu::Bytes> reports;
                for (int i = 0; i < 15; ++i)
                    reports.push_back(emu::encodeSample(pid, {2000 + 10 * i, 3000 + 10 * i, 800}));
                dev.pushPaced(reports, std::chrono::microseconds(2000));  // well inside what the queue absorbs
                dev.waitPacedDone();
                ASSERT_TRUE(recorder().waitTouches(15));
            }
            logtest::takeTrace();
            dev.unplug();
            const bool waited = round % 2 == 0;
            if (waited) {
                ASSERT_TRUE(waitFor([] { return g_uDevinfo_index == -1 && hDev == nullptr; }));
                EXPECT_EQ(GetDeviceStatus(), 1);
            } else {
                usleep(std::uniform_int_distribution<useconds_t>(0, 12000)(rng));
            }
            const int r = CloseDevice();
            EXPECT_EQ(hDev, nullptr);
            EXPECT_EQ(g_uDevinfo_index, -1);
            EXPECT_FALSE(dev.claimed());
            // The reader's two lines come together and before the close's,
            // or not at all when the close stopped the reader first; only
            // then does a pad get (and fail) its start-mode command.
            std::vector<std::string> trace = logtest::takeTrace();
            ASSERT_FALSE(trace.empty());
            EXPECT_EQ(r, trace.front() != readerLines[0] && isPad ? -10 : 0);
            trace.erase(std::remove_if(trace.begin(), trace.end(),
                                       [&](const std::string &l) { return l != readerLines[0] && l != readerLines[1]; }),
                        trace.end());
            if (waited || !trace.empty()) {
                EXPECT_EQ(trace, readerLines);
            }
            if (round == 0) {
                EXPECT_EQ(recorder().takeTouches().size(), 15u);
                UnregisterTouchInfoCallBack(recordTouch);
            }
            if (round + 1 < rounds)
                dev.replug();
        }
        EXPECT_EQ(beh->count(Command::Start), 0);  // never acknowledged: the pad was gone
        // Each reader left unjoined would keep 8 MiB of stack mapped.
        EXPECT_LT(vmSizeKiB() - before, 8192L * (rounds - settled) / 4);
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
        // The reader cannot join itself: the next open or close joins it.
        ASSERT_TRUE(waitFor([&] { return closed != 99; }));
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
