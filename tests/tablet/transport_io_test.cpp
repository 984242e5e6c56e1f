// Report traffic through an open handle: feature and output paths, the input
// queue and its limit, the time-out rules of hid_read_timeout, unplug, and
// the string getters.
#include <string.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "transport_fixture.h"

using transporttest::allTaken;
using transporttest::Bus;

namespace {

// Accepts SET_REPORT unless told to stall; answers GET_REPORT with `answer`.
class Recorder : public emu::Behaviour {
public:
    bool stall = false;
    emu::Bytes answer;
    bool onSetReport(emu::Device &, uint8_t, uint8_t, const emu::Bytes &) override { return !stall; }
    std::optional<emu::Bytes> onGetReport(emu::Device &, uint8_t, uint8_t, uint16_t) override
    {
        if (stall)
            return std::nullopt;
        return answer;
    }
};

emu::Bytes reportOf(uint8_t first, size_t size)
{
    emu::Bytes r(size);
    for (size_t i = 0; i < size; ++i)
        r[i] = (uint8_t)(first + i);
    return r;
}

class Handle : public Bus {
protected:
    // A KV-C5 (64-byte reports), with or without an interrupt OUT endpoint.
    emu::Device &openTablet(bool withOut = false)
    {
        behaviour = std::make_shared<Recorder>();
        emu::Device &tablet = bed->add(emu::DeviceSpec::tabletPid(0x8807, withOut), behaviour);
        unsigned short pid = 0x8807;
        dev = hid_open(0x5E1B, &pid, nullptr);
        EXPECT_NE(dev, nullptr);
        return tablet;
    }
    void TearDown() override
    {
        hid_close(dev);
        Bus::TearDown();
    }

    std::shared_ptr<Recorder> behaviour;
    hid_device *dev = nullptr;
};

} // namespace

// Control pipe requests expected by hand from the request rules: SET_REPORT
// is 0x21/9, GET_REPORT 0xA1/1, value 0x0300 | report id, index the
// interface; report id 0 is not sent on the feature path, but hid_write
// sends every byte.
TEST_F(Handle, ControlPipeRequests)
{
    emu::Device &tablet = openTablet(false);
    ASSERT_NE(dev, nullptr);

    enum Op { SendFeature, GetFeature, Write };
    struct Case {
        Op op;
        emu::Bytes data;
        emu::Bytes answer;          // device's GET_REPORT answer
        bool stall;
        int result;
        uint8_t requestType, request;
        uint16_t value, length;
        emu::Bytes wire;            // OUT data seen by the device
        emu::Bytes read;            // buffer after a get
    } cases[] = {
        {SendFeature, {0x00, 0xA1, 0xB2, 0xC3}, {}, false, 4, 0x21, 9, 0x0300, 3, {0xA1, 0xB2, 0xC3}, {}},
        {SendFeature, {0x05, 0x11, 0x22}, {}, false, 3, 0x21, 9, 0x0305, 3, {0x05, 0x11, 0x22}, {}},
        {SendFeature, {0x05, 0x11}, {}, true, -1, 0x21, 9, 0x0305, 2, {0x05, 0x11}, {}},
        {GetFeature, {0x00, 0, 0, 0, 0, 0, 0, 0}, {9, 8, 7, 6, 5}, false, 6, 0xA1, 1, 0x0300, 7, {},
         {0x00, 9, 8, 7, 6, 5, 0, 0}},
        {GetFeature, {0x07, 0, 0, 0}, {0x07, 1, 2, 3}, false, 4, 0xA1, 1, 0x0307, 4, {}, {0x07, 1, 2, 3}},
        {GetFeature, {0x07, 0, 0, 0}, {}, true, -1, 0xA1, 1, 0x0307, 4, {}, {}},
        {Write, {0x00, 1, 2, 3}, {}, false, 4, 0x21, 9, 0x0300, 4, {0x00, 1, 2, 3}, {}},
        {Write, {0x02, 9}, {}, false, 2, 0x21, 9, 0x0302, 2, {0x02, 9}, {}},
    };
    for (size_t i = 0; i < sizeof cases / sizeof cases[0]; ++i) {
        const Case &c = cases[i];
        SCOPED_TRACE("case " + std::to_string(i));
        behaviour->stall = c.stall;
        behaviour->answer = c.answer;
        tablet.clearLogs();
        emu::Bytes buf = c.data;
        int res = -2;
        switch (c.op) {
        case SendFeature: res = hid_send_feature_report(dev, buf.data(), buf.size()); break;
        case GetFeature: res = hid_get_feature_report(dev, buf.data(), buf.size()); break;
        case Write: res = hid_write(dev, buf.data(), buf.size()); break;
        }
        EXPECT_EQ(res, c.result);
        std::vector<emu::ControlRequest> log = tablet.controlLog();
        ASSERT_EQ(log.size(), 1u);
        EXPECT_EQ(log[0].requestType, c.requestType);
        EXPECT_EQ(log[0].request, c.request);
        EXPECT_EQ(log[0].value, c.value);
        EXPECT_EQ(log[0].index, 0);
        EXPECT_EQ(log[0].length, c.length);
        if (c.requestType == 0x21) {
            EXPECT_EQ(log[0].data, c.wire);
        }
        if (!c.read.empty()) {
            EXPECT_EQ(buf, c.read);
        }
        EXPECT_TRUE(tablet.interruptOutLog().empty());
    }
}

