// The pads' commands on the wire and their acknowledgement rules, and the
// display tablets' custom-ID exchange, against the emulator through libusb.
// Expected bytes are written out by hand from the command tables.
#include "e2e_support.h"

namespace {

using namespace e2e;
using emu::Answer;
using emu::Bytes;
using emu::Command;

// Report payloads of SET_REPORT requests (feature type), in order.
std::vector<Bytes> setReports(const emu::Device &dev)
{
    std::vector<Bytes> out;
    for (const auto &c : dev.controlLog()) {
        if (c.requestType == 0x21 && c.request == 9) {
            EXPECT_EQ(c.value, 0x0300 | c.data.at(0));  // feature type, report id in the low byte
            out.push_back(c.data);
        }
    }
    return out;
}

// A 64-byte output report 01 cmd with little-endian words at their offsets.
Bytes block64(uint8_t cmd, const std::vector<std::pair<int, int>> &words = {})
{
    Bytes b(64, 0);
    b[0] = 0x01;
    b[1] = cmd;
    for (auto [at, w] : words) {
        b[at] = uint8_t(w);
        b[at + 1] = uint8_t(w >> 8);
    }
    return b;
}

// Open, clear, LED off and close send identity, sign, clear, LED and start
// commands, byte for byte (the 64-byte pads have no clear command).
TEST_F(TabletTest, CommandBytesOfEachFamily)
{
    const Bytes led = {0x05, 0x05, 0x06, 0, 0, 0, 0, 0x10};
    const Bytes sign64 = block64(0x0C, {{16, 0x195E}, {18, 0x27DE}, {20, 0x039F}, {22, 0x7FFF}, {24, 0x7FFF},
                                        {30, 0x7FFF}, {32, 0x7FFF}, {38, 0x20E3}, {40, 0x19AB}, {42, 0x05FA},
                                        {44, 0x0305}, {46, 0x7FFF}, {48, 0x7FFF}, {54, 0x1A4F}, {56, 0x19AB},
                                        {58, 0x05FA}, {60, 0x0305}});
    Bytes serial8816 = {0x03, 0xEE, 0x00, 0x00, 0x02, 0xF3, 0x03, 0xF2};
    serial8816.resize(22);
    struct Case {
        uint16_t pid;
        bool outEndpoint;
        std::vector<Bytes> wire;
    } cases[] = {
        {0x8420, false, {{0x05, 0x88, 0x70}, {0x05, 0x11, 0x70}, {0x05, 0x33, 0x70}, led, {0x05, 0x22, 0x70}}},
        {0x8421, false,
         {{0x05, 0x05, 0x0A, 0, 0, 0, 0, 0x14}, {0x05, 0x03, 0, 0, 0, 0, 0, 0x08},
          {0x05, 0x03, 0x21, 0, 0, 0, 0, 0x29}, led, {0x05, 0x04, 0, 0, 0, 0, 0, 0x09}}},
        {0x8816, false,
         {serial8816, {0x05, 0x03, 0, 0, 0, 0, 0, 0x08}, {0x05, 0x03, 0x21, 0, 0, 0, 0, 0x29}, led,
          {0x05, 0x04, 0, 0, 0, 0, 0, 0x09}}},
        {0x880F, false, {block64(0xF1), sign64, led, block64(0x09)}},
        // with an OUT endpoint the output reports go there; LED off stays a feature report
        {0x8807, true, {block64(0xF1), sign64, block64(0x09)}},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.pid);
        auto beh = std::make_shared<emu::TabletBehaviour>(c.pid);
        emu::Device &dev = bed->add(emu::DeviceSpec::tabletPid(c.pid, c.outEndpoint), beh);
        ASSERT_EQ(bounded(dev, [] { return OpenDevice(); }), 0);
        EXPECT_EQ(clearSign(hDev, c.pid), c.pid == 0x8420 ? 3 : PXFamilyOf(c.pid) == PX_FAMILY_FEATURE8 ? 8 : 0);
        EXPECT_EQ(closeLED(hDev), 8);
        ASSERT_EQ(bounded(dev, [] { return CloseDevice(); }), 0);
        EXPECT_EQ(c.outEndpoint ? dev.interruptOutLog() : setReports(dev), c.wire);
        EXPECT_TRUE(!c.outEndpoint || setReports(dev) == std::vector<Bytes>{led});
        dev.unplug();
    }
}

