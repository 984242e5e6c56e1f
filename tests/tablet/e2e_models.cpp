// Every catalogue model end to end through real libusb against the emulator:
// open with its identity read and mode command, one stroke of many samples
// delivered to a registered callback, the pads' keys, and close.
//
// The expected events are computed here from the layout and pressure rules
// of each family (not by running the decoder): display tablets scale raw
// pressure by 1/2048 and the pen scale 0.6 and touch from raw 43 with a 0.1
// floor on contact; pads scale by 1/1024 and 0.6, touch from raw 44, clip Y
// to the pad's window and floor every sample at 0.1.
#include "e2e_support.h"

#include <tuple>

namespace {

using namespace e2e;
using emu::Command;

struct Model {
    const char *name;
    uint16_t pid;
    int reportLen;
    bool pad;
    bool identity;      // reads an identity block at open
    bool scrambled;     // the block comes scrambled (display: our choice)
};

const Model kModels[] = {
    {"KV-A1", 0x3101, 20, false, true, false}, {"KV-A2", 0x3102, 10, false, true, true},
    {"KV-A3", 0x3103, 10, false, true, false}, {"KV-A4", 0x3105, 10, false, true, true},
    {"KV-A5", 0x3106, 20, false, true, true},  {"KV-B1", 0x9010, 10, false, true, false},
    {"KV-B2", 0x8811, 10, false, true, true},  {"KV-B3", 0x8824, 10, false, true, false},
    {"KV-B4", 0x880C, 10, false, true, true},  {"KV-B5", 0x8826, 10, false, true, false},
    {"KV-B6", 0x8534, 10, false, false, false}, {"KV-C1", 0x8420, 8, true, true, false},
    {"KV-C2", 0x8421, 8, true, true, false},   {"KV-C3", 0x8816, 8, true, true, false},
    {"KV-C4", 0x880F, 64, true, true, true},   {"KV-C5", 0x8807, 64, true, true, true},
};

// The stroke every model plays: a diagonal with rising pressure, and a few
// samples on the edges of the rules (hover, thresholds 42..44, outside the
// pads' Y windows, the 64-byte pads' X edge).
emu::Stroke theStroke()
{
    emu::Stroke s;
    s.interval = std::chrono::microseconds(2000);  // well inside what the 32-report queue absorbs while the reader sleeps 10 ms
    s.samples = {{1500, 2000, 0}, {1510, 2010, 20}, {1520, 2020, 42}, {1530, 2030, 43}, {1540, 2040, 44},
                 {1550, 900, 700}, {1560, 6000, 700}, {10206, 3000, 900}};
    for (int i = 0; i < 40; ++i)
        s.samples.push_back({2000 + 50 * i, 1300 + 90 * i, 60 + 49 * i});
    return s;
}

// The 8-byte pads' Y window: floor and ceiling (height = ceiling - floor).
std::pair<int, int> windowOf(uint16_t pid)
{
    return pid == 0x8420 ? std::make_pair(955, 7237) : pid == 0x8421 ? std::make_pair(624, 5616) : std::make_pair(1136, 5311);
}

float padFloor(float p)
{
    return p * 0.6f < 0.1 ? 0.1f : p * 0.6f;
}

std::vector<TOUCH_INFO> expectedStroke(const Model &m, const emu::Stroke &s)
{
    std::vector<TOUCH_INFO> out;
    if (!m.pad) {
        for (const auto &p : s.samples) {
            const float scaled = p.pressure / 2048.0f * 0.6f;
            out.push_back({p.x, p.y, p.pressure > 42 && scaled < 0.1 ? 0.1f : scaled, p.pressure > 42, 0});
        }
        if (s.samples.back().pressure > 0)
            out.push_back({s.samples.back().x, s.samples.back().y, 0.0f, 0, 0});
        return out;
    }
    if (m.reportLen == 64) {
        for (const auto &p : s.samples) {
            const bool outside = p.x == 10206 || p.y > 6493;
            out.push_back({p.x, p.y, padFloor(outside ? 0.0f : p.pressure / 1024.0f), !outside && p.pressure > 43, 0});
        }
        out.push_back({s.samples.back().x, s.samples.back().y, 0.0f, 0, 0});  // pen away
        out.push_back({0, 0, 0.0f, 0, 0});                                    // out of range
        return out;
    }
    const auto [floor, ceiling] = windowOf(m.pid);
    for (const auto &p : s.samples) {
        const bool inside = p.y > floor && p.y < ceiling;
        const int y = inside ? p.y - floor : p.y <= floor ? 0 : ceiling - floor, raw = inside ? p.pressure : 0;
        // Hover samples (no pressure) go out with status A0: pressure 0.
        const bool hover = p.pressure == 0;
        out.push_back({p.x, y, padFloor(hover ? 0.0f : raw / 1024.0f), !hover && raw > 43, 0});
    }
    // The lift closes the stroke at the last position after contact.
    const TOUCH_INFO last = out.back();
    out.push_back(last.state == 1 ? TOUCH_INFO{last.x, last.y, 0.0f, 0, 0} : last);
    return out;
}

void expectSame(const std::vector<TOUCH_INFO> &got, const std::vector<TOUCH_INFO> &want)
{
    ASSERT_EQ(got.size(), want.size());
    for (size_t i = 0; i < want.size(); ++i) {
        const TOUCH_INFO &g = got[i], &w = want[i];
        EXPECT_EQ(std::make_tuple(g.x, g.y, g.state, g.key), std::make_tuple(w.x, w.y, w.state, w.key)) << i;
        EXPECT_FLOAT_EQ(g.pressure, w.pressure) << i;
    }
}

class EveryModel : public TabletTest, public ::testing::WithParamInterface<Model> {};

TEST_P(EveryModel, OpensStreamsAndCloses)
{
    const Model m = GetParam();
    std::shared_ptr<emu::TabletBehaviour> beh;
    emu::Device &dev = plug(m.pid, beh);
    beh->identity = {0x21, 0x561234, 0x45, 0x0302};
    beh->scrambledCustomId = m.scrambled;

    ASSERT_EQ(bounded(dev, [] { return OpenDevice(); }), 0);
    ASSERT_NE(hDev, nullptr);
    EXPECT_EQ(Dev_info_px[g_uDevinfo_index].pid, m.pid);
    ASSERT_EQ(RegisterTouchInfoCallBack(recordTouch), 0);

    // Identity: category 21, pid 34 12 (+56 scrambled), industry 45, number 02 03; none on KV-B6.
    const unsigned char id[11] = {0x02, 0x88, 0x21, 0x34, 0x12, 0, 0, 0x45, 0, 0x02, 0x03};
    std::vector<unsigned char> wantId(id, id + (m.identity ? 11 : 0));
    if (m.identity && m.scrambled)
        wantId[5] = 0x56;
    EXPECT_EQ(std::vector<unsigned char>(g_bSerial, g_bSerial + g_nSerial), wantId);
    if (!m.identity) {
        EXPECT_EQ(beh->count(Command::CustomIdAck) + beh->count(Command::Identity), 0);
    }
    EXPECT_EQ(beh->count(Command::Sign), m.pad ? 1 : 0);

    const emu::Stroke stroke = theStroke();
    const std::vector<TOUCH_INFO> want = expectedStroke(m, stroke);
    dev.pushPaced(emu::encodeStroke(m.pid, stroke), stroke.interval);
    dev.waitPacedDone();
    ASSERT_TRUE(recorder().waitTouches(want.size())) << recorder().touches.size();
    expectSame(recorder().takeTouches(), want);

    if (m.pad) {
        // Re-sign, then OK; the 64-byte pads' first OK report repeats the
        // previous event.
        std::vector<TOUCH_INFO> keys = {{0, 0, 0.0f, 0, 16}};
        if (m.reportLen == 64)
            keys.push_back(keys.back());
        keys.push_back({0, 0, 0.0f, 0, 32});
        for (auto k : {emu::PadKey::Resign, emu::PadKey::Ok})
            for (const auto &r : emu::encodeKey(m.pid, k))
                dev.push(r);
        ASSERT_TRUE(recorder().waitTouches(keys.size()));
        expectSame(recorder().takeTouches(), keys);
    }

    EXPECT_EQ(UnregisterTouchInfoCallBack(recordTouch), 0);
    EXPECT_EQ(bounded(dev, [] { return CloseDevice(); }), 0);
    EXPECT_EQ(hDev, nullptr);
    EXPECT_EQ(g_uDevinfo_index, -1);
    EXPECT_EQ(beh->count(Command::Start), m.pad ? 1 : 0);
    EXPECT_FALSE(dev.claimed());
}

INSTANTIATE_TEST_SUITE_P(Catalogue, EveryModel, ::testing::ValuesIn(kModels),
                         [](const auto &info) {
                             std::string n = info.param.name;
                             n.erase(std::remove(n.begin(), n.end(), '-'), n.end());
                             return n;
                         });

// Multi-touch frames arrive in two parts; the reader reads the second part
// without waiting, so a frame whose tail is late is dropped. The frame is
// repeated until one arrives (bounded); its content is exact.
TEST_F(TabletTest, MultiTouchFramesInTwoParts)
{
    for (uint16_t pid : {0x3101, 0x3102}) {
        SCOPED_TRACE(pid);
        std::shared_ptr<emu::TabletBehaviour> beh;
        emu::Device &dev = plug(pid, beh, 64);
        ASSERT_EQ(OpenDevice(), 0);
        ASSERT_EQ(RegisterMultiTouchInfoCallBack(recordMulti), 0);
        // 8191*56296/16383 = 28146.3 -> 28146; 4000*31667/9599 = 13195.96 -> 13195
        const auto frame = emu::encodeMultiTouch(pid, {{true, 8191, 4000}, {false, 0, 0}, {true, 0, 9599}});
        ASSERT_TRUE(waitFor([&] {
            for (const auto &part : frame)
                dev.push(part);
            std::this_thread::sleep_for(std::chrono::milliseconds(2));  // one frame at a time
            std::lock_guard<std::mutex> lock(recorder().m);
            return !recorder().multis.empty();
        }));
        // Under the lock: frames still pushed may grow the list meanwhile.
        const MULTITOUCH_INFO mt = [] {
            std::lock_guard<std::mutex> lock(recorder().m);
            return recorder().multis.front();
        }();
        // 9599*31667 rounds down in single precision: 31666
        EXPECT_EQ(std::make_tuple(mt.count, mt.points[0].x, mt.points[0].y, mt.points[1].x, mt.points[1].y, mt.points[1].state),
                  std::make_tuple(2, 28146, 13195, 0, 31666, 0x80));
        EXPECT_EQ(UnregisterMultiTouchInfoCallBack(recordMulti), 0);
        EXPECT_EQ(CloseDevice(), 0);
        dev.unplug();
        recorder().multis.clear();
    }
}

}  // namespace