// With an interrupt OUT endpoint, hid_write uses it unchanged (byte 0
// included) and never the control pipe; failures print their line.
TEST_F(Handle, WritePaths)
{
    emu::Device &tablet = openTablet(true);
    ASSERT_NE(dev, nullptr);
    emu::Bytes out = reportOf(0x00, 64);
    EXPECT_EQ(hid_write(dev, out.data(), out.size()), 64);
    std::vector<emu::Bytes> sent = tablet.interruptOutLog();
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(sent[0], out);
    EXPECT_TRUE(tablet.controlLog().empty());

    tablet.unplug();
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(hid_write(dev, out.data(), out.size()), -1);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "libusb_interrupt_transfer fail\n");
}

TEST_F(Handle, ControlWriteFailurePrints)
{
    openTablet(false);
    ASSERT_NE(dev, nullptr);
    behaviour->stall = true;
    unsigned char out[3] = {0, 1, 2};
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(hid_write(dev, out, sizeof out), -1);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "libusb_control_transfer fail\n");
}

// A short read takes the head of a report and drops the rest of it.
TEST_F(Handle, ShortReadDropsTheTail)
{
    emu::Device &tablet = openTablet();
    ASSERT_NE(dev, nullptr);
    tablet.push(reportOf(0, 64));
    tablet.push(reportOf(100, 10));
    ASSERT_TRUE(allTaken(tablet));

    unsigned char buf[64] = {};
    ASSERT_EQ(hid_read_timeout(dev, buf, 8, -1), 8);
    EXPECT_EQ(emu::Bytes(buf, buf + 8), reportOf(0, 8));
    // The next read is the next report, not bytes 8.. of the first.
    ASSERT_EQ(hid_read_timeout(dev, buf, sizeof buf, 0), 10);
    EXPECT_EQ(buf[0], 100);
    EXPECT_EQ(hid_read_timeout(dev, buf, sizeof buf, 0), 0);
}

// The queue holds 32 reports: of 33 unread the first is gone, and the reads
// give the second to the 33rd in order.
TEST_F(Handle, QueueKeepsTheNewest32)
{
    emu::Device &tablet = openTablet();
    ASSERT_NE(dev, nullptr);
    for (int i = 1; i <= 33; ++i)
        tablet.push(emu::Bytes(8, (uint8_t)i));
    ASSERT_TRUE(allTaken(tablet));

    unsigned char buf[64];
    for (int want = 2; want <= 33; ++want) {
        ASSERT_EQ(hid_read_timeout(dev, buf, sizeof buf, 0), 8) << want;
        EXPECT_EQ(buf[0], want);
    }
    EXPECT_EQ(hid_read_timeout(dev, buf, sizeof buf, 0), 0);
}

