// Driver binding, claims and every kind of transfer against emulated devices.
#include "usb_host.h"

using emu::Bytes;
using emu::DeviceSpec;
using emutest::Host;
using emutest::Reader;

namespace {

// Answers like a tablet with one feature report (id 5) and a firmware that
// rejects report id 7; it echoes output reports as input reports.
class Scripted : public emu::Behaviour {
public:
    bool onSetReport(emu::Device &, uint8_t, uint8_t id, const Bytes &) override { return id != 7; }
    std::optional<Bytes> onGetReport(emu::Device &, uint8_t type, uint8_t id, uint16_t) override
    {
        if (type == 3 && id == 5)
            return Bytes{5, 0xA0, 0xA1, 0xA2, 0xA3, 0xA4, 0xA5, 0xA6, 0xA7, 0xA8};
        return std::nullopt;
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
    DeviceSpec unbound = DeviceSpec::tabletRow(1);
    unbound.kernelDriverBound = false;
    emu::Device &free = tb.add(unbound);
    emu::Device &scanner = tb.add(DeviceSpec::other(0x2109, 0x7638, 0, 8));
    Host host;

    libusb_device_handle *h = host.open(hid);
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(libusb_kernel_driver_active(h, 0), 1);
    EXPECT_EQ(libusb_claim_interface(h, 0), LIBUSB_ERROR_BUSY);
    EXPECT_EQ(libusb_detach_kernel_driver(h, 0), 0);
    EXPECT_FALSE(hid.kernelDriverBound());
    EXPECT_EQ(libusb_kernel_driver_active(h, 0), 0);
    EXPECT_EQ(libusb_detach_kernel_driver(h, 0), LIBUSB_ERROR_NOT_FOUND);
    EXPECT_EQ(libusb_claim_interface(h, 0), 0);
    EXPECT_TRUE(hid.claimed());

    libusb_device_handle *other = host.open(hid);
    ASSERT_NE(other, nullptr);
    EXPECT_EQ(libusb_claim_interface(other, 0), LIBUSB_ERROR_BUSY);

    EXPECT_EQ(libusb_attach_kernel_driver(h, 0), LIBUSB_ERROR_BUSY);
    EXPECT_EQ(libusb_release_interface(h, 0), 0);
    EXPECT_FALSE(hid.claimed());
    EXPECT_EQ(libusb_attach_kernel_driver(h, 0), 0);
    EXPECT_TRUE(hid.kernelDriverBound());
    EXPECT_EQ(libusb_attach_kernel_driver(h, 0), LIBUSB_ERROR_NOT_FOUND); // already bound
    libusb_close(other);

    // A handle closed while it holds the claim gives it up.
    EXPECT_EQ(libusb_detach_kernel_driver(h, 0), 0);
    EXPECT_EQ(libusb_claim_interface(h, 0), 0);
    libusb_close(h);
    EXPECT_TRUE(emutest::eventually([&] { return !hid.claimed(); }));

    h = host.open(free);
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(libusb_kernel_driver_active(h, 0), 0);
    EXPECT_EQ(libusb_claim_interface(h, 0), 0);
    libusb_close(h);

    // No class driver takes a scanner's interface back.
    h = host.open(scanner);
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(libusb_kernel_driver_active(h, 0), 0);
    EXPECT_EQ(libusb_claim_interface(h, 0), 0);
    EXPECT_EQ(libusb_release_interface(h, 0), 0);
    EXPECT_EQ(libusb_attach_kernel_driver(h, 0), LIBUSB_ERROR_NOT_FOUND);
    libusb_close(h);
}

// Control requests: recorded as sent, answered by the behaviour, truncated
// to the host's wLength, stalled where the behaviour says no.
TEST(EmulatorTransfer, ControlRequests)
{
    emu::Testbed tb;
    emu::Device &dev = tb.add(DeviceSpec::tabletRow(14), std::make_shared<Scripted>());
    emu::Device &plain = tb.add(DeviceSpec::tabletRow(15));
    Host host;
    libusb_device_handle *h = host.openClaimed(dev);
    ASSERT_NE(h, nullptr);
    dev.clearLogs();

    unsigned char data[16] = {5, 1, 2, 3};
    EXPECT_EQ(libusb_control_transfer(h, 0x21, 9, 0x0305, 0, data, 4, 1000), 4);
    data[0] = 7;
    EXPECT_EQ(libusb_control_transfer(h, 0x21, 9, 0x0307, 0, data, 2, 1000), LIBUSB_ERROR_PIPE);

    unsigned char in[16] = {};
    EXPECT_EQ(libusb_control_transfer(h, 0xA1, 1, 0x0305, 0, in, 16, 1000), 10);
    EXPECT_EQ(in[0], 5);
    EXPECT_EQ(in[9], 0xA8);
    EXPECT_EQ(libusb_control_transfer(h, 0xA1, 1, 0x0305, 0, in, 4, 1000), 4); // the host asked for 4
    EXPECT_EQ(libusb_control_transfer(h, 0xA1, 1, 0x0306, 0, in, 4, 1000), LIBUSB_ERROR_PIPE);
    // A stall does not wedge the pipe: the next request goes through.
    EXPECT_EQ(libusb_control_transfer(h, 0x21, 0x0A, 0, 0, nullptr, 0, 1000), 0); // SET_IDLE

    struct Want {
        uint8_t type, req;
        uint16_t value, length;
        Bytes data;
    };
    const std::vector<Want> want = {
        {0x21, 9, 0x0305, 4, {5, 1, 2, 3}}, {0x21, 9, 0x0307, 2, {7, 1}}, {0xA1, 1, 0x0305, 16, {}},
        {0xA1, 1, 0x0305, 4, {}},           {0xA1, 1, 0x0306, 4, {}},     {0x21, 0x0A, 0, 0, {}},
    };
    const auto log = dev.controlLog();
    ASSERT_EQ(log.size(), want.size());
    for (size_t i = 0; i < want.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(log[i].requestType, want[i].type);
        EXPECT_EQ(log[i].request, want[i].req);
        EXPECT_EQ(log[i].value, want[i].value);
        EXPECT_EQ(log[i].index, 0);
        EXPECT_EQ(log[i].length, want[i].length);
        EXPECT_EQ(log[i].data, want[i].data);
    }
    libusb_close(h);

    // Default answers: every OUT request taken, every IN request stalled.
    h = host.openClaimed(plain);
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(libusb_control_transfer(h, 0x21, 9, 0x0200, 0, data, 3, 1000), 3);
    EXPECT_EQ(libusb_control_transfer(h, 0xA1, 1, 0x0301, 0, in, 8, 1000), LIBUSB_ERROR_PIPE);
    EXPECT_EQ(libusb_control_transfer(h, 0xC0, 0x33, 0, 0, in, 8, 1000), LIBUSB_ERROR_PIPE);
    libusb_close(h);
}

// Interrupt OUT is recorded; an IN transfer gets the pushed reports in order,
// and a report longer than the host's buffer overflows as on the wire.
TEST(EmulatorTransfer, InterruptInAndOut)
{
    emu::Testbed tb;
    emu::Device &dev = tb.add(DeviceSpec::tabletRow(1, true), std::make_shared<Scripted>());
    Host host;
    libusb_device_handle *h = host.openClaimed(dev);
    ASSERT_NE(h, nullptr);

    unsigned char out[10] = {0x02, 0x11, 0x22};
    int done = 0;
    ASSERT_EQ(libusb_interrupt_transfer(h, 0x02, out, 10, &done, 1000), 0);
    EXPECT_EQ(done, 10);
    ASSERT_EQ(dev.interruptOutLog().size(), 1u);
    EXPECT_EQ(dev.interruptOutLog()[0], Bytes(out, out + 10));

    unsigned char in[10] = {};
    ASSERT_EQ(libusb_interrupt_transfer(h, 0x81, in, 10, &done, 1000), 0); // the echo
    EXPECT_EQ(done, 10);
    EXPECT_EQ(in[0], 0x82);
    EXPECT_EQ(in[2], 0x22);

    for (uint8_t i = 1; i <= 5; ++i)
        dev.push({i, uint8_t(i * 3)});
    for (uint8_t i = 1; i <= 5; ++i) {
        ASSERT_EQ(libusb_interrupt_transfer(h, 0x81, in, 10, &done, 1000), 0);
        EXPECT_EQ(done, 2);
        EXPECT_EQ(in[0], i);
        EXPECT_EQ(in[1], i * 3);
    }
    dev.push(Bytes(12, 0x55));
    EXPECT_EQ(libusb_interrupt_transfer(h, 0x81, in, 10, &done, 1000), LIBUSB_ERROR_OVERFLOW);

    EXPECT_NE(libusb_interrupt_transfer(h, 0x83, in, 10, &done, 100), 0); // no such endpoint
    libusb_close(h);
}

// Reports pushed at a pace reach a re-submitting reader in order, and not
// before they were due: the last cannot come before 19 intervals of 5 ms.
TEST(EmulatorTransfer, PacedReports)
{
    emu::Testbed tb;
    emu::Device &dev = tb.add(DeviceSpec::tabletRow(11));
    Host host;
    libusb_device_handle *h = host.openClaimed(dev);
    ASSERT_NE(h, nullptr);
    {
        Reader reader(host.ctx, h, 8);
        std::vector<Bytes> reports;
        for (uint8_t i = 0; i < 20; ++i)
            reports.push_back({0x02, i, uint8_t(~i), 0, 0, 0, 0, 0});
        const auto start = std::chrono::steady_clock::now();
        dev.pushPaced(reports, std::chrono::milliseconds(5));
        EXPECT_EQ(reader.waitFor(reports.size()), reports);
        EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(5 * 19));
        dev.waitPacedDone();
    }
    libusb_close(h);
}

// Cancel and time-out both discard the URB; the device forgets it.
TEST(EmulatorTransfer, CancelAndTimeout)
{
    emu::Testbed tb;
    emu::Device &dev = tb.add(DeviceSpec::tabletRow(12));
    Host host;
    libusb_device_handle *h = host.openClaimed(dev);
    ASSERT_NE(h, nullptr);

    unsigned char in[8];
    int done = -1;
    EXPECT_EQ(libusb_interrupt_transfer(h, 0x81, in, 8, &done, 30), LIBUSB_ERROR_TIMEOUT);
    EXPECT_EQ(done, 0);
    EXPECT_EQ(dev.pendingInTransfers(), 0);
    {
        Reader reader(host.ctx, h, 8);
        ASSERT_TRUE(emutest::eventually([&] { return dev.pendingInTransfers() == 1; }));
    } // cancels
    EXPECT_EQ(dev.pendingInTransfers(), 0);

    // A report pushed after the cancel waits for the next transfer.
    dev.push({1, 2, 3});
    EXPECT_EQ(dev.queuedReports(), 1u);
    ASSERT_EQ(libusb_interrupt_transfer(h, 0x81, in, 8, &done, 1000), 0);
    EXPECT_EQ(done, 3);
    libusb_close(h);
}

// Alternate settings: the host picks one of those described, no other.
TEST(EmulatorTransfer, AlternateSettings)
{
    DeviceSpec profile = DeviceSpec::other(0x1234, 0x5678, 0, 8);
    profile.altSettings = 3;
    emu::Testbed tb;
    emu::Device &dev = tb.add(profile);
    Host host;
    libusb_device_handle *h = host.openClaimed(dev);
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(libusb_set_interface_alt_setting(h, 0, 2), 0);
    EXPECT_EQ(dev.altSetting(), 2);
    EXPECT_NE(libusb_set_interface_alt_setting(h, 0, 3), 0);
    EXPECT_EQ(dev.altSetting(), 2);
    libusb_close(h);
}
