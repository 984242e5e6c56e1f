// The host side of the emulator tests: plain libusb, as the tablet layer uses it.
#pragma once

#include "../support/wait.h"
#include "emulator/emulator.h"

#include <gtest/gtest.h>
#include <libusb.h>

#include <chrono>
#include <functional>
#include <thread>

namespace emutest {

using emu::Bytes;
using emu::DeviceSpec;

// One libusb context, made after the test bed and gone before it.
struct Host {
    Host() { EXPECT_EQ(libusb_init(&ctx), 0); }
    ~Host() { libusb_exit(ctx); }

    // Calls `use` with the libusb device at the emulated device's current
    // address; false when the bus has none there.
    bool at(const emu::Device &dev, const std::function<void(libusb_device *)> &use = {}) const
    {
        libusb_device **list = nullptr;
        bool found = false;
        for (ssize_t i = 0, n = libusb_get_device_list(ctx, &list); i < n && !found; ++i) {
            found = libusb_get_bus_number(list[i]) == dev.busnum() && libusb_get_device_address(list[i]) == dev.devnum();
            if (found && use)
                use(list[i]);
        }
        libusb_free_device_list(list, 1);
        return found;
    }

    libusb_device_handle *open(const emu::Device &dev) const
    {
        libusb_device_handle *h = nullptr;
        at(dev, [&](libusb_device *d) { EXPECT_EQ(libusb_open(d, &h), 0); });
        return h;
    }

    // Opened, driver detached and interface 0 claimed, as the transport does it.
    libusb_device_handle *openClaimed(const emu::Device &dev) const
    {
        libusb_device_handle *h = open(dev);
        if (h && libusb_kernel_driver_active(h, 0) == 1)
            libusb_detach_kernel_driver(h, 0);
        EXPECT_TRUE(h && libusb_claim_interface(h, 0) == 0);
        return h;
    }

    libusb_context *ctx = nullptr;
};

// One interrupt IN transfer in flight with an event thread behind it, the
// shape of the tablet layer's reader. Cancelled if still pending at the end.
struct InTransfer {
    InTransfer(libusb_context *ctx, libusb_device_handle *h, int length) : buf(size_t(length))
    {
        libusb_fill_interrupt_transfer(t, h, 0x81, buf.data(), length, &InTransfer::done, this, 0);
        completed = libusb_submit_transfer(t) != 0;
        EXPECT_FALSE(completed);
        events = std::thread([this, ctx] {
            while (!completed)
                libusb_handle_events_completed(ctx, &completed);
        });
    }
    ~InTransfer()
    {
        finish(true);
        libusb_free_transfer(t);
    }

    // Waits for the transfer to end and gives its status.
    libusb_transfer_status finish(bool cancel = false)
    {
        if (cancel)
            libusb_cancel_transfer(t);
        if (events.joinable())
            events.join();
        return t->status;
    }

    static void LIBUSB_CALL done(libusb_transfer *t) { static_cast<InTransfer *>(t->user_data)->completed = 1; }

    Bytes buf;
    libusb_transfer *t = libusb_alloc_transfer(0);
    std::thread events;
    int completed = 0;
};

} // namespace emutest
