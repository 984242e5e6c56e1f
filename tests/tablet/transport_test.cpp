// The HID transport through real libusb against emulated devices:
// enumeration, open and close, control and interrupt paths, the input queue
// and the time-out rules of hid_read_timeout.
#include <atomic>
#include <numeric>
#include <set>
#include <tuple>

#include "transport_fixture.h"

namespace {

std::string pathOf(emu::Device &dev)
{
    char text[64];
    snprintf(text, sizeof text, "%04x:%04x:00", dev.busnum(), dev.devnum());
    return text;
}

int count(struct hid_device_info *list)
{
    return list == nullptr ? 0 : 1 + count(list->next);
}

emu::Bytes ramp(uint8_t first, size_t size)
{
    emu::Bytes r(size);
    std::iota(r.begin(), r.end(), first);
    return r;
}

// Accepts SET_REPORT unless told to stall; answers GET_REPORT with `answer`.
struct Recorder : emu::Behaviour {
    // Set by the test, read on the emulator's thread; the ioctl socket orders
    // the two, but ThreadSanitizer does not see a socket as a hand-over.
    std::atomic<bool> stall{false};
    emu::Bytes answer;
    bool onSetReport(emu::Device &, uint8_t, uint8_t, const emu::Bytes &) override { return !stall; }
    std::optional<emu::Bytes> onGetReport(emu::Device &, uint8_t, uint8_t, uint16_t) override
    {
        return stall ? std::nullopt : std::optional<emu::Bytes>(answer);
    }
};

// An open KV-C5 (64-byte reports) with the recorder as its behaviour.
class Handle : public Bus {
protected:
    emu::Device &open(bool withOut = false, int inPacketSize = -1)
    {
        emu::DeviceSpec profile = emu::DeviceSpec::tabletPid(0x8807, withOut);
        if (inPacketSize >= 0)
            profile.inPacketSize = inPacketSize;
        emu::Device &tablet = bed->add(profile, rec);
        dev = hid_open_path(pathOf(tablet).c_str());
        return tablet;
    }
    // The transport has taken every pushed report and waits with its one
    // read transfer again.
    static bool taken(emu::Device &t)
    {
        return waitFor([&] { return t.queuedReports() == 0 && t.pendingInTransfers() == 1; });
    }
    int read(int ms, size_t length = 64) { return hid_read_timeout(dev, buf, length, ms); }
    void TearDown() override
    {
        hid_close(dev);
        Bus::TearDown();
    }
    std::shared_ptr<Recorder> rec = std::make_shared<Recorder>();
    hid_device *dev = nullptr;
    unsigned char buf[64] = {};
};

} // namespace

// Filters counted by hand on two tablets, a foreign HID device with a
// catalogue pid, a non-HID device and a HID device with three alternate
// settings (one node each).
TEST_F(Bus, EnumerateFilters)
{
    emu::DeviceSpec c5 = emu::DeviceSpec::tabletPid(0x8807);
    c5.bcdDevice = 0x0102;
    emu::Device &tablet = bed->add(c5);
    emu::DeviceSpec a1 = emu::DeviceSpec::tabletPid(0x3101);
    a1.altSettings = 3;
    bed->add(a1);
    bed->add(foreignHid(0x1234, 0x8807));
    bed->add(emu::DeviceSpec::other(0x2309, 0x0606, 0, 8));

    struct Case {
        unsigned short vid, pid;
        int nodes;
    } cases[] = {{0, 0, 5}, {0x5E1B, 0, 4}, {0, 0x8807, 2}, {0x5E1B, 0x3101, 3}, {0x1234, 0x3101, 0}, {0x2309, 0, 0}};
    for (const Case &c : cases) {
        struct hid_device_info *list = hid_enumerate(c.vid, c.pid);
        EXPECT_EQ(count(list), c.nodes) << std::hex << c.vid << ":" << c.pid;
        hid_free_enumeration(list);
    }
    struct hid_device_info *one = hid_enumerate(0x5E1B, 0x8807);
    ASSERT_EQ(count(one), 1);
    EXPECT_EQ(std::string(one->path), pathOf(tablet));
    EXPECT_EQ(one->release_number, 0x0102);
    EXPECT_EQ(one->manufacturer_string, nullptr);  // no strings are read
    hid_free_enumeration(one);
}

