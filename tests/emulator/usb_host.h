// The host side of the emulator tests: plain libusb, as the tablet layer uses it.
#pragma once

#include "emulator/emulator.h"

#include <gtest/gtest.h>
#include <libusb.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace emutest {

using emu::Bytes;

// Polls `done` for up to five seconds: udev events and closed handles reach
// the other side asynchronously.
inline bool eventually(const std::function<bool()> &done)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (!done() && std::chrono::steady_clock::now() < end)
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    return done();
}

// One libusb context, made after the test bed and gone before it.
struct Host {
    Host() { EXPECT_EQ(libusb_init(&ctx), 0); }
    ~Host() { libusb_exit(ctx); }

    // The libusb device at the emulated device's current address, referenced, or null.
    libusb_device *find(const emu::Device &dev) const
    {
        libusb_device **list = nullptr;
        libusb_device *found = nullptr;
        for (ssize_t i = 0, n = libusb_get_device_list(ctx, &list); i < n; ++i)
            if (libusb_get_bus_number(list[i]) == dev.busnum() && libusb_get_device_address(list[i]) == dev.devnum())
                found = libusb_ref_device(list[i]);
        libusb_free_device_list(list, 1);
        return found;
    }

    bool sees(const emu::Device &dev) const
    {
        libusb_device *d = find(dev);
        libusb_unref_device(d);
        return d != nullptr;
    }

    libusb_device_handle *open(const emu::Device &dev) const
    {
        libusb_device *d = find(dev);
        libusb_device_handle *h = nullptr;
        if (d && libusb_open(d, &h) != 0)
            h = nullptr;
        libusb_unref_device(d);
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

// An interrupt IN transfer kept in flight and re-submitted from its callback,
// with an event thread behind it: the shape of the tablet layer's reader.
class Reader {
public:
    Reader(libusb_context *ctx, libusb_device_handle *h, int length) : buf_(size_t(length))
    {
        xfer_ = libusb_alloc_transfer(0);
        libusb_fill_interrupt_transfer(xfer_, h, 0x81, buf_.data(), length, &Reader::callback, this, 4000);
        inFlight_ = libusb_submit_transfer(xfer_) == 0;
        EXPECT_TRUE(inFlight_);
        thread_ = std::thread([this, ctx] {
            while (!stop_) {
                timeval tv{0, 50000};
                libusb_handle_events_timeout_completed(ctx, &tv, nullptr);
            }
        });
    }

    ~Reader()
    {
        {
            std::unique_lock<std::mutex> lock(m_);
            if (inFlight_)
                libusb_cancel_transfer(xfer_);
        }
        waitEnd();
        stop_ = true;
        thread_.join();
        libusb_free_transfer(xfer_);
    }

    // Waits until `n` reports arrived or the transfer ended for good.
    std::vector<Bytes> waitFor(size_t n)
    {
        std::unique_lock<std::mutex> lock(m_);
        cv_.wait_for(lock, std::chrono::seconds(10), [&] { return reports_.size() >= n || !inFlight_; });
        return reports_;
    }

    // The status that ended the transfer (cancelled, no device).
    libusb_transfer_status waitEnd()
    {
        std::unique_lock<std::mutex> lock(m_);
        cv_.wait_for(lock, std::chrono::seconds(10), [&] { return !inFlight_; });
        return endStatus_;
    }

private:
    static void LIBUSB_CALL callback(libusb_transfer *t)
    {
        auto *self = static_cast<Reader *>(t->user_data);
        std::lock_guard<std::mutex> lock(self->m_);
        if (t->status == LIBUSB_TRANSFER_COMPLETED)
            self->reports_.emplace_back(t->buffer, t->buffer + t->actual_length);
        if (t->status == LIBUSB_TRANSFER_CANCELLED || t->status == LIBUSB_TRANSFER_NO_DEVICE ||
            libusb_submit_transfer(t) != 0) {
            self->endStatus_ = t->status;
            self->inFlight_ = false;
        }
        self->cv_.notify_all();
    }

    Bytes buf_;
    libusb_transfer *xfer_ = nullptr;
    std::thread thread_;
    std::atomic<bool> stop_{false};
    std::mutex m_;
    std::condition_variable cv_;
    bool inFlight_ = false;
    libusb_transfer_status endStatus_ = LIBUSB_TRANSFER_COMPLETED;
    std::vector<Bytes> reports_;
};

} // namespace emutest
