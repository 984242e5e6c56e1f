// Per-report decoding fed bytes without USB: the rules the end-to-end stroke
// does not reach (status variants, odd pids and lengths, latches, drops,
// multi-touch packing). Expected values are worked by hand from the layouts
// and pressure rules; the arithmetic is in the comments.
#include <gtest/gtest.h>

#include <cstring>
#include <tuple>
#include <vector>

#include "tablet/pxtablet.h"

namespace {

using Bytes = std::vector<unsigned char>;
const TOUCH_INFO kUntouched = {-7, -7, -7.0f, -7, -7};

PXDecodeState decodeState()
{
    PXDecodeState s;
    PXGetDecodeState(&s);
    return s;
}

TOUCH_INFO pad(Bytes r, unsigned short pid, int len = -1)
{
    TOUCH_INFO out = kUntouched;
    Analize_TabletPacket(r.data(), len < 0 ? int(r.size()) : len, pid, &out);
    return out;
}

void expectTouch(const TOUCH_INFO &t, TOUCH_INFO want)
{
    EXPECT_EQ(std::make_tuple(t.x, t.y, t.state, t.key), std::make_tuple(want.x, want.y, want.state, want.key));
    EXPECT_FLOAT_EQ(t.pressure, want.pressure);
}

Bytes pad8(uint8_t status, int a, int b, int raw)
{
    return {0x02, status, uint8_t(a), uint8_t(a >> 8), uint8_t(b), uint8_t(b >> 8), uint8_t(raw), uint8_t(raw >> 8)};
}

Bytes pad64(uint8_t kind, int x = 0, int y = 0, int raw = 0)
{
    Bytes r(64, 0);
    r[0] = 0x01;
    r[1] = kind;
    r[2] = uint8_t(x >> 7), r[3] = x & 0x7F, r[4] = uint8_t(y >> 7), r[5] = y & 0x7F;
    r[6] = uint8_t(raw >> 7), r[7] = raw & 0x7F;
    return r;
}

TEST(DecodePad, SampleRules)
{
    struct Case {
        const char *what;
        unsigned short pid;
        Bytes report;
        TOUCH_INFO want;
    } cases[] = {
        // X = word B 2000; Y = 6240 - 1000 = 5240, minus floor 624 = 4616; 512/1024*0.6 = 0.3
        {"C2 swap and reflect", 0x8421, pad8(0xA1, 1000, 2000, 512), {2000, 4616, 0.3f, 1, 0}},
        // Y at the floor: 0 and raw 0, floored to 0.1; at the ceiling: the height 6282
        {"C1 Y at floor", 0x8420, pad8(0xA1, 100, 955, 900), {100, 0, 0.1f, 0, 0}},
        {"C1 Y at ceiling", 0x8420, pad8(0xA1, 100, 7237, 900), {100, 6282, 0.1f, 0, 0}},
        // A0: pressure 0 whatever raw says; B1: pressure kept (1024/1024*0.6), no contact
        {"A0 with raw", 0x8816, pad8(0xA0, 300, 2000, 800), {300, 864, 0.1f, 0, 0}},
        {"B1 side", 0x8816, pad8(0xB1, 300, 2000, 1024), {300, 864, 0.6f, 0, 0}},
        // unknown pid: window of zeros, so Y goes to the "ceiling" 0 with raw 0
        {"unknown pid", 0x1234, pad8(0xA1, 10, 500, 900), {10, 0, 0.1f, 0, 0}},
        // 64-byte: byte 7 unmasked, 0x00 0xFF is raw 255: 255/1024*0.6 = 0.1494140625
        {"64 raw 255", 0x8807, [] { Bytes r = pad64(1, 100, 100); r[7] = 0xFF; return r; }(),
         {100, 100, 0.1494140625f, 1, 0}},
        {"64 Y 6493 inside", 0x8807, pad64(1, 100, 6493, 1024), {100, 6493, 0.6f, 1, 0}},
        // key-area reports that are acknowledgements, not keys: an all-zero event
        {"C1 byte 0 not 2", 0x8420, {0x03, 0x55, 0xFF, 0xFF, 0xFF, 0xFF, 0x00, 0xFF}, {0, 0, 0.0f, 0, 0}},
        {"C3 sign ack", 0x8816, {0x02, 0x03, 0x00, 0, 0, 0, 0, 0x05}, {0, 0, 0.0f, 0, 0}},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        PXResetDecodeState();
        expectTouch(pad(c.report, c.pid), c.want);
        EXPECT_EQ(decodeState().cashedKey, c.want.state);
    }
}

TEST(DecodePad, LatchesAndLifts)
{
    // An 8-byte lift without contact leaves the record; after a key ends contact too.
    PXResetDecodeState();
    expectTouch(pad(pad8(0xE0, 0, 0, 0), 0x8421), kUntouched);
    pad(pad8(0xA1, 1000, 2000, 512), 0x8421);
    pad({0x02, 0x03, 0x11, 0, 0, 0, 0, 0}, 0x8421);
    expectTouch(pad(pad8(0xE0, 0, 0, 0), 0x8421), kUntouched);

    // 64-byte pen away keeps the pen entered; out of range (all zero) clears it.
    PXResetDecodeState();
    pad(pad64(1, 1000, 2000, 700), 0x8807);
    expectTouch(pad(pad64(0, 1000, 2000), 0x8807), {1000, 2000, 0.0f, 0, 0});
    EXPECT_EQ(decodeState().penEnter, 1);
    pad(pad64(0), 0x8807);
    EXPECT_EQ(decodeState().penEnter, 0);

    // The OK latch: the first report leaves the record, the second is the key;
    // a mode acknowledgement (9 or 12) in between restarts it.
    Bytes ok = pad64(2);
    ok[2] = 3;
    for (uint8_t ack : {9, 12}) {
        SCOPED_TRACE(int(ack));
        PXResetDecodeState();
        expectTouch(pad(ok, 0x8807), kUntouched);
        expectTouch(pad(pad64(ack), 0x8807), {0, 0, 0.0f, 0, 0});
        expectTouch(pad(ok, 0x8807), kUntouched);
        expectTouch(pad(ok, 0x8807), {0, 0, 0.0f, 0, 32});
    }

    // Lengths other than 8 and 64 give the all-zero record.
    for (int len : {0, 7, 10, 63})
        expectTouch(pad(Bytes(64, 0xA1), 0x8420, len), {0, 0, 0.0f, 0, 0});
}

// ---- display tablets ------------------------------------------------------

std::vector<TOUCH_INFO> g_events;
std::vector<MULTITOUCH_INFO> g_multi;

class DecodeDisplay : public ::testing::Test {
protected:
    void SetUp() override
    {
        PXResetDecodeState();
        memset(Touchcallback, 0, sizeof Touchcallback);
        memset(MultiTouchcallback, 0, sizeof MultiTouchcallback);
        Touchcallback[0] = [](TOUCH_INFO t) { g_events.push_back(t); return 1; };
        MultiTouchcallback[0] = [](MULTITOUCH_INFO m) { g_multi.push_back(m); return 1; };
        g_events.clear();
        g_multi.clear();
    }
    void feed(Bytes r, int reportLen = 10, int devType = 6)
    {
        r.resize(64, 0);
        PXHandleDisplayReport(r.data(), reportLen, devType, &touch);
    }
    TOUCH_INFO touch = {};
};

// Short-high sample at (100, 200), raw (0x7D << 2) = 500.
const Bytes kSample = {2, 0xA0, 0, 100, 0, 200, 0x7D, 0, 0, 0};
const Bytes kLeave = {2, 0x80, 0, 0, 0, 0, 0, 0, 0, 0};

TEST_F(DecodeDisplay, DropsAndLeaves)
{
    feed(kSample);
    ASSERT_EQ(g_events.size(), 1u);
    Bytes c2 = kSample;
    c2[1] = 0xC2;
    c2[3] = 50;
    feed(c2);                                           // status C2
    feed({2, 0xA1, 0, 0, 0, 0, 0xFF, 0xC0, 0, 0});      // coordinates all zero
    feed({3, 0xA1, 1, 2, 3, 4, 5, 6, 7, 8});            // unknown report id
    // X 0x900 with pressure, yet bytes 2..5 are zero: dropped in the wide layout too
    feed({2, 0, 0, 0, 0, 0, 9, 0, 0, 0x40}, 20);
    EXPECT_EQ(g_events.size(), 1u);
    EXPECT_EQ(decodeState().cachedPoint.x, 100);
    EXPECT_EQ(decodeState().cachedpressure, 500);

    feed(kLeave);
    feed(kLeave);  // already closed: nothing
    ASSERT_EQ(g_events.size(), 2u);
    expectTouch(g_events[1], {100, 200, 0.0f, 0, 0});

    // A last sample without pressure closes nothing; 42 is no contact but keeps
    // its pressure (42/2048*0.6), and closes.
    feed({2, 0xA0, 0, 1, 0, 2, 0, 0, 0, 0});
    feed(kLeave);
    feed({2, 0xA0, 0, 1, 0, 2, 10, 0x80, 0, 0});
    feed(kLeave);
    ASSERT_EQ(g_events.size(), 5u);
    expectTouch(g_events[3], {1, 2, 42 * 0.6f / 2048, 0, 0});
    expectTouch(g_events[4], {1, 2, 0.0f, 0, 0});
}

Bytes frame(uint8_t b1, const std::vector<std::pair<int, int>> &fingers, int empty = -1)
{
    Bytes r(52, 0);
    r[0] = 14;
    r[1] = b1;
    for (size_t i = 0; i < fingers.size(); ++i) {
        if (int(i) == empty)
            continue;
        uint8_t *rec = &r[2 + 5 * i];
        rec[0] = uint8_t(0x80 | (fingers[i].first >> 8));
        rec[1] = uint8_t(fingers[i].first);
        rec[2] = uint8_t(fingers[i].second >> 8);
        rec[3] = uint8_t(fingers[i].second);
    }
    return r;
}

TEST_F(DecodeDisplay, MultiTouch)
{
    // Five records, the third empty: four fingers packed from element 0.
    // Single precision, multiplying first:
    //  16383*56296 = 922297368 -> float 922297344, /16383 = 56295.9985 -> 56296.0
    //  9599*31667 = 303971533 -> float 303971520, /9599 = 31666.998 -> 31666 (double: 31667)
    //  1000*56296/16383 = 3436.2 -> 3436; 2000*31667/9599 = 6597.98 -> 6597; 1 -> 3, 3
    feed(frame(1, {{16383, 9599}, {0, 0}, {5, 5}, {1000, 2000}, {1, 1}}, 2));
    ASSERT_EQ(g_multi.size(), 1u);
    EXPECT_EQ(g_multi[0].count, 4);
    const int want[5][3] = {{56296, 31666, 0x80}, {0, 0, 0x80}, {3436, 6597, 0x80}, {3, 3, 0x80}, {0, 0, 0}};
    for (int i = 0; i < 5; ++i) {
        const auto &p = g_multi[0].points[i];
        EXPECT_EQ(std::make_tuple(p.x, p.y, int(p.state)), std::make_tuple(want[i][0], want[i][1], want[i][2])) << i;
    }
    // Byte 1 not 1 but byte 2 equal to 2: taken, its first record without a finger.
    Bytes r = frame(0, {{0, 0}, {1000, 2000}});
    r[2] = 2;
    feed(r);
    ASSERT_EQ(g_multi.size(), 2u);
    EXPECT_EQ(g_multi[1].count, 1);
    EXPECT_EQ(g_multi[1].points[0].x, 3436);
    feed(frame(0, {{1000, 2000}}));  // neither: dropped
    EXPECT_EQ(g_multi.size(), 2u);
    EXPECT_TRUE(g_events.empty());
}

}  // namespace
