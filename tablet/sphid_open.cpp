// Opening and closing a HID interface, and the read thread that keeps one
// interrupt transfer in flight and queues what it receives.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "sphid_internal.h"

// Above this many hops from head to tail the oldest report goes: the queue
// holds at most 32 reports, and a sleeping reader never blocks the bus.
static const int kQueueHopLimit = 30;
static const unsigned kReadTransferTimeoutMs = 4000;

// The callback runs on whichever thread handles libusb's events: the read
// thread, or a thread inside a synchronous control transfer.
static void mark_cancelled(hid_device *dev)
{
    __atomic_store_n(&dev->cancelled, 1, __ATOMIC_RELEASE);
}

static void LIBUSB_CALL read_callback(struct libusb_transfer *transfer)
{
    hid_device *dev = static_cast<hid_device *>(transfer->user_data);

    if (transfer->status == LIBUSB_TRANSFER_COMPLETED) {
        hid_observe_input(transfer->buffer, (size_t)transfer->actual_length);
        auto *report = static_cast<struct input_report *>(malloc(sizeof(struct input_report)));
        report->data = static_cast<unsigned char *>(malloc((size_t)transfer->actual_length));
        memcpy(report->data, transfer->buffer, (size_t)transfer->actual_length);
        report->len = (size_t)transfer->actual_length;
        report->next = nullptr;

        pthread_mutex_lock(&dev->mutex);
        if (dev->input_reports == nullptr) {
            dev->input_reports = report;
            pthread_cond_signal(&dev->condition);
        } else {
            struct input_report *tail = dev->input_reports;
            int hops = 0;
            while (tail->next != nullptr) {
                tail = tail->next;
                ++hops;
            }
            tail->next = report;
            if (hops > kQueueHopLimit) {
                struct input_report *oldest = dev->input_reports;
                dev->input_reports = oldest->next;
                free(oldest->data);
                free(oldest);
                hid_count_dropped();
            }
        }
        pthread_mutex_unlock(&dev->mutex);
    } else if (transfer->status == LIBUSB_TRANSFER_CANCELLED ||
               transfer->status == LIBUSB_TRANSFER_NO_DEVICE) {
        dev->shutdown_thread = 1;
        mark_cancelled(dev);
        return;
    }
    // A close's cancel can reach the device just after the transfer
    // completed: the cancel is then lost and the transfer comes back as
    // completed. Resubmitting it then left the close waiting for a
    // cancellation that never came.
    if (dev->shutdown_thread) {
        mark_cancelled(dev);
        return;
    }
    // Completed, timed out, stalled or any other status: keep listening.
    if (libusb_submit_transfer(transfer) != 0) {
        dev->shutdown_thread = 1;
        mark_cancelled(dev);
    }
}

static void *read_thread(void *param)
{
    hid_device *dev = static_cast<hid_device *>(param);

    size_t length = (size_t)dev->input_ep_max_packet_size;
    auto *buf = static_cast<unsigned char *>(malloc(length));
    dev->transfer = libusb_alloc_transfer(0);
    libusb_fill_interrupt_transfer(dev->transfer, dev->device_handle,
                                   (unsigned char)dev->input_endpoint, buf, (int)length,
                                   read_callback, dev, kReadTransferTimeoutMs);
    // An interface that cannot be read ends the thread at once: readers
    // then get -1 instead of waiting on a transfer that never runs.
    if (libusb_submit_transfer(dev->transfer) != 0) {
        dev->shutdown_thread = 1;
        mark_cancelled(dev);
    }

    pthread_barrier_wait(&dev->barrier);

    while (!dev->shutdown_thread) {
        int res = libusb_handle_events(usb_context);
        if (res < 0 && res != LIBUSB_ERROR_BUSY && res != LIBUSB_ERROR_TIMEOUT &&
            res != LIBUSB_ERROR_OVERFLOW && res != LIBUSB_ERROR_INTERRUPTED)
            break;
    }

    libusb_cancel_transfer(dev->transfer);
    while (!__atomic_load_n(&dev->cancelled, __ATOMIC_ACQUIRE))
        libusb_handle_events_completed(usb_context, &dev->cancelled);

    // Wake every reader: with the thread gone an empty queue means -1.
    pthread_mutex_lock(&dev->mutex);
    pthread_cond_broadcast(&dev->condition);
    pthread_mutex_unlock(&dev->mutex);
    return nullptr;
}

static hid_device *new_hid_device(void)
{
    auto *dev = static_cast<hid_device *>(calloc(1, sizeof(hid_device)));
    dev->blocking = 1;
    pthread_mutex_init(&dev->mutex, nullptr);
    pthread_cond_init(&dev->condition, nullptr);
    pthread_barrier_init(&dev->barrier, nullptr, 2);
    return dev;
}

static void free_hid_device(hid_device *dev)
{
    pthread_barrier_destroy(&dev->barrier);
    pthread_cond_destroy(&dev->condition);
    pthread_mutex_destroy(&dev->mutex);
    free(dev);
}