// Sign mode is sent again after silence or a wrong reply, without a limit,
// for as long as the send succeeds; a failing send ends it with -10.
TEST_F(TabletTest, SignModeResendRules)
{
    std::shared_ptr<emu::TabletBehaviour> beh;
    emu::Device &c2 = plug(0x8421, beh);
    beh->plan(Command::Sign, {Answer::Silent, Answer::Wrong, Answer::Wrong, Answer::Wrong, Answer::Ack});
    EXPECT_EQ(bounded(c2, [] { return OpenDevice(); }), 0);
    EXPECT_EQ(beh->count(Command::Sign), 5);
    EXPECT_EQ(bounded(c2, [] { return CloseDevice(); }), 0);
    c2.unplug();

    emu::Device &c1 = plug(0x8420, beh);
    beh->plan(Command::Sign, {Answer::Wrong, Answer::Wrong, Answer::Stall});
    EXPECT_EQ(bounded(c1, [] { return OpenDevice(); }), -10);
    EXPECT_EQ(beh->count(Command::Sign), 3);
    EXPECT_EQ(hDev, nullptr);
    EXPECT_EQ(g_uDevinfo_index, -1);
    EXPECT_FALSE(c1.claimed());
    c1.unplug();

    // Start mode at close: not acknowledged, then the send fails: -10, all released.
    emu::Device &c5 = plug(0x8807, beh);
    beh->plan(Command::Start, {Answer::Wrong, Answer::Stall});
    EXPECT_EQ(bounded(c5, [] { return OpenDevice(); }), 0);
    EXPECT_EQ(bounded(c5, [] { return CloseDevice(); }), -10);
    EXPECT_EQ(beh->count(Command::Start), 2);
    EXPECT_EQ(hDev, nullptr);
    EXPECT_FALSE(c5.claimed());
}

// The pads' identity: three attempts, a late answer still counts, a pad that
// never answers opens without one, a failing send fails the open.
TEST_F(TabletTest, PadIdentityAttempts)
{
    struct Case {
        const char *what;
        uint16_t pid;
        std::vector<Answer> plan;
        int open, attempts, serialLen, signs;
    } cases[] = {
        {"silent", 0x8420, {Answer::Silent}, 0, 3, 0, 1},
        {"wrong", 0x880F, {Answer::Wrong}, 0, 3, 0, 1},
        {"third try", 0x8807, {Answer::Silent, Answer::Wrong, Answer::Ack}, 0, 3, 11, 1},
        {"second try", 0x8421, {Answer::Wrong, Answer::Ack}, 0, 2, 11, 1},
        {"send fails", 0x8816, {Answer::Stall}, -10, 1, 0, 0},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        std::shared_ptr<emu::TabletBehaviour> beh;
        emu::Device &dev = plug(c.pid, beh);
        beh->plan(Command::Identity, c.plan);
        g_nSerial = 0;
        EXPECT_EQ(bounded(dev, [] { return OpenDevice(); }), c.open);
        EXPECT_EQ(beh->count(Command::Identity), c.attempts);
        EXPECT_EQ(g_nSerial, c.serialLen);
        EXPECT_EQ(beh->count(Command::Sign), c.signs);
        CloseDevice();
        dev.unplug();
    }
}

