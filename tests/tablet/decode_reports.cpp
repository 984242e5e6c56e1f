// Per-report decoding of both tablet families, fed bytes without USB.
// Expected values are worked out by hand from the layouts and pressure rules
// (comments give the arithmetic); floats are compared to the float of the
// hand-computed value.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "tablet/pxtablet.h"

namespace {

using Bytes = std::vector<unsigned char>;

const TOUCH_INFO kSentinel = {-7, -7, -7.0f, -7, -7};

TOUCH_INFO decodePad(Bytes r, unsigned short pid, TOUCH_INFO start = kSentinel)
{
    TOUCH_INFO out = start;
    Analize_TabletPacket(r.data(), static_cast<int>(r.size()), pid, &out);
    return out;
}

void expectTouch(const TOUCH_INFO &t, int x, int y, float p, int state, int key)
{
    EXPECT_EQ(t.x, x);
    EXPECT_EQ(t.y, y);
    EXPECT_FLOAT_EQ(t.pressure, p);
    EXPECT_EQ(t.state, state);
    EXPECT_EQ(t.key, key);
}

Bytes pad8(uint8_t status, int a, int b, int raw)
{
    return {0x02, status, uint8_t(a), uint8_t(a >> 8), uint8_t(b), uint8_t(b >> 8), uint8_t(raw), uint8_t(raw >> 8)};
}

Bytes pad64(uint8_t kind, int x, int y, int raw)
{
    Bytes r(64, 0);
    r[0] = 0x01;
    r[1] = kind;
    r[2] = uint8_t(x >> 7);
    r[3] = x & 0x7F;
    r[4] = uint8_t(y >> 7);
    r[5] = y & 0x7F;
    r[6] = uint8_t(raw >> 7);
    r[7] = raw & 0x7F;
    return r;
}

struct PadCase {
    const char *what;
    unsigned short pid;
    Bytes report;
    int x, y;
    float pressure;
    int state;
};

// Pen samples of the 8-byte pads: geometry, Y window and pressure by status.
TEST(DecodePad, EightByteSamples)
{
    const PadCase cases[] = {
        // KV-C2: X = word B, Y = 6240 - 1000 = 5240, minus floor 624 = 4616; 512/1024*0.6 = 0.3
        {"C2 swap and reflect", 0x8421, pad8(0xA1, 1000, 2000, 512), 2000, 4616, 0.3f, 1},
        // KV-C1: Y at the floor 955 gives Y 0 and raw 0, then the 0.1 floor
        {"C1 Y at floor", 0x8420, pad8(0xA1, 100, 955, 900), 100, 0, 0.1f, 0},
        // KV-C1: Y at the ceiling 7237 gives the window height 6282 and raw 0
        {"C1 Y at ceiling", 0x8420, pad8(0xA1, 100, 7237, 900), 100, 6282, 0.1f, 0},
        // KV-C1: 956 - 955 = 1 inside the window; 2048/1024*0.6 = 1.2
        {"C1 just inside", 0x8420, pad8(0xA1, 6000, 956, 2048), 6000, 1, 1.2f, 1},
        // KV-C3: 2000 - 1136 = 864; raw 43 is no contact (pads count from 44), 0.025 -> 0.1
        {"C3 raw 43", 0x8816, pad8(0xA1, 300, 2000, 43), 300, 864, 0.1f, 0},
        {"C3 raw 44", 0x8816, pad8(0xA1, 300, 2000, 44), 300, 864, 0.1f, 1},
        // status exactly A0: hovering, pressure 0 -> 0.1
        {"A0 hover", 0x8816, pad8(0xA0, 300, 2000, 800), 300, 864, 0.1f, 0},
        // status B1: side button, pressure kept (1024/1024*0.6) but no contact
        {"B1 no contact", 0x8816, pad8(0xB1, 300, 2000, 1024), 300, 864, 0.6f, 0},
        // unknown pid: window of zeros, any Y lands on the ceiling branch: Y 0, raw 0
        {"unknown pid", 0x1234, pad8(0xA1, 10, 500, 900), 10, 0, 0.1f, 0},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        PXResetDecodeState();
        expectTouch(decodePad(c.report, c.pid), c.x, c.y, c.pressure, c.state, 0);
        EXPECT_EQ(cashedKey, c.state);
    }
}

// Pen samples of the 64-byte pads: 7-bit split words and the writing area.
TEST(DecodePad, SixtyFourByteSamples)
{
    const PadCase cases[] = {
        // 700/1024*0.6 = 0.41015625
        {"inside", 0x8807, pad64(1, 1000, 2000, 700), 1000, 2000, 0.41015625f, 1},
        // X 10206 is outside the area: pressure 0 -> 0.1, no contact
        {"X edge", 0x880F, pad64(1, 10206, 2000, 700), 10206, 2000, 0.1f, 0},
        {"Y beyond 6493", 0x8807, pad64(1, 100, 6494, 700), 100, 6494, 0.1f, 0},
        {"Y at 6493", 0x8807, pad64(1, 100, 6493, 1024), 100, 6493, 0.6f, 1},
        {"raw 43", 0x8807, pad64(1, 100, 100, 43), 100, 100, 0.1f, 0},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        PXResetDecodeState();
        expectTouch(decodePad(c.report, c.pid), c.x, c.y, c.pressure, c.state, 0);
        EXPECT_EQ(cashedKey, c.state);
        EXPECT_EQ(bPenEnter, 1);
    }
    // Byte 7 is not masked: 0x00, 0xFF gives raw 255; 255/1024*0.6 = 0.1494140625
    PXResetDecodeState();
    Bytes r = pad64(1, 100, 100, 0);
    r[7] = 0xFF;
    expectTouch(decodePad(r, 0x8807), 100, 100, 0.1494140625f, 1, 0);
}

// Lifts: the 8-byte pad closes a stroke only after contact; the 64-byte pad's
// pen-away event carries no floor.
TEST(DecodePad, LiftsAndPenAway)
{
    PXResetDecodeState();
    decodePad(pad8(0xA1, 1000, 2000, 512), 0x8421);
    expectTouch(decodePad(pad8(0xE0, 0, 0, 0), 0x8421), 2000, 4616, 0.0f, 0, 0);
    // a second lift finds no contact: the caller's record stays as it was
    expectTouch(decodePad(pad8(0xE0, 0, 0, 0), 0x8421), -7, -7, -7.0f, -7, -7);

    PXResetDecodeState();
    decodePad(pad64(1, 1000, 2000, 700), 0x8807);
    expectTouch(decodePad(pad64(0, 1000, 2000, 0), 0x8807), 1000, 2000, 0.0f, 0, 0);
    EXPECT_EQ(cashedKey, 0);
    EXPECT_EQ(bPenEnter, 1);
    expectTouch(decodePad(pad64(0, 0, 0, 0), 0x8807), 0, 0, 0.0f, 0, 0);
    EXPECT_EQ(bPenEnter, 0);
}

// Keys of every pad family; a key event has everything else zero and ends contact.
TEST(DecodePad, Keys)
{
    struct KeyCase {
        const char *what;
        unsigned short pid;
        Bytes report;
        int key;
    } cases[] = {
        {"C1 re-sign", 0x8420, {0x02, 0x55, 0xFF, 0xFF, 0xFF, 0xFF, 0x00, 0x00}, 16},
        {"C1 OK", 0x8420, {0x02, 0x55, 0xFF, 0xFF, 0xFF, 0xFF, 0x00, 0xFF}, 32},
        {"C1 wrong byte 0", 0x8420, {0x03, 0x55, 0xFF, 0xFF, 0xFF, 0xFF, 0x00, 0xFF}, 0},
        {"C2 re-sign", 0x8421, {0x02, 0x03, 0x11, 0, 0, 0, 0, 0}, 16},
        {"C3 OK", 0x8816, {0x02, 0x03, 0x12, 0, 0, 0, 0, 0}, 32},
        {"C3 sign ack", 0x8816, {0x02, 0x03, 0x00, 0, 0, 0, 0, 0x05}, 0},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        PXResetDecodeState();
        decodePad(pad8(0xA1, 1000, 2000, 512), c.pid);
        expectTouch(decodePad(c.report, c.pid), 0, 0, 0.0f, 0, c.key);
        EXPECT_EQ(cashedKey, c.key ? 0 : 1);
    }
}

// The 64-byte pads' OK key needs two reports; mode acknowledgements reset it.
TEST(DecodePad, OkKeyLatch)
{
    PXResetDecodeState();
    Bytes ok = pad64(2, 0, 0, 0);
    ok[2] = 3;
    Bytes resign = pad64(2, 0, 0, 0);
    resign[2] = 5;
    expectTouch(decodePad(ok, 0x8807), -7, -7, -7.0f, -7, -7);
    expectTouch(decodePad(ok, 0x8807), 0, 0, 0.0f, 0, 32);
    expectTouch(decodePad(resign, 0x8807), 0, 0, 0.0f, 0, 16);
    for (uint8_t ack : {9, 12}) {
        SCOPED_TRACE(int(ack));
        decodePad(ok, 0x8807);
        expectTouch(decodePad(pad64(ack, 0, 0, 0), 0x8807), 0, 0, 0.0f, 0, 0);
        expectTouch(decodePad(ok, 0x8807), -7, -7, -7.0f, -7, -7);
        decodePad(ok, 0x8807);
    }
}

// Reports of a length other than 8 or 64 give the all-zero record.
TEST(DecodePad, OddLengths)
{
    for (int len : {0, 7, 10, 20, 63}) {
        SCOPED_TRACE(len);
        Bytes r(64, 0xA1);
        TOUCH_INFO out = kSentinel;
        Analize_TabletPacket(r.data(), len, 0x8420, &out);
        expectTouch(out, 0, 0, 0.0f, 0, 0);
    }
}

// ---- display tablets ------------------------------------------------------

std::vector<TOUCH_INFO> g_events;
std::vector<MULTITOUCH_INFO> g_multi;

int recordTouch(TOUCH_INFO t)
{
    g_events.push_back(t);
    return 1;
}

int recordMulti(MULTITOUCH_INFO m)
{
    g_multi.push_back(m);
    return 1;
}

class DecodeDisplay : public ::testing::Test {
protected:
    void SetUp() override
    {
        PXResetDecodeState();
        memset(Touchcallback, 0, sizeof Touchcallback);
        memset(MultiTouchcallback, 0, sizeof MultiTouchcallback);
        Touchcallback[0] = recordTouch;
        MultiTouchcallback[0] = recordMulti;
        g_events.clear();
        g_multi.clear();
        touch = {};
    }
    void feed(const Bytes &r, int reportLen, int devType)
    {
        Bytes buf(r);
        buf.resize(64, 0);
        PXHandleDisplayReport(buf.data(), reportLen, devType, &touch);
    }
    TOUCH_INFO touch;
};

// Short layouts: X, Y big-endian; the 11th pressure bit at the top (high) or
// bottom (low) of the raw value.
Bytes shortHigh(int x, int y, int raw)
{
    const int low10 = raw & 0x3FF;
    return {2, uint8_t(0xA0 | ((raw >> 6) & 0x10)), uint8_t(x >> 8), uint8_t(x), uint8_t(y >> 8), uint8_t(y),
            uint8_t(low10 >> 2), uint8_t((low10 & 3) << 6), 0, 0};
}

Bytes shortLow(int x, int y, int raw)
{
    const int hi10 = raw >> 1;
    return {2, uint8_t(0xA0 | (raw & 1)), uint8_t(x >> 8), uint8_t(x), uint8_t(y >> 8), uint8_t(y),
            uint8_t(hi10 >> 2), uint8_t((hi10 & 3) << 6), 0, 0};
}

Bytes wide(int x, int y, int raw)
{
    const int low10 = raw & 0x3FF;
    Bytes r(20, 0);
    r[0] = 2;
    r[1] = 0xA0;
    r[2] = 1;
    r[4] = uint8_t((raw >> 6) & 0x10);
    r[5] = uint8_t(x);
    r[6] = uint8_t(x >> 8);
    r[7] = uint8_t(y);
    r[8] = uint8_t(y >> 8);
    r[9] = uint8_t(low10 >> 2);
    r[10] = uint8_t((low10 & 3) << 6);
    return r;
}

TEST_F(DecodeDisplay, PenLayoutsAndPressure)
{
    struct Case {
        const char *what;
        Bytes report;
        int reportLen, devType;
        int x, y;
        float pressure;
        int state;
    } cases[] = {
        // 1500/2048*0.6 = 0.439453125
        {"short-high", shortHigh(30000, 20000, 1500), 10, 6, 30000, 20000, 0.439453125f, 1},
        // 1501/2048*0.6 = 0.43974609375
        {"short-low", shortLow(9000, 7000, 1501), 10, 5, 9000, 7000, 0.43974609375f, 1},
        {"short-low B", shortLow(9000, 7000, 2047), 10, 8, 9000, 7000, 2047 * 0.6f / 2048, 1},
        {"wide", wide(56296, 31667, 1024), 20, 6, 56296, 31667, 0.3f, 1},
        // raw 42: no contact, pressure 42/2048*0.6 kept; raw 43: contact, 0.0126 -> 0.1
        {"raw 42", shortHigh(5, 5, 42), 10, 6, 5, 5, 42 * 0.6f / 2048, 0},
        {"raw 43", shortHigh(5, 5, 43), 10, 6, 5, 5, 0.1f, 1},
        {"raw 0", shortLow(5, 5, 0), 10, 5, 5, 5, 0.0f, 0},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        g_events.clear();
        feed(c.report, c.reportLen, c.devType);
        ASSERT_EQ(g_events.size(), 1u);
        expectTouch(g_events[0], c.x, c.y, c.pressure, c.state, 0);
        EXPECT_EQ(cachedPoint.x, c.x);
    }
}

TEST_F(DecodeDisplay, DroppedReports)
{
    feed(shortHigh(100, 200, 500), 10, 6);
    ASSERT_EQ(g_events.size(), 1u);
    Bytes c2 = shortHigh(300, 400, 600);
    c2[1] = 0xC2;
    feed(c2, 10, 6);
    feed({2, 0xA1, 0, 0, 0, 0, 0xFF, 0xC0, 0, 0}, 10, 6);  // coordinates all zero
    feed({3, 0xA1, 1, 2, 3, 4, 5, 6, 7, 8}, 10, 6);        // unknown id
    Bytes wideZero = wide(0, 0, 500);
    wideZero[2] = 0;                                      // bytes 2..5 zero in the wide layout too
    feed(wideZero, 20, 6);
    EXPECT_EQ(g_events.size(), 1u);
    EXPECT_EQ(cachedPoint.x, 100);
    EXPECT_EQ(cachedpressure, 500);
}

TEST_F(DecodeDisplay, PenLeaves)
{
    feed(shortHigh(100, 200, 500), 10, 6);
    feed({2, 0x80, 0, 0, 0, 0, 0, 0, 0, 0}, 10, 6);
    ASSERT_EQ(g_events.size(), 2u);
    expectTouch(g_events[1], 100, 200, 0.0f, 0, 0);
    feed({2, 0x80, 0, 0, 0, 0, 0, 0, 0, 0}, 10, 6);  // already closed
    EXPECT_EQ(g_events.size(), 2u);

    // wide rows also leave on byte 4 = E0
    feed(wide(7, 8, 900), 20, 6);
    Bytes leave = wide(0, 0, 0);
    leave[4] = 0xE0;
    feed(leave, 20, 6);
    ASSERT_EQ(g_events.size(), 4u);
    expectTouch(g_events[3], 7, 8, 0.0f, 0, 0);

    // a last sample without pressure closes nothing
    feed(shortHigh(1, 2, 0), 10, 6);
    feed({2, 0x80, 0, 0, 0, 0, 0, 0, 0, 0}, 10, 6);
    EXPECT_EQ(g_events.size(), 5u);
}

Bytes multiTouch(uint8_t b1, const std::vector<std::pair<int, int>> &fingers, int empty = -1)
{
    Bytes r(52, 0);
    r[0] = 14;
    r[1] = b1;
    for (size_t i = 0; i < fingers.size(); ++i) {
        uint8_t *rec = &r[2 + 5 * i];
        if (int(i) == empty)
            continue;
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
    // Scaling in single precision, multiplying first (worked by hand):
    //  16383*56296 = 922297368 rounds to the float 922297344, /16383 = 56295.9985 rounds to 56296.0
    //  9599*31667 = 303971533 rounds to 303971520, /9599 = 31666.998 -> 31666 (in double: 31667)
    //  1000*56296/16383 = 3436.2 -> 3436;  2000*31667/9599 = 6597.98 -> 6597
    feed(multiTouch(1, {{16383, 9599}, {0, 0}, {5, 5}, {1000, 2000}, {1, 1}}, 2), 10, 6);
    ASSERT_EQ(g_multi.size(), 1u);
    const MULTITOUCH_INFO &m = g_multi[0];
    EXPECT_EQ(m.count, 4);
    const int expect[5][3] = {{56296, 31666, 0x80}, {0, 0, 0x80}, {3436, 6597, 0x80}, {3, 3, 0x80}, {0, 0, 0}};
    for (int i = 0; i < 5; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(m.points[i].x, expect[i][0]);
        EXPECT_EQ(m.points[i].y, expect[i][1]);
        EXPECT_EQ(m.points[i].state, expect[i][2]);
    }
    EXPECT_TRUE(g_events.empty());

    // Byte 1 not 1 but byte 2 equal to 2: taken, and the first record has no finger.
    Bytes r = multiTouch(0, {{0, 0}, {1000, 2000}});
    r[2] = 2;
    feed(r, 10, 6);
    ASSERT_EQ(g_multi.size(), 2u);
    EXPECT_EQ(g_multi[1].count, 1);
    EXPECT_EQ(g_multi[1].points[0].x, 3436);

    // Neither: dropped.
    feed(multiTouch(0, {{1000, 2000}}), 10, 6);
    EXPECT_EQ(g_multi.size(), 2u);
}

}  // namespace