// Opens, detaches the kernel driver from and claims one interface, takes
// its endpoints and starts the read thread. False leaves nothing open.
static bool open_interface(hid_device *dev, libusb_device *usb_dev,
                           const struct libusb_interface_descriptor *alt)
{
    if (libusb_open(usb_dev, &dev->device_handle) < 0)
        return false;
    if (libusb_kernel_driver_active(dev->device_handle, alt->bInterfaceNumber) == 1 &&
        libusb_detach_kernel_driver(dev->device_handle, alt->bInterfaceNumber) < 0) {
        libusb_close(dev->device_handle);
        dev->device_handle = nullptr;
        return false;
    }
    if (libusb_claim_interface(dev->device_handle, alt->bInterfaceNumber) < 0) {
        libusb_close(dev->device_handle);
        dev->device_handle = nullptr;
        return false;
    }

    struct libusb_device_descriptor desc;
    libusb_get_device_descriptor(usb_dev, &desc);
    dev->manufacturer_index = desc.iManufacturer;
    dev->product_index = desc.iProduct;
    dev->serial_index = desc.iSerialNumber;
    dev->interface = alt->bInterfaceNumber;

    // No check that a field is still free: the last interrupt endpoint of
    // each direction wins.
    for (int e = 0; e < alt->bNumEndpoints; ++e) {
        const struct libusb_endpoint_descriptor *ep = &alt->endpoint[e];
        if ((ep->bmAttributes & 3) != LIBUSB_TRANSFER_TYPE_INTERRUPT)
            continue;
        if (ep->bEndpointAddress & LIBUSB_ENDPOINT_IN) {
            dev->input_endpoint = ep->bEndpointAddress;
            dev->input_ep_max_packet_size = ep->wMaxPacketSize;
        } else {
            dev->output_endpoint = ep->bEndpointAddress;
        }
    }

    pthread_create(&dev->thread, nullptr, read_thread, dev);
    pthread_barrier_wait(&dev->barrier);
    return true;
}

hid_device *hid_open_path(const char *path)
{
    if (hid_init() < 0)
        return nullptr;

    hid_device *dev = new_hid_device();
    libusb_device **devs = nullptr;
    bool opened = false;
    ssize_t count = libusb_get_device_list(usb_context, &devs);
    for (ssize_t i = 0; i < count; ++i) {
        libusb_device *usb_dev = devs[i];
        struct libusb_config_descriptor *conf = nullptr;
        if (libusb_get_active_config_descriptor(usb_dev, &conf) < 0)
            continue;
        for_each_altsetting(conf, [&](const struct libusb_interface_descriptor *alt) {
            if (alt->bInterfaceClass != LIBUSB_CLASS_HID)
                return;
            char *dev_path = make_path(usb_dev, alt->bInterfaceNumber);
            // Once open, the other alternate settings of the same interface
            // (same path) are left alone.
            if (!opened && strcmp(dev_path, path) == 0)
                opened = open_interface(dev, usb_dev, alt);
            free(dev_path);
        });
        libusb_free_config_descriptor(conf);
    }
    if (count >= 0)
        libusb_free_device_list(devs, 1);

    if (!opened) {
        free_hid_device(dev);
        return nullptr;
    }
    return dev;
}

hid_device *hid_open(unsigned short vendor_id, unsigned short *product_id, char *firmware)
{
    struct hid_device_info *devs = hid_enumerate(vendor_id, *product_id);
    struct hid_device_info *found = nullptr;
    for (struct hid_device_info *cur = devs; cur != nullptr; cur = cur->next) {
        if (cur->vendor_id == vendor_id &&
            (*product_id == 0 || cur->product_id == *product_id)) {
            found = cur;
            break;
        }
    }

    hid_device *handle = nullptr;
    if (found != nullptr) {
        if (firmware != nullptr) {
            // The digits of bcdDevice with its bytes swapped: 0x0102 reads
            // "0201". Kept: the version shown to operators has always been so.
            snprintf(firmware, 6, "%02x%02x", found->release_number & 0xFF,
                     found->release_number >> 8);
        } else {
            *product_id = found->product_id;
        }
        handle = hid_open_path(found->path);
    }
    hid_free_enumeration(devs);
    return handle;
}

void hid_close(hid_device *dev)
{
    if (dev == nullptr)
        return;

    dev->shutdown_thread = 1;
    libusb_cancel_transfer(dev->transfer);
    pthread_join(dev->thread, nullptr);

    free(dev->transfer->buffer);
    libusb_free_transfer(dev->transfer);
    libusb_release_interface(dev->device_handle, dev->interface);
    // Given back whether or not a driver was detached at open.
    libusb_attach_kernel_driver(dev->device_handle, dev->interface);
    libusb_close(dev->device_handle);

    pthread_mutex_lock(&dev->mutex);
    while (dev->input_reports != nullptr) {
        struct input_report *next = dev->input_reports->next;
        free(dev->input_reports->data);
        free(dev->input_reports);
        dev->input_reports = next;
    }
    pthread_mutex_unlock(&dev->mutex);

    free_hid_device(dev);
}
