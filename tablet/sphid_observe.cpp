// Watching the input traffic of the transport from outside: a tap on every
// report as it arrives, the count of reports a full queue dropped, and the
// report descriptor of an open interface. The window uses none of this; the
// command-line tools time, show and record reports with it.
#include <atomic>

#include "sphid_internal.h"

namespace {
// Written while no handle is open, read by the read threads.
std::atomic<hid_input_tap> g_inputTap{nullptr};
std::atomic<void *> g_inputTapContext{nullptr};
std::atomic<unsigned long> g_dropped{0};

constexpr unsigned kDescriptorTimeoutMs = 1000;
constexpr uint16_t kReportDescriptorValue = LIBUSB_DT_REPORT << 8;
}  // namespace

void hid_set_input_tap(hid_input_tap tap, void *context)
{
    g_inputTapContext.store(context);
    g_inputTap.store(tap);
}

void hid_observe_input(const unsigned char *data, size_t length)
{
    if (hid_input_tap tap = g_inputTap.load(std::memory_order_acquire))
        tap(data, length, g_inputTapContext.load(std::memory_order_relaxed));
}

void hid_count_dropped(void)
{
    g_dropped.fetch_add(1, std::memory_order_relaxed);
}

unsigned long hid_reports_dropped(void)
{
    return g_dropped.load(std::memory_order_relaxed);
}

// GET_DESCRIPTOR (report) addressed to the claimed interface.
int hid_get_report_descriptor(hid_device *dev, unsigned char *buf, size_t buf_size)
{
    if (dev == nullptr || buf == nullptr)
        return -1;
    const uint16_t length = buf_size > 0xFFFF ? 0xFFFF : (uint16_t)buf_size;
    int res = libusb_control_transfer(dev->device_handle,
                                      LIBUSB_ENDPOINT_IN | LIBUSB_REQUEST_TYPE_STANDARD | LIBUSB_RECIPIENT_INTERFACE,
                                      LIBUSB_REQUEST_GET_DESCRIPTOR, kReportDescriptorValue,
                                      (uint16_t)dev->interface, buf, length, kDescriptorTimeoutMs);
    return res < 0 ? -1 : res;
}
