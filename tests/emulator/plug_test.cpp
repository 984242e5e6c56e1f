// Unplug, replug, the cost of waiting for a report, and a child process.
#include "usb_host.h"

#include <sys/resource.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>

using namespace emutest;

// A read pending on an idle device costs no CPU: the event loop sleeps in
// poll (generous bound: a quarter of one core). Unplugged: the read ends with
// NO_DEVICE, every later request fails with NO_DEVICE, the bus forgets the
// device. Replugged: a new address, and it works again from scratch (driver
// bound, nothing claimed).
TEST(EmulatorPlug, IdleUnplugAndReplug)
{
    const auto processCpu = [] {
        rusage ru{};
        getrusage(RUSAGE_SELF, &ru);
        return std::chrono::seconds(ru.ru_utime.tv_sec + ru.ru_stime.tv_sec) +
               std::chrono::microseconds(ru.ru_utime.tv_usec + ru.ru_stime.tv_usec);
    };
    emu::Testbed tb;
    emu::Device &dev = tb.add(DeviceSpec::tabletRow(5));
    emu::Device &bystander = tb.add(DeviceSpec::tabletRow(6));
    Host host;
    libusb_device_handle *h = host.openClaimed(dev);
    ASSERT_NE(h, nullptr);
    const uint8_t oldAddress = dev.devnum();
    {
        InTransfer pending(host.ctx, h, 10);
        ASSERT_TRUE(waitFor([&] { return dev.pendingInTransfers() == 1; }));
        const auto cpu0 = processCpu();
        const auto wall0 = std::chrono::steady_clock::now();
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        const auto cpu = processCpu() - cpu0;
        EXPECT_LT(cpu * 4, std::chrono::steady_clock::now() - wall0) << "CPU " << cpu.count() << " us";
        dev.unplug();
        EXPECT_EQ(pending.finish(), LIBUSB_TRANSFER_NO_DEVICE);
    }
    EXPECT_FALSE(dev.plugged());
    EXPECT_FALSE(dev.claimed());
    unsigned char buf[8] = {};
    int done = 0;
    EXPECT_EQ(libusb_control_transfer(h, 0x21, 9, 0x0300, 0, buf, 8, 1000), LIBUSB_ERROR_NO_DEVICE);
    EXPECT_EQ(libusb_interrupt_transfer(h, 0x81, buf, 8, &done, 100), LIBUSB_ERROR_NO_DEVICE);
    EXPECT_EQ(libusb_release_interface(h, 0), LIBUSB_ERROR_NO_DEVICE);
    EXPECT_EQ(libusb_attach_kernel_driver(h, 0), LIBUSB_ERROR_NO_DEVICE);
    dev.push({2}); // nobody there: dropped
    EXPECT_EQ(dev.queuedReports(), 0u);
    libusb_close(h);
    EXPECT_TRUE(waitFor([&] { return !host.at(dev); }));
    EXPECT_TRUE(host.at(bystander));

    dev.replug();
    EXPECT_NE(dev.devnum(), oldAddress);
    EXPECT_NE(dev.devnum(), bystander.devnum());
    ASSERT_TRUE(waitFor([&] { return host.at(dev); })); // the "add" uevent reached libusb
    EXPECT_TRUE(dev.kernelDriverBound());
    h = host.openClaimed(dev);
    ASSERT_NE(h, nullptr);
    dev.push({3, 4});
    ASSERT_EQ(libusb_interrupt_transfer(h, 0x81, buf, 8, &done, 1000), 0);
    EXPECT_EQ(Bytes(buf, buf + done), (Bytes{3, 4}));
    libusb_close(h);
}

// A replugged tablet starts with no reports: what was pushed before the
// unplug and never read, and what a paced push still had to send, are gone.
// Paced: one report now, two more 300 ms and 600 ms later; the unplug and
// replug come before the second is due, so without the cut both would reach
// the new plug-in. The first report read after the replug is the one pushed
// after it.
TEST(EmulatorPlug, ReplugDeliversNoStaleReports)
{
    emu::Testbed tb;
    emu::Device &dev = tb.add(DeviceSpec::tabletRow(5));
    Host host;
    libusb_device_handle *h = host.openClaimed(dev);
    ASSERT_NE(h, nullptr);
    dev.push({1});
    dev.push({2});
    EXPECT_EQ(dev.queuedReports(), 2u);
    dev.pushPaced({{5}, {6}, {7}}, std::chrono::milliseconds(300));
    dev.unplug();
    libusb_close(h);
    dev.replug();
    ASSERT_TRUE(waitFor([&] { return host.at(dev); }));
    EXPECT_EQ(dev.queuedReports(), 0u);
    h = host.openClaimed(dev);
    ASSERT_NE(h, nullptr);
    dev.waitPacedDone();
    EXPECT_EQ(dev.queuedReports(), 0u);
    dev.push({3, 4});
    unsigned char buf[8] = {};
    int done = 0;
    ASSERT_EQ(libusb_interrupt_transfer(h, 0x81, buf, 8, &done, 1000), 0);
    EXPECT_EQ(Bytes(buf, buf + done), (Bytes{3, 4}));
    libusb_close(h);
}

// The program under test may run in a child process (the GUI tests do so):
// it inherits the preload and the test bed, and the emulator here answers it.
// This binary re-runs itself as that child, with EMU_CHILD set.
TEST(EmulatorPlug, ChildProcessSide)
{
    if (!getenv("EMU_CHILD"))
        GTEST_SKIP() << "runs only as the child of ChildProcessUsesTheDevice";
    Host host;
    libusb_device_handle *h = libusb_open_device_with_vid_pid(host.ctx, 0x5E1B, 0x3101);
    ASSERT_NE(h, nullptr);
    ASSERT_EQ(libusb_detach_kernel_driver(h, 0), 0);
    ASSERT_EQ(libusb_claim_interface(h, 0), 0);
    unsigned char buf[20];
    int done = 0;
    ASSERT_EQ(libusb_interrupt_transfer(h, 0x81, buf, 20, &done, 5000), 0);
    EXPECT_EQ(Bytes(buf, buf + done), (Bytes{42, 1, 2}));
    libusb_close(h);
}

TEST(EmulatorPlug, ChildProcessUsesTheDevice)
{
    if (getenv("EMU_CHILD"))
        GTEST_SKIP();
    emu::Testbed tb;
    emu::Device &dev = tb.add(DeviceSpec::tabletRow(0));
    const std::string self = std::filesystem::read_symlink("/proc/self/exe");
    FILE *child = popen(("EMU_CHILD=1 " + self + " --gtest_filter=EmulatorPlug.ChildProcessSide").c_str(), "w");
    ASSERT_NE(child, nullptr);
    EXPECT_TRUE(waitFor([&] { return dev.pendingInTransfers() == 1; }));
    EXPECT_TRUE(dev.claimed());
    dev.push({42, 1, 2});
    EXPECT_EQ(pclose(child), 0); // the child's tests passed
    EXPECT_TRUE(waitFor([&] { return !dev.claimed(); })); // closed with the child
}