// Class of a node: bDeviceClass, or the interface class where the device
// says 0; only 0, 8 and 220, once per alternate setting. Expected by hand.
TEST_F(Bus, UsbEnumerateClasses)
{
    struct Dev {
        uint16_t pid;
        uint8_t deviceClass, interfaceClass, alts;
        int nodes, nodeClass;
    } devs[] = {
        {1, 0, 8, 1, 1, 8},    {2, 220, 255, 1, 1, 220}, {3, 0, 0, 1, 1, 0},   {4, 8, 3, 1, 1, 8},
        {5, 0, 220, 2, 2, 220}, {6, 0, 255, 1, 0, 0},    {7, 0xEF, 0, 1, 0, 0}, {8, 0, 3, 1, 0, 0},
    };
    std::multiset<std::tuple<int, int, int>> want, got;  // pid, release, class
    for (const Dev &d : devs) {
        emu::DeviceSpec profile = emu::DeviceSpec::other(0x0453, d.pid, d.deviceClass, d.interfaceClass);
        profile.altSettings = d.alts;
        profile.bcdDevice = 0x0200 + d.pid;
        bed->add(profile);
        for (int i = 0; i < d.nodes; ++i)
            want.insert({d.pid, 0x0200 + d.pid, d.nodeClass});
    }
    struct usb_device_info *list = usb_enumerate();
    for (auto *node = list; node != nullptr; node = node->next)
        got.insert({node->product_id, node->release_number, node->device_class});
    usb_free_enumeration(list);
    EXPECT_EQ(got, want);
}

// Firmware text is bcdDevice with its bytes swapped (by hand); without a
// firmware buffer *pid learns the product id; the vendor must match.
TEST_F(Bus, OpenFirmwareAndProductId)
{
    struct Case {
        uint16_t bcd;
        const char *firmware;  // null: no buffer given
    } cases[] = {{0x0102, "0201"}, {0x1234, "3412"}, {0xab00, "00ab"}, {0x0102, nullptr}};
    for (const Case &c : cases) {
        newBus();
        emu::DeviceSpec profile = emu::DeviceSpec::tabletPid(0x880F);
        profile.bcdDevice = c.bcd;
        bed->add(profile);
        bed->add(foreignHid(0x1234, 0x8420));
        unsigned short pid = 0;
        char firmware[6] = "xxxxx";
        hid_device *dev = hid_open(0x5E1B, &pid, c.firmware ? firmware : nullptr);
        ASSERT_NE(dev, nullptr);
        EXPECT_STREQ(firmware, c.firmware ? c.firmware : "xxxxx");
        EXPECT_EQ(pid, c.firmware ? 0 : 0x880F);
        hid_close(dev);
        pid = 0x8420;
        EXPECT_EQ(hid_open(0x5E1B, &pid, firmware), nullptr);  // catalogue pid, other vendor
    }
    EXPECT_EQ(hid_open_path("00ff:00ff:00"), nullptr);
    hid_close(nullptr);
}

// Open detaches the driver and claims; close releases and attaches the
// driver again, also when none was bound at open.
TEST_F(Bus, OpenClaimsCloseReattaches)
{
    for (bool bound : {true, false}) {
        newBus();
        emu::DeviceSpec profile = emu::DeviceSpec::tabletPid(0x8421);
        profile.kernelDriverBound = bound;
        emu::Device &tablet = bed->add(profile);
        hid_device *dev = hid_open_path(pathOf(tablet).c_str());
        ASSERT_NE(dev, nullptr);
        EXPECT_TRUE(tablet.claimed());
        EXPECT_FALSE(tablet.kernelDriverBound());
        EXPECT_TRUE(waitFor([&] { return tablet.pendingInTransfers() == 1; }));
        hid_close(dev);
        EXPECT_FALSE(tablet.claimed());
        EXPECT_TRUE(tablet.kernelDriverBound());
        EXPECT_EQ(tablet.pendingInTransfers(), 0);
    }
}

// An interface without an IN endpoint opens, reads -1 at once and closes.
TEST_F(Handle, NoInEndpointReadsMinusOne)
{
    open(true, 0);
    ASSERT_NE(dev, nullptr);
    EXPECT_EQ(read(-1), -1);
}

