// Unplug, replug, and the cost of waiting for a report.
#include "usb_host.h"

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

#include <set>

using emu::Bytes;
using emu::DeviceSpec;
using emutest::Host;
using emutest::Reader;

namespace {

std::chrono::microseconds processCpu()
{
    rusage ru{};
    getrusage(RUSAGE_SELF, &ru);
    return std::chrono::seconds(ru.ru_utime.tv_sec + ru.ru_stime.tv_sec) +
           std::chrono::microseconds(ru.ru_utime.tv_usec + ru.ru_stime.tv_usec);
}

} // namespace

// Unplugged: the pending read ends with NO_DEVICE, every later request fails
// with NO_DEVICE, the bus forgets the device. Replugged: a new address, and
// it works again from scratch (driver bound, nothing claimed).
TEST(EmulatorPlug, UnplugAndReplug)
{
    emu::Testbed tb;
    emu::Device &dev = tb.add(DeviceSpec::tabletRow(5));
    emu::Device &bystander = tb.add(DeviceSpec::tabletRow(6));
    Host host;
    libusb_device_handle *h = host.openClaimed(dev);
    ASSERT_NE(h, nullptr);
    const uint8_t oldAddress = dev.devnum();
    {
        Reader reader(host.ctx, h, 10);
        ASSERT_TRUE(emutest::eventually([&] { return dev.pendingInTransfers() == 1; }));
        dev.push({1});
        ASSERT_EQ(reader.waitFor(1).size(), 1u);
        dev.unplug();
        EXPECT_EQ(reader.waitEnd(), LIBUSB_TRANSFER_NO_DEVICE);
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
    EXPECT_TRUE(emutest::eventually([&] { return !host.sees(dev); }));
    EXPECT_TRUE(host.sees(bystander));

    dev.replug();
    EXPECT_TRUE(dev.plugged());
    EXPECT_NE(dev.devnum(), oldAddress);
    EXPECT_NE(dev.devnum(), bystander.devnum());
    ASSERT_TRUE(emutest::eventually([&] { return host.sees(dev); }));
    EXPECT_TRUE(dev.kernelDriverBound());
    h = host.openClaimed(dev);
    ASSERT_NE(h, nullptr);
    dev.push({3, 4});
    ASSERT_EQ(libusb_interrupt_transfer(h, 0x81, buf, 8, &done, 1000), 0);
    EXPECT_EQ(Bytes(buf, buf + done), (Bytes{3, 4}));
    libusb_close(h);
}

// A reader waiting on an idle device costs no CPU: the event loop sleeps in
// poll until a report is there. Generous bound: a quarter of one core.
TEST(EmulatorPlug, IdleReaderCostsNoCpu)
{
    emu::Testbed tb;
    emu::Device &dev = tb.add(DeviceSpec::tabletRow(0));
    Host host;
    libusb_device_handle *h = host.openClaimed(dev);
    ASSERT_NE(h, nullptr);
    {
        Reader reader(host.ctx, h, 20);
        ASSERT_TRUE(emutest::eventually([&] { return dev.pendingInTransfers() == 1; }));
        const auto cpu0 = processCpu();
        const auto wall0 = std::chrono::steady_clock::now();
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        const auto cpu = processCpu() - cpu0;
        const auto wall = std::chrono::steady_clock::now() - wall0;
        EXPECT_LT(cpu * 4, wall) << "CPU " << cpu.count() << " us";
        // Still alive after the idle spell.
        dev.push({7});
        EXPECT_EQ(reader.waitFor(1), (std::vector<Bytes>{{7}}));
    }
    libusb_close(h);
}

// Addresses are seven bits: a device replugged more often than that gets
// numbers back that no plug-in holds any more, never the bystander's.
TEST(EmulatorPlug, AddressesComeBack)
{
    emu::Testbed tb;
    emu::Device &dev = tb.add(DeviceSpec::tabletRow(2));
    emu::Device &bystander = tb.add(DeviceSpec::tabletRow(3));
    std::set<int> seen;
    for (int i = 0; i < 140; ++i) {
        dev.replug();
        ASSERT_GE(dev.devnum(), 2);
        ASSERT_LE(dev.devnum(), 127);
        ASSERT_NE(dev.devnum(), bystander.devnum());
        seen.insert(dev.devnum());
    }
    EXPECT_EQ(seen.size(), 125u); // 2..127 less the bystander's
    Host host;
    libusb_device_handle *h = host.openClaimed(dev);
    ASSERT_NE(h, nullptr);
    dev.push({9});
    unsigned char buf[10];
    int done = 0;
    EXPECT_EQ(libusb_interrupt_transfer(h, 0x81, buf, 10, &done, 1000), 0);
    EXPECT_EQ(done, 1);
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
    // Everything the child needs is built before fork: only exec after it.
    std::vector<char *> env;
    for (char **e = environ; *e; ++e)
        env.push_back(*e);
    char childFlag[] = "EMU_CHILD=1", self[] = "emulator_test", filter[] = "--gtest_filter=EmulatorPlug.ChildProcessSide";
    env.push_back(childFlag);
    env.push_back(nullptr);
    char *argv[] = {self, filter, nullptr};
    const pid_t pid = fork();
    if (pid == 0) {
        execve("/proc/self/exe", argv, env.data());
        _exit(127);
    }
    ASSERT_GT(pid, 0);
    EXPECT_TRUE(emutest::eventually([&] { return dev.pendingInTransfers() == 1; }));
    EXPECT_TRUE(dev.claimed());
    dev.push({42, 1, 2});
    int status = 0;
    ASSERT_EQ(waitpid(pid, &status, 0), pid);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    EXPECT_TRUE(emutest::eventually([&] { return !dev.claimed(); })); // closed with the child
}
