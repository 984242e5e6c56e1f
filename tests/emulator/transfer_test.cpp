// Driver binding, claims and every kind of transfer against emulated devices.
#include "usb_host.h"
#include "emulator/tablet_protocol.h"

#include <tuple>

using namespace emutest;

namespace {

// Answers like a tablet with one feature report (id 5), one that is empty
// (id 8) and a firmware that rejects report id 7; it echoes output reports as
// input reports.
class Scripted : public emu::Behaviour {
public:
    bool onSetReport(emu::Device &, uint8_t, uint8_t id, const Bytes &) override { return id != 7; }
    std::optional<Bytes> onGetReport(emu::Device &, uint8_t type, uint8_t id, uint16_t) override
    {
        const Bytes feature5 = {5, 0xA0, 0xA1, 0xA2, 0xA3, 0xA4, 0xA5, 0xA6, 0xA7, 0xA8};
        if (type == 3 && id == 8)
            return Bytes{};
        return type == 3 && id == 5 ? std::optional<Bytes>(feature5) : std::nullopt;
    }
    void onInterruptOut(emu::Device &dev, const Bytes &data) override
    {
        Bytes echo = data;
        echo[0] |= 0x80;
        dev.push(echo);
    }
};

} // namespace

// Who may claim what, step by step; each expected code is what Linux gives
// for the same step on hardware (EBUSY while another driver holds it).
TEST(EmulatorTransfer, DriverBindingAndClaims)
{
    emu::Testbed tb;
    emu::Device &hid = tb.add(DeviceSpec::tabletRow(0));
    emu::Device &scanner = tb.add(DeviceSpec::other(0x2109, 0x7638, 0, 8));
    Host host;
    libusb_device_handle *h = host.open(hid), *other = host.open(hid);
    ASSERT_TRUE(h && other);
    EXPECT_EQ(libusb_kernel_driver_active(h, 0), 1);
    EXPECT_EQ(libusb_claim_interface(h, 0), LIBUSB_ERROR_BUSY);
    EXPECT_EQ(libusb_detach_kernel_driver(h, 0), 0);
    EXPECT_FALSE(hid.kernelDriverBound());
    EXPECT_EQ(libusb_detach_kernel_driver(h, 0), LIBUSB_ERROR_NOT_FOUND);
    EXPECT_EQ(libusb_claim_interface(h, 0), 0);
    EXPECT_TRUE(hid.claimed());
    EXPECT_EQ(libusb_claim_interface(other, 0), LIBUSB_ERROR_BUSY);
    EXPECT_EQ(libusb_attach_kernel_driver(h, 0), LIBUSB_ERROR_BUSY);
    EXPECT_EQ(libusb_release_interface(h, 0), 0);
    EXPECT_FALSE(hid.claimed());
    EXPECT_EQ(libusb_attach_kernel_driver(h, 0), 0);
    EXPECT_EQ(libusb_kernel_driver_active(h, 0), 1);
    EXPECT_EQ(libusb_attach_kernel_driver(h, 0), LIBUSB_ERROR_NOT_FOUND); // already bound
    libusb_close(other);
    // A handle closed while it holds the claim gives it up.
    EXPECT_EQ(libusb_detach_kernel_driver(h, 0), 0);
    EXPECT_EQ(libusb_claim_interface(h, 0), 0);
    libusb_close(h);
    EXPECT_TRUE(waitFor([&] { return !hid.claimed(); }));

    // No class driver holds a scanner's interface or takes it back.
    h = host.open(scanner);
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(libusb_kernel_driver_active(h, 0), 0);
    EXPECT_EQ(libusb_claim_interface(h, 0), 0);
    EXPECT_EQ(libusb_release_interface(h, 0), 0);
    EXPECT_EQ(libusb_attach_kernel_driver(h, 0), LIBUSB_ERROR_NOT_FOUND);
    libusb_close(h);
}