// Requests by hand from the rules: SET_REPORT 0x21/9, GET_REPORT 0xA1/1,
// value 0x0300 | id, index = interface. Feature reports leave id 0 off the
// wire and still count it; hid_write without OUT endpoint sends every byte.
TEST_F(Handle, ControlPipeRequests)
{
    emu::Device &tablet = open(false);
    ASSERT_NE(dev, nullptr);
    enum Op { Send, Get, Write };
    struct Case {
        Op op;
        emu::Bytes data, answer;
        bool stall;
        int result;
        uint8_t type;
        uint16_t value, length;
        emu::Bytes after;  // OUT: bytes on the wire; IN: caller's buffer
    } cases[] = {
        {Send, {0, 0xA1, 0xB2, 0xC3}, {}, false, 4, 0x21, 0x0300, 3, {0xA1, 0xB2, 0xC3}},
        {Send, {5, 0x11, 0x22}, {}, false, 3, 0x21, 0x0305, 3, {5, 0x11, 0x22}},
        {Send, {5, 0x11}, {}, true, -1, 0x21, 0x0305, 2, {5, 0x11}},
        {Get, {0, 0, 0, 0, 0, 0, 0}, {9, 8, 7, 6, 5}, false, 6, 0xA1, 0x0300, 6, {0, 9, 8, 7, 6, 5, 0}},
        {Get, {7, 0, 0, 0}, {7, 1, 2, 3}, false, 4, 0xA1, 0x0307, 4, {7, 1, 2, 3}},
        {Get, {7, 0, 0}, {}, true, -1, 0xA1, 0x0307, 3, {7, 0, 0}},
        {Write, {0, 1, 2, 3}, {}, false, 4, 0x21, 0x0300, 4, {0, 1, 2, 3}},
        {Write, {2, 9}, {}, false, 2, 0x21, 0x0302, 2, {2, 9}},
    };
    for (const Case &c : cases) {
        rec->stall = c.stall;
        rec->answer = c.answer;
        tablet.clearLogs();
        emu::Bytes data = c.data;
        int res = c.op == Send  ? hid_send_feature_report(dev, data.data(), data.size())
                  : c.op == Get ? hid_get_feature_report(dev, data.data(), data.size())
                                : hid_write(dev, data.data(), data.size());
        EXPECT_EQ(res, c.result) << c.op << " value " << std::hex << c.value;
        std::vector<emu::ControlRequest> log = tablet.controlLog();
        ASSERT_EQ(log.size(), 1u);
        EXPECT_EQ(std::make_tuple(log[0].requestType, log[0].request, log[0].value, log[0].index, log[0].length),
                  std::make_tuple(c.type, uint8_t(c.type == 0x21 ? 9 : 1), c.value, uint16_t(0), c.length));
        EXPECT_EQ(c.type == 0x21 ? log[0].data : data, c.after);
    }
    rec->stall = true;
    EXPECT_EQ(printed([&] { EXPECT_EQ(hid_write(dev, buf, 3), -1); }), "libusb_control_transfer fail\n");
}

// With an interrupt OUT endpoint hid_write uses it, byte 0 included.
TEST_F(Handle, InterruptWrite)
{
    emu::Device &tablet = open(true);
    ASSERT_NE(dev, nullptr);
    emu::Bytes out = ramp(0, 64);
    EXPECT_EQ(hid_write(dev, out.data(), out.size()), 64);
    EXPECT_EQ(tablet.interruptOutLog(), std::vector<emu::Bytes>{out});
    EXPECT_TRUE(tablet.controlLog().empty());
    tablet.unplug();
    EXPECT_EQ(printed([&] { EXPECT_EQ(hid_write(dev, out.data(), out.size()), -1); }),
              "libusb_interrupt_transfer fail\n");
}