// The display tablets' custom-ID exchange. A block reply is taken when its
// byte 1 is 01 or 05 (the mark AND FB is 01).
TEST_F(TabletTest, CustomIdExchange)
{
    struct Case {
        const char *what;
        std::vector<Answer> ack, block;
        int serialLen, getReports;
        uint8_t mark = 0x01;
    } cases[] = {
        {"no acknowledgement", {Answer::Silent}, {}, 0, 0},
        {"wrong acknowledgement", {Answer::Wrong}, {}, 0, 0},
        // Twenty replies, none valid, yet the last result is positive: the
        // request buffer itself (A1 01 A1 01 00 00 40 ...) is decoded from
        // byte 3 as a scrambled block: category 40 ^ 00, the rest zero.
        {"block never valid", {}, {Answer::Wrong}, 11, 20},
        {"block stalls", {}, {Answer::Stall}, 0, 20},
        {"block on third", {}, {Answer::Silent, Answer::Wrong, Answer::Ack}, 11, 3},
        {"block marked 05", {}, {Answer::Ack}, 11, 1, 0x05},
        {"block marked 03", {}, {Answer::Ack}, 11, 20, 0x03},
        {"block marked 04", {}, {Answer::Ack}, 11, 20, 0x04},
    };
    // The default identity in the plain form, by hand: marks, category 21,
    // pid 1234 (two bytes), industry 45 (one byte), number 0302.
    const unsigned char fromDevice[11] = {0x02, 0x88, 0x21, 0x34, 0x12, 0, 0, 0x45, 0, 0x02, 0x03};
    const unsigned char fromRequest[11] = {0x02, 0x88, 0x40, 0, 0, 0, 0, 0, 0, 0, 0};
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        std::shared_ptr<emu::TabletBehaviour> beh;
        emu::Device &dev = plug(0x3103, beh);
        beh->plan(Command::CustomIdAck, c.ack);
        beh->plan(Command::CustomIdBlock, c.block);
        beh->customIdMark = c.mark;
        g_nSerial = 0;
        EXPECT_EQ(OpenDevice(), 0);
        EXPECT_EQ(g_nSerial, c.serialLen);
        if (c.serialLen) {
            EXPECT_EQ(memcmp(g_bSerial, c.getReports == 20 ? fromRequest : fromDevice, 11), 0);
        }
        std::vector<uint16_t> values;
        for (const auto &r : dev.controlLog())
            if (r.requestType == 0xA1 && r.request == 1 && r.length == 64)
                values.push_back(r.value);
        EXPECT_EQ(int(values.size()), c.getReports);
        if (!values.empty()) {
            EXPECT_EQ(values[0], 0x03A1);  // feature report A1
        }
        // A rejected reply stays in the buffer: its byte 0 (07) is the next report id.
        if (values.size() >= 3 && c.block.size() > 1) {
            EXPECT_EQ(values[2], 0x0307);
        }
        EXPECT_EQ(CloseDevice(), 0);
        dev.unplug();
    }
}

// SetMode acts on KV-C1 and KV-C5 only; it opens the transport itself when
// the device is not open.
TEST_F(TabletTest, SetModeCases)
{
    EXPECT_EQ(SetMode(2), 1);  // nothing attached

    struct Case {
        const char *what;
        uint16_t pid;
        int mode;
        std::vector<Answer> fpr;
        int result;
        Command sent;
        int count;
    } cases[] = {
        {"C1 fingerprint", 0x8420, 2, {}, 0, Command::Fingerprint, 1},
        {"C1 fingerprint late", 0x8420, 2, {Answer::Silent, Answer::Ack}, 0, Command::Fingerprint, 2},
        {"C1 fingerprint silent", 0x8420, 2, {Answer::Silent}, -10, Command::Fingerprint, 3},
        {"C5 fingerprint", 0x8807, 2, {}, 0, Command::Fingerprint, 1},
        {"C5 fingerprint wrong", 0x8807, 2, {Answer::Wrong}, -10, Command::Fingerprint, 3},
        {"C5 fingerprint stalls", 0x8807, 2, {Answer::Stall}, -10, Command::Fingerprint, 1},
        {"C1 start", 0x8420, 3, {}, 0, Command::Start, 1},
        {"C5 sign", 0x8807, 1, {}, 0, Command::Sign, 1},
        {"C1 mode 7", 0x8420, 7, {}, 0, Command::Unknown, 0},
        {"C2 sign", 0x8421, 1, {}, 0, Command::Sign, 0},
        {"C4 fingerprint", 0x880F, 2, {}, 0, Command::Fingerprint, 0},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        std::shared_ptr<emu::TabletBehaviour> beh;
        emu::Device &dev = plug(c.pid, beh);
        beh->plan(Command::Fingerprint, c.fpr);
        ASSERT_EQ(GetDeviceStatus(), 0);
        EXPECT_EQ(bounded(dev, [&] { return SetMode(c.mode); }), c.result);
        EXPECT_EQ(beh->count(c.sent), c.count);
        EXPECT_EQ(beh->history().empty(), c.count == 0);
        CloseDevice();
        dev.unplug();
    }
}

}  // namespace
