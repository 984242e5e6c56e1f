// A fresh emulated bus per test: the test bed exists before libusb starts and
// the transport's context is released before the bed goes away.
#pragma once

#include <gtest/gtest.h>
#include <sys/prctl.h>

#include <chrono>
#include <functional>
#include <memory>
#include <thread>

#include "../support/wait.h"
#include "emulator/emulator.h"
#include "tablet/sphid.h"

class Bus : public ::testing::Test {
protected:
    void SetUp() override
    {
        prctl(PR_SET_TIMERSLACK, 1);  // the preload sleeps after each ioctl
        bed = std::make_unique<emu::Testbed>();
    }
    void TearDown() override
    {
        hid_exit();
        bed.reset();
    }
    // An empty bus again, libusb restarted on the next call.
    void newBus()
    {
        Bus::TearDown();
        bed = std::make_unique<emu::Testbed>();
    }
    std::unique_ptr<emu::Testbed> bed;
};

inline emu::DeviceSpec foreignHid(uint16_t vid, uint16_t pid)
{
    return emu::DeviceSpec::other(vid, pid, 0, 3);
}

// What a call prints on stdout.
template <typename F>
std::string printed(F call)
{
    ::testing::internal::CaptureStdout();
    call();
    return ::testing::internal::GetCapturedStdout();
}