// Control requests: recorded as sent, answered by the behaviour, truncated
// to the host's wLength, stalled where the behaviour says no; without a
// behaviour every OUT request is taken and every IN request stalled.
TEST(EmulatorTransfer, ControlRequests)
{
    emu::Testbed tb;
    emu::Device &dev = tb.add(DeviceSpec::tabletRow(14), std::make_shared<Scripted>());
    emu::Device &plain = tb.add(DeviceSpec::tabletRow(15));
    Host host;
    libusb_device_handle *h = host.openClaimed(dev);
    ASSERT_NE(h, nullptr);
    dev.clearLogs();
    unsigned char data[16] = {5, 1, 2, 3}, in[16] = {};
    EXPECT_EQ(libusb_control_transfer(h, 0x21, 9, 0x0305, 0, data, 4, 1000), 4);
    data[0] = 7;
    EXPECT_EQ(libusb_control_transfer(h, 0x21, 9, 0x0307, 0, data, 2, 1000), LIBUSB_ERROR_PIPE);
    EXPECT_EQ(libusb_control_transfer(h, 0xA1, 1, 0x0305, 0, in, 16, 1000), 10);
    EXPECT_EQ(Bytes(in, in + 10), (Bytes{5, 0xA0, 0xA1, 0xA2, 0xA3, 0xA4, 0xA5, 0xA6, 0xA7, 0xA8}));
    EXPECT_EQ(libusb_control_transfer(h, 0xA1, 1, 0x0305, 0, in, 4, 1000), 4); // the host asked for 4
    EXPECT_EQ(libusb_control_transfer(h, 0xA1, 1, 0x0306, 0, in, 4, 1000), LIBUSB_ERROR_PIPE);
    EXPECT_EQ(libusb_control_transfer(h, 0xA1, 1, 0x0308, 0, in, 4, 1000), 0); // answered with nothing
    // A stall does not wedge the pipe: the next request goes through.
    EXPECT_EQ(libusb_control_transfer(h, 0x21, 0x0A, 0, 0, nullptr, 0, 1000), 0); // SET_IDLE

    // Type, request, value, index, wLength and OUT data of each request, in order.
    using Row = std::tuple<int, int, int, int, int, Bytes>;
    const std::vector<Row> want = {
        {0x21, 9, 0x0305, 0, 4, {5, 1, 2, 3}}, {0x21, 9, 0x0307, 0, 2, {7, 1}}, {0xA1, 1, 0x0305, 0, 16, {}},
        {0xA1, 1, 0x0305, 0, 4, {}},           {0xA1, 1, 0x0306, 0, 4, {}},     {0xA1, 1, 0x0308, 0, 4, {}},
        {0x21, 0x0A, 0, 0, 0, {}},
    };
    std::vector<Row> got;
    for (const emu::ControlRequest &r : dev.controlLog())
        got.emplace_back(r.requestType, r.request, r.value, r.index, r.length, r.data);
    EXPECT_EQ(got, want);
    libusb_close(h);

    h = host.openClaimed(plain);
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(libusb_control_transfer(h, 0x21, 9, 0x0200, 0, data, 3, 1000), 3);
    EXPECT_EQ(libusb_control_transfer(h, 0xA1, 1, 0x0301, 0, in, 8, 1000), LIBUSB_ERROR_PIPE);
    EXPECT_EQ(libusb_control_transfer(h, 0xC0, 0x33, 0, 0, in, 8, 1000), LIBUSB_ERROR_PIPE);
    libusb_close(h);
}

