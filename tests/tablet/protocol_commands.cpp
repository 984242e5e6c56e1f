// The pads' commands and their acknowledgement rules, and the display
// tablets' custom-ID exchange, against the emulator through libusb.
#include "e2e_support.h"

namespace {

using namespace e2e;
using emu::Answer;
using emu::Command;

// Open, clear, LED off and close on each family, in order: the emulated pad
// refuses a command it does not know or with a bad checksum, so each one
// accepted shows its bytes right. The 64-byte pads have no clear command;
// with an OUT endpoint the output reports go there, LED off stays a feature
// report.
TEST_F(TabletTest, ClearAndLedOfEachFamily)
{
    struct Case {
        uint16_t pid;
        bool outEndpoint;
        int cleared;
    } cases[] = {{0x8420, false, 3}, {0x8421, false, 8}, {0x8816, false, 8}, {0x880F, false, 0}, {0x8807, true, 0}};
    for (const auto &c : cases) {
        SCOPED_TRACE(c.pid);
        auto beh = std::make_shared<emu::TabletBehaviour>(c.pid);
        emu::Device &dev = bed->add(emu::DeviceSpec::tabletPid(c.pid, c.outEndpoint), beh);
        ASSERT_EQ(bounded(dev, [] { return OpenDevice(); }), 0);
        EXPECT_EQ(clearSign(hDev, c.pid), c.cleared);
        EXPECT_EQ(closeLED(hDev), 8);
        ASSERT_EQ(bounded(dev, [] { return CloseDevice(); }), 0);
        std::vector<Command> want = {Command::Identity, Command::Sign, Command::Clear, Command::Led, Command::Start};
        if (!c.cleared)
            want.erase(want.begin() + 2);
        EXPECT_EQ(beh->history(), want);
        EXPECT_EQ(dev.interruptOutLog().size(), c.outEndpoint ? 3u : 0u);
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
