// A signature recorded from an emulated tablet through the tablet layer and
// played into a fresh one gives the program the same events, for every
// report layout; and the events that replay --decode lists are the ones the
// real reader dispatched.
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <thread>

#include "emulator/tablet_protocol.h"
#include "recording/hidrec.h"
#include "recording/player.h"
#include "tablet/deviceRead.h"
#include "tablet/pxtablet.h"

namespace {

using Clock = std::chrono::steady_clock;

struct Seen {
    std::mutex m;
    std::condition_variable cv;
    std::vector<TOUCH_INFO> touches;
    std::vector<std::vector<uint8_t>> reports;
    std::vector<uint64_t> usec;
    std::atomic<bool> armed{false};
    Clock::time_point t0;
} g_seen;

int onTouch(TOUCH_INFO t)
{
    {
        std::lock_guard<std::mutex> lock(g_seen.m);
        g_seen.touches.push_back(t);
    }
    g_seen.cv.notify_all();
    return 1;
}

void onArrival(const unsigned char *data, size_t length, void *)
{
    if (!g_seen.armed)
        return;
    std::lock_guard<std::mutex> lock(g_seen.m);
    if (g_seen.reports.empty())
        g_seen.t0 = Clock::now();
    g_seen.usec.push_back(
        uint64_t(std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - g_seen.t0).count()));
    g_seen.reports.emplace_back(data, data + length);
    g_seen.cv.notify_all();
}

std::vector<TOUCH_INFO> waitTouches(size_t n)
{
    std::unique_lock<std::mutex> lock(g_seen.m);
    g_seen.cv.wait_for(lock, std::chrono::seconds(10), [&] { return g_seen.touches.size() >= n; });
    // Anything beyond n would come within a poll of the reader.
    g_seen.cv.wait_for(lock, std::chrono::milliseconds(60), [&] { return g_seen.touches.size() > n; });
    return g_seen.touches;
}

void freshLayer()
{
    std::memset(Touchcallback, 0, sizeof Touchcallback);
    std::memset(MultiTouchcallback, 0, sizeof MultiTouchcallback);
    PXResetDecodeState();
    std::lock_guard<std::mutex> lock(g_seen.m);
    g_seen.touches.clear();
    g_seen.reports.clear();
    g_seen.usec.clear();
}

std::vector<TOUCH_INFO> decodedTouches(uint16_t pid, const std::vector<hidrec::Event> &events)
{
    hidrec::Decoder decoder(pid);
    std::vector<hidrec::Decoded> out;
    for (const hidrec::Event &e : events)
        decoder.feed(e.usec, e.bytes.data(), e.bytes.size(), &out);
    std::vector<TOUCH_INFO> touches;
    for (const hidrec::Decoded &d : out)
        touches.push_back(d.touch);
    return touches;
}

void expectSame(const std::vector<TOUCH_INFO> &a, const std::vector<TOUCH_INFO> &b, const char *what)
{
    ASSERT_EQ(a.size(), b.size()) << what;
    for (size_t i = 0; i < a.size(); ++i) {
        EXPECT_TRUE(a[i].x == b[i].x && a[i].y == b[i].y && a[i].pressure == b[i].pressure &&
                    a[i].state == b[i].state && a[i].key == b[i].key)
            << what << ", event " << i << ": " << hidrec::formatTouch(a[i]) << " vs " << hidrec::formatTouch(b[i]);
    }
}

// A short signature: a diagonal with pressure rising from nothing through
// the contact thresholds, inside every model's writing window.
emu::Stroke signature()
{
    emu::Stroke s;
    s.interval = std::chrono::microseconds(2000);
    for (int i = 0; i < 24; ++i)
        s.samples.push_back({1000 + 150 * i, 1500 + 100 * i, i * 40});
    return s;
}

struct Layout {
    const char *name;
    uint16_t pid;
    bool pad;
};

// One model of each report layout.
const Layout kLayouts[] = {
    {"8-byte pad", 0x8420, true},
    {"8-byte pad, swapped words", 0x8421, true},
    {"64-byte pad", 0x880F, true},
    {"display, wide 20 bytes", 0x3101, false},
    {"display, short, high pressure bit", 0x3102, false},
    {"display, short, low pressure bit", 0x8826, false},
};