// An 8-byte read of a 64-byte report gives 8 and drops the rest; of 33
// unread reports the first is gone and reads give the 2nd to the 33rd, also
// after an unplug; then every read is -1 at once, whatever its time-out, with
// nothing printed.
TEST_F(Handle, ShortReadsQueueLimitAndUnplug)
{
    emu::Device &tablet = open();
    ASSERT_NE(dev, nullptr);
    tablet.push(ramp(0, 64));
    tablet.push(ramp(100, 10));
    ASSERT_TRUE(taken(tablet));
    ASSERT_EQ(read(-1, 8), 8);
    EXPECT_EQ(emu::Bytes(buf, buf + 8), ramp(0, 8));
    ASSERT_EQ(read(0), 10);
    EXPECT_EQ(buf[0], 100);
    EXPECT_EQ(read(0), 0);

    for (int i = 1; i <= 33; ++i)
        tablet.push(emu::Bytes(8, (uint8_t)i));
    ASSERT_TRUE(taken(tablet));
    tablet.unplug();
    for (int want = 2; want <= 33; ++want) {
        ASSERT_EQ(read(want % 2 ? -1 : 0), 8);
        EXPECT_EQ(buf[0], want);
    }
    EXPECT_EQ(read(-1), -1);
    EXPECT_EQ(printed([&] { EXPECT_EQ(read(50), -1); }), "");
}

// A queued report returns at once; on an empty queue 0 and below give 0
// silently, a positive time-out prints its line and gives 0 no sooner than
// the time-out (a lower bound only: milliseconds taken as microseconds would
// make the pads' 800 ms waits vanish); -1 waits for a report pushed later;
// hid_read follows the blocking flag.
TEST_F(Handle, ReadTimeoutRules)
{
    emu::Device &tablet = open();
    ASSERT_NE(dev, nullptr);
    struct Case {
        bool queued;
        int ms, result;
        const char *printed;
    } cases[] = {{false, 0, 0, ""},  {false, -7, 0, ""}, {false, 40, 0, "hid_read mills 40\n"},
                 {true, 20, 5, ""},  {true, 0, 5, ""},   {true, -1, 5, ""}};
    for (const Case &c : cases) {
        if (c.queued) {
            tablet.push(ramp(1, 5));
            ASSERT_TRUE(taken(tablet));
        }
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(printed([&] { EXPECT_EQ(read(c.ms), c.result) << c.ms; }), c.printed) << c.ms;
        if (!c.queued && c.ms > 0) {
            EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(c.ms));
        }
    }

    int result = -2;
    std::thread reader([&] { result = hid_read(dev, buf, sizeof buf); });  // blocking at open
    tablet.push(ramp(7, 12));
    reader.join();
    EXPECT_EQ(result, 12);
    hid_set_nonblocking(dev, 1);
    EXPECT_EQ(hid_read(dev, buf, sizeof buf), 0);
}

// Strings in the device's first language (the test's locale is in no row of
// the language table); a copy is cut to the caller's buffer.
TEST_F(Bus, StringGetters)
{
    emu::DeviceSpec profile = emu::DeviceSpec::tabletPid(0x8816);
    profile.manufacturer = "Tavrel Technologh";
    profile.product = "KV-C3";
    profile.serial = "SN-0042";
    profile.languages = {0x0407, 0x0409};
    hid_device *dev = hid_open_path(pathOf(bed->add(profile)).c_str());
    ASSERT_NE(dev, nullptr);
    wchar_t text[64];
    ASSERT_EQ(hid_get_manufacturer_string(dev, text, 64), 0);
    EXPECT_STREQ(text, L"Tavrel Technologh");
    ASSERT_EQ(hid_get_product_string(dev, text, 64), 0);
    EXPECT_STREQ(text, L"KV-C3");
    ASSERT_EQ(hid_get_serial_number_string(dev, text, 4), 0);
    EXPECT_STREQ(text, L"SN-");
    EXPECT_EQ(hid_get_indexed_string(dev, 9, text, 64), -1);
    hid_close(dev);
}

// A close while reports stream in must return: its cancel can reach the
// device just as the read transfer completes, and the transfer must then not
// be put back in flight.
TEST_F(Bus, CloseWhileReportsStream)
{
    emu::Device &tablet = bed->add(emu::DeviceSpec::tabletPid(0x8421));
    std::vector<emu::Bytes> stream(4000, emu::Bytes(8, 0x55));
    for (int round = 0; round < 60; ++round) {
        hid_device *dev = hid_open_path(pathOf(tablet).c_str());
        ASSERT_NE(dev, nullptr);
        tablet.pushPaced(stream, std::chrono::microseconds(20));
        std::this_thread::sleep_for(std::chrono::microseconds(500 + 97 * round));
        hid_close(dev);
        EXPECT_FALSE(tablet.claimed());
        tablet.waitPacedDone();
    }
}