// Time-out rules: a queued report returns at once; on an empty queue 0 and
// below return 0 silently, a positive time-out prints its line and gives 0.
TEST_F(Handle, ReadTimeoutRules)
{
    emu::Device &tablet = openTablet();
    ASSERT_NE(dev, nullptr);
    struct Case {
        bool queued;
        int ms;
        int result;
        const char *printed;
    } cases[] = {
        {false, 0, 0, ""},
        {false, -7, 0, ""},
        {false, 20, 0, "hid_read mills 20\n"},
        {false, 1, 0, "hid_read mills 1\n"},
        {true, 0, 5, ""},
        {true, 20, 5, ""},
        {true, -1, 5, ""},
    };
    for (const Case &c : cases) {
        if (c.queued) {
            tablet.push(reportOf(1, 5));
            ASSERT_TRUE(allTaken(tablet));
        }
        unsigned char buf[64];
        ::testing::internal::CaptureStdout();
        int res = hid_read_timeout(dev, buf, sizeof buf, c.ms);
        std::string out = ::testing::internal::GetCapturedStdout();
        EXPECT_EQ(res, c.result) << "ms " << c.ms;
        EXPECT_EQ(out, c.printed) << "ms " << c.ms;
    }
}

// -1 waits for a report pushed later; hid_read follows the blocking flag.
TEST_F(Handle, BlockingWaitsAndNonblockingDoesNot)
{
    emu::Device &tablet = openTablet();
    ASSERT_NE(dev, nullptr);
    unsigned char buf[64];

    std::atomic<int> result{-2};
    std::thread reader([&] { result = hid_read(dev, buf, sizeof buf); });
    tablet.push(reportOf(7, 12));
    reader.join();
    EXPECT_EQ(result, 12);
    EXPECT_EQ(buf[0], 7);

    EXPECT_EQ(hid_set_nonblocking(dev, 1), 0);
    EXPECT_EQ(hid_read(dev, buf, sizeof buf), 0);
    EXPECT_EQ(hid_set_nonblocking(dev, 0), 0);
    tablet.push(reportOf(9, 3));
    EXPECT_EQ(hid_read(dev, buf, sizeof buf), 3);
}

// After an unplug the queued reports still come out, then every read is -1,
// whatever its time-out; close of the dead handle is safe.
TEST_F(Handle, UnplugGivesMinusOneOnceEmpty)
{
    emu::Device &tablet = openTablet();
    ASSERT_NE(dev, nullptr);
    tablet.push(reportOf(1, 4));
    tablet.push(reportOf(2, 4));
    ASSERT_TRUE(allTaken(tablet));
    tablet.unplug();

    unsigned char buf[64];
    EXPECT_EQ(hid_read_timeout(dev, buf, sizeof buf, -1), 4);
    EXPECT_EQ(buf[0], 1);
    EXPECT_EQ(hid_read_timeout(dev, buf, sizeof buf, 0), 4);
    EXPECT_EQ(buf[0], 2);
    EXPECT_EQ(hid_read_timeout(dev, buf, sizeof buf, -1), -1);
    for (int ms : {0, 50, -1}) {
        ::testing::internal::CaptureStdout();
        EXPECT_EQ(hid_read_timeout(dev, buf, sizeof buf, ms), -1) << ms;
        EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
    }
}

// Strings come from the device's descriptors in its first language (no
// locale of the test matches the table); the copy is cut to the buffer.
TEST_F(Bus, StringGetters)
{
    emu::DeviceSpec spec = emu::DeviceSpec::tabletPid(0x8816);
    spec.manufacturer = "Tavrel Technologh";
    spec.product = "KV-C3";
    spec.serial = "SN-0042";
    spec.languages = {0x0407, 0x0409};
    bed->add(spec);
    unsigned short pid = 0;
    hid_device *dev = hid_open(0x5E1B, &pid, nullptr);
    ASSERT_NE(dev, nullptr);

    wchar_t text[64];
    ASSERT_EQ(hid_get_manufacturer_string(dev, text, 64), 0);
    EXPECT_STREQ(text, L"Tavrel Technologh");
    ASSERT_EQ(hid_get_product_string(dev, text, 64), 0);
    EXPECT_STREQ(text, L"KV-C3");
    ASSERT_EQ(hid_get_serial_number_string(dev, text, 64), 0);
    EXPECT_STREQ(text, L"SN-0042");
    ASSERT_EQ(hid_get_indexed_string(dev, 2, text, 4), 0);
    EXPECT_STREQ(text, L"KV-");
    EXPECT_EQ(hid_get_indexed_string(dev, 9, text, 64), -1);
    hid_close(dev);
}