// Interrupt OUT is recorded and reaches the behaviour; IN transfers get the
// pushed reports in order, then reports pushed at a pace (no sooner than
// due: 19 intervals of 5 ms); a report longer than the host's buffer
// overflows as on the wire.
TEST(EmulatorTransfer, InterruptTransfers)
{
    emu::Testbed tb;
    emu::Device &dev = tb.add(DeviceSpec::tabletRow(1, true), std::make_shared<Scripted>());
    Host host;
    libusb_device_handle *h = host.openClaimed(dev);
    ASSERT_NE(h, nullptr);
    unsigned char out[10] = {0x02, 0x11, 0x22}, in[10] = {};
    int done = 0;
    ASSERT_EQ(libusb_interrupt_transfer(h, 0x02, out, 10, &done, 1000), 0);
    EXPECT_EQ(done, 10);
    EXPECT_EQ(dev.interruptOutLog(), std::vector<Bytes>{Bytes(out, out + 10)});

    std::vector<Bytes> sent = {{0x82, 0x11, 0x22, 0, 0, 0, 0, 0, 0, 0}}, got; // the echo first
    for (uint8_t i = 1; i <= 5; ++i) {
        sent.push_back({i, uint8_t(i * 3)});
        dev.push(sent.back());
    }
    std::vector<Bytes> paced;
    for (uint8_t i = 0; i < 20; ++i)
        paced.push_back({0x02, i, uint8_t(~i), 0, 0, 0, 0, 0});
    const auto start = std::chrono::steady_clock::now();
    dev.pushPaced(paced, std::chrono::milliseconds(5));
    sent.insert(sent.end(), paced.begin(), paced.end());
    while (got.size() < sent.size() && libusb_interrupt_transfer(h, 0x81, in, 10, &done, 1000) == 0)
        got.emplace_back(in, in + done);
    EXPECT_EQ(got, sent);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(5 * 19));
    dev.waitPacedDone();

    dev.push(Bytes(12, 0x55));
    EXPECT_EQ(libusb_interrupt_transfer(h, 0x81, in, 10, &done, 1000), LIBUSB_ERROR_OVERFLOW);
    EXPECT_NE(libusb_interrupt_transfer(h, 0x83, in, 10, &done, 100), 0); // no such endpoint

    // Time-out and cancel both discard the URB: the device forgets it, and a
    // report pushed afterwards waits for the next transfer.
    done = -1;
    EXPECT_EQ(libusb_interrupt_transfer(h, 0x81, in, 8, &done, 30), LIBUSB_ERROR_TIMEOUT);
    EXPECT_EQ(done, 0);
    EXPECT_EQ(dev.pendingInTransfers(), 0);
    {
        InTransfer pending(host.ctx, h, 8);
        ASSERT_TRUE(waitFor([&] { return dev.pendingInTransfers() == 1; }));
        EXPECT_EQ(pending.finish(true), LIBUSB_TRANSFER_CANCELLED);
    }
    EXPECT_EQ(dev.pendingInTransfers(), 0);
    dev.push({1, 2, 3});
    EXPECT_EQ(dev.queuedReports(), 1u);
    ASSERT_EQ(libusb_interrupt_transfer(h, 0x81, in, 8, &done, 1000), 0);
    EXPECT_EQ(done, 3);
    libusb_close(h);
}

// An 8-byte pad command counts only when byte 7 is the sum of bytes 0..6 in
// eight bits, by hand: LED 05+05+06 = 10, clear 05+03+21 = 29. Anything else
// is refused with a stall, as the pad's firmware does.
TEST(EmulatorTransfer, PadCommandChecksum)
{
    emu::Testbed tb;
    auto pad = std::make_shared<emu::TabletBehaviour>(0x8421);
    emu::Device &dev = tb.add(DeviceSpec::tabletPid(0x8421), pad);
    Host host;
    libusb_device_handle *h = host.openClaimed(dev);
    ASSERT_NE(h, nullptr);
    const struct {
        Bytes command;
        int result;
    } cases[] = {
        {{0x05, 0x05, 0x06, 0, 0, 0, 0, 0x10}, 8},
        {{0x05, 0x05, 0x06, 0, 0, 0, 0, 0x11}, LIBUSB_ERROR_PIPE},
        {{0x05, 0x05, 0x06, 0, 0, 0, 0, 0x0B}, LIBUSB_ERROR_PIPE},  // report id left out of the sum
        {{0x05, 0x03, 0x21, 0, 0, 0, 0, 0x29}, 8},
        {{0x05, 0x03, 0x21, 0, 0, 0, 0, 0x00}, LIBUSB_ERROR_PIPE},
    };
    for (const auto &c : cases) {
        Bytes data = c.command;
        EXPECT_EQ(libusb_control_transfer(h, 0x21, 9, 0x0305, 0, data.data(), 8, 1000), c.result) << int(c.command[7]);
    }
    EXPECT_EQ(pad->history(), (std::vector<emu::Command>{emu::Command::Led, emu::Command::Unknown, emu::Command::Unknown,
                                                          emu::Command::Clear, emu::Command::Unknown}));
    libusb_close(h);
}
