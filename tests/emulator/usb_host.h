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

// Polls `done` until it holds or five seconds pass (udev events and closed
// handles reach the other side asynchronously).
inline bool eventually(const std::function<bool()> &done)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (!done()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

// One libusb context, made after the test bed and gone before it.
class Host {
public:
    Host() { EXPECT_EQ(libusb_init(&ctx), 0); }
    ~Host() { libusb_exit(ctx); }
    Host(const Host &) = delete;
    Host &operator=(const Host &) = delete;

    // The libusb device at the emulated device's current address (referenced), or null.
    libusb_device *find(const emu::Device &dev) const
    {
        libusb_device **list = nullptr;
        const ssize_t n = libusb_get_device_list(ctx, &list);
        libusb_device *found = nullptr;
        for (ssize_t i = 0; i < n; ++i) {
            if (libusb_get_bus_number(list[i]) == dev.busnum() &&
                libusb_get_device_address(list[i]) == dev.devnum())
                found = libusb_ref_device(list[i]);
        }
        libusb_free_device_list(list, 1);
        return found;
    }

    bool sees(const emu::Device &dev) const
    {
        libusb_device *d = find(dev);
        if (d)
            libusb_unref_device(d);
        return d != nullptr;
    }

    libusb_device_handle *open(const emu::Device &dev) const
    {
        libusb_device *d = find(dev);
        if (!d)
            return nullptr;
        libusb_device_handle *h = nullptr;
        const int r = libusb_open(d, &h);
        libusb_unref_device(d);
        return r == 0 ? h : nullptr;
    }

    // Opened, driver detached and interface 0 claimed, as the transport does it.
    libusb_device_handle *openClaimed(const emu::Device &dev) const
    {
        libusb_device_handle *h = open(dev);
        if (!h)
            return nullptr;
        if (libusb_kernel_driver_active(h, 0) == 1)
            libusb_detach_kernel_driver(h, 0);
        if (libusb_claim_interface(h, 0) != 0) {
            libusb_close(h);
            return nullptr;
        }
        return h;
    }

    libusb_context *ctx = nullptr;
};

// An interrupt IN transfer kept in flight and re-submitted from its callback
// with an event thread behind it: the shape of the tablet layer's reader.
class Reader {
public:
    Reader(libusb_context *ctx, libusb_device_handle *h, int length, unsigned timeoutMs = 4000)
        : ctx_(ctx), buf_(size_t(length))
    {
        xfer_ = libusb_alloc_transfer(0);
        libusb_fill_interrupt_transfer(xfer_, h, 0x81, buf_.data(), length, &Reader::callback, this,
                                       timeoutMs);
        inFlight_ = libusb_submit_transfer(xfer_) == 0;
        EXPECT_TRUE(inFlight_);
        thread_ = std::thread([this] {
            while (!stop_) {
                timeval tv{0, 50000};
                libusb_handle_events_timeout_completed(ctx_, &tv, nullptr);
            }
        });
    }

    ~Reader()
    {
        {
            std::unique_lock<std::mutex> lock(m_);
            if (inFlight_) {
                libusb_cancel_transfer(xfer_);
                cv_.wait_for(lock, std::chrono::seconds(5), [this] { return !inFlight_; });
            }
        }
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

    // Status that ended the transfer (cancelled, no device), once it has.
    std::optional<libusb_transfer_status> waitEnd()
    {
        std::unique_lock<std::mutex> lock(m_);
        cv_.wait_for(lock, std::chrono::seconds(10), [&] { return !inFlight_; });
        if (inFlight_)
            return std::nullopt;
        return endStatus_;
    }

    std::vector<std::chrono::steady_clock::time_point> arrivals()
    {
        std::lock_guard<std::mutex> lock(m_);
        return arrivals_;
    }

private:
    static void LIBUSB_CALL callback(libusb_transfer *t)
    {
        auto *self = static_cast<Reader *>(t->user_data);
        std::lock_guard<std::mutex> lock(self->m_);
        if (t->status == LIBUSB_TRANSFER_COMPLETED) {
            self->reports_.emplace_back(t->buffer, t->buffer + t->actual_length);
            self->arrivals_.push_back(std::chrono::steady_clock::now());
        }
        if (t->status == LIBUSB_TRANSFER_CANCELLED || t->status == LIBUSB_TRANSFER_NO_DEVICE ||
            libusb_submit_transfer(t) != 0) {
            self->endStatus_ = t->status;
            self->inFlight_ = false;
        }
        self->cv_.notify_all();
    }

    libusb_context *ctx_;
    Bytes buf_;
    libusb_transfer *xfer_ = nullptr;
    std::thread thread_;
    std::atomic<bool> stop_{false};
    std::mutex m_;
    std::condition_variable cv_;
    bool inFlight_ = false;
    libusb_transfer_status endStatus_ = LIBUSB_TRANSFER_COMPLETED;
    std::vector<Bytes> reports_;
    std::vector<std::chrono::steady_clock::time_point> arrivals_;
};

} // namespace emutest
