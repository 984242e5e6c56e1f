// A fresh emulated bus per test: the test bed exists before libusb starts,
// and the transport's context is released before the bed goes away.
#pragma once

#include <gtest/gtest.h>
#include <sys/prctl.h>

#include <chrono>
#include <functional>
#include <memory>
#include <thread>

#include "emulator/emulator.h"
#include "tablet/sphid.h"

namespace transporttest {

class Bus : public ::testing::Test {
protected:
    void SetUp() override
    {
        // The preload sleeps after each ioctl; default slack slows it a lot.
        prctl(PR_SET_TIMERSLACK, 1);
        bed = std::make_unique<emu::Testbed>();
    }
    void TearDown() override
    {
        hid_exit();
        bed.reset();
    }

    std::unique_ptr<emu::Testbed> bed;
};

// Polls until pred holds or ten seconds pass; the result is pred's last value.
inline bool waitFor(const std::function<bool()> &pred)
{
    auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!pred()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    return true;
}

// True once the transport has taken every pushed report and has its one
// read transfer waiting again.
inline bool allTaken(emu::Device &dev)
{
    return waitFor([&] { return dev.queuedReports() == 0 && dev.pendingInTransfers() == 1; });
}

// A HID device of another maker.
inline emu::DeviceSpec foreignHid(uint16_t vid, uint16_t pid)
{
    emu::DeviceSpec spec;
    spec.vendorId = vid;
    spec.productId = pid;
    spec.deviceClass = 0;
    spec.interfaceClass = 3;
    return spec;
}

} // namespace transporttest