TEST(RecordingRoundTrip, EveryLayoutReplaysToTheSameEvents)
{
    // SP_RECORDING_DIR keeps the recordings there (to check them with
    // hid-tools); otherwise they go with the test.
    char temp[] = "/tmp/recording-rt.XXXXXX";
    const char *keep = std::getenv("SP_RECORDING_DIR");
    const std::string dir = keep ? keep : mkdtemp(temp);
    hid_set_input_tap(onArrival, nullptr);
    for (const Layout &layout : kLayouts) {
        SCOPED_TRACE(layout.name);
        char name[32];
        std::snprintf(name, sizeof name, "/%04x.hid", layout.pid);
        const std::string file = dir + name;
        std::vector<emu::Bytes> script = emu::encodeStroke(layout.pid, signature());
        if (layout.pad) {
            // The keys after signing; the OK key's first report on a 64-byte
            // pad, like a second lift on an 8-byte one, repeats the last event.
            for (emu::PadKey key : {emu::PadKey::Resign, emu::PadKey::Ok})
                for (const emu::Bytes &r : emu::encodeKey(layout.pid, key))
                    script.push_back(r);
            script.push_back(emu::encodeStroke(layout.pid, emu::Stroke{}).back());
        }
        std::vector<TOUCH_INFO> original;
        {
            // The tablet signed on: its events as the program gets them, and
            // its reports recorded as they arrive.
            freshLayer();
            emu::Testbed bed;
            emu::Device &dev = bed.add(emu::DeviceSpec::tabletPid(layout.pid),
                                       std::make_shared<emu::TabletBehaviour>(layout.pid));
            ASSERT_EQ(OpenDevice(), 0);
            Touchcallback[0] = onTouch;
            unsigned char desc[4096];
            const int descLen = hid_get_report_descriptor(hDev, desc, sizeof desc);
            ASSERT_GT(descLen, 0);
            g_seen.armed = true;
            dev.pushPaced(script, std::chrono::microseconds(2000));
            dev.waitPacedDone();
            {
                std::unique_lock<std::mutex> lock(g_seen.m);
                g_seen.cv.wait_for(lock, std::chrono::seconds(10),
                                   [&] { return g_seen.reports.size() >= script.size(); });
            }

            hidrec::Header header;
            header.name = "Tavrel Technologh";
            header.pid = layout.pid;
            header.descriptor.assign(desc, desc + descLen);
            std::vector<hidrec::Event> recorded;
            {
                std::lock_guard<std::mutex> lock(g_seen.m);
                for (size_t i = 0; i < g_seen.reports.size(); ++i)
                    recorded.push_back({g_seen.usec[i], g_seen.reports[i], 0});
            }
            ASSERT_EQ(recorded.size(), script.size());
            {
                // The reader dispatches what arrived within a poll or two:
                // taken once it has been quiet for 300 ms.
                std::unique_lock<std::mutex> lock(g_seen.m);
                size_t last = SIZE_MAX;
                while (g_seen.touches.size() != last) {
                    last = g_seen.touches.size();
                    g_seen.cv.wait_for(lock, std::chrono::milliseconds(300),
                                       [&] { return g_seen.touches.size() != last; });
                }
                original = g_seen.touches;
            }
            g_seen.armed = false;
            CloseDevice();
            // What replay --decode lists is what the reader dispatched. The
            // decoder borrows the tablet layer's state, so it runs only once
            // the reader has stopped.
            const std::vector<TOUCH_INFO> expected = decodedTouches(layout.pid, recorded);
            ASSERT_FALSE(expected.empty());
            expectSame(expected, original, "decoded file vs reader");

            hidrec::Writer w;
            std::string error;
            ASSERT_TRUE(w.open(file, header, &error)) << error;
            for (const hidrec::Event &e : recorded)
                ASSERT_TRUE(w.add(e.usec, e.bytes.data(), e.bytes.size(),
                                  hidrec::describe(layout.pid, e.bytes.data(), e.bytes.size()), &error));
            ASSERT_TRUE(w.finish(&error)) << error;
        }
        {
            // The recording played into a fresh tablet of the model.
            freshLayer();
            hidrec::Header header;
            std::vector<hidrec::Event> events;
            hidrec::Error readError;
            ASSERT_TRUE(hidrec::readFile(file, &header, &events, &readError)) << readError.message();
            std::string warning;
            const emu::DeviceSpec devSpec = hidrec::replaySpec(header, events, &warning);
            EXPECT_EQ(warning, "");
            emu::Testbed bed;
            emu::Device &dev = bed.add(devSpec, std::make_shared<emu::TabletBehaviour>(layout.pid));
            ASSERT_EQ(OpenDevice(), 0);
            Touchcallback[0] = onTouch;
            std::atomic<int> done{-1};
            hidrec::Player player(dev, events, 1.0, [&](bool complete) { done = complete; });
            player.start(std::chrono::microseconds(0));
            const std::vector<TOUCH_INFO> replayed = waitTouches(original.size());
            player.stop();
            CloseDevice();
            EXPECT_EQ(done, 1);
            expectSame(original, replayed, "original vs replay");
        }
    }
    hid_set_input_tap(nullptr, nullptr);
    if (!keep)
        std::system(("rm -rf " + dir).c_str());
}

}  // namespace
