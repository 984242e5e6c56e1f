// Report traffic of an open handle: the input queue, output and feature
// reports.
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include "sphid_internal.h"

static const unsigned kWriteControlTimeoutMs = 2000;
static const unsigned kWriteInterruptTimeoutMs = 1000;
static const unsigned kFeatureTimeoutMs = 1000;

// Report type 3 (feature) in the high byte of wValue. hid_write uses it on
// the control pipe too: the devices take their output reports that way.
static const uint16_t kFeatureReportValue = 0x0300;

// Takes the oldest report into data, at most length bytes; a longer report
// loses its tail. Called with the mutex held.
static int return_data(hid_device *dev, unsigned char *data, size_t length)
{
    struct input_report *report = dev->input_reports;
    size_t len = report->len < length ? report->len : length;
    if (len > 0)
        memcpy(data, report->data, len);
    dev->input_reports = report->next;
    free(report->data);
    free(report);
    return (int)len;
}

static void cleanup_mutex(void *param)
{
    hid_device *dev = static_cast<hid_device *>(param);
    pthread_mutex_unlock(&dev->mutex);
}

int hid_read_timeout(hid_device *dev, unsigned char *data, size_t length, int milliseconds)
{
    int bytes_read = -1;

    pthread_mutex_lock(&dev->mutex);
    // A reader cancelled inside the wait must not leave the queue locked.
    pthread_cleanup_push(cleanup_mutex, dev);

    if (dev->input_reports != nullptr) {
        bytes_read = return_data(dev, data, length);
    } else if (dev->shutdown_thread) {
        bytes_read = -1;
    } else if (milliseconds == -1) {
        while (dev->input_reports == nullptr && !dev->shutdown_thread)
            pthread_cond_wait(&dev->condition, &dev->mutex);
        if (dev->input_reports != nullptr)
            bytes_read = return_data(dev, data, length);
    } else if (milliseconds <= 0) {
        bytes_read = 0;
    } else {
        struct timespec deadline;
        clock_gettime(CLOCK_REALTIME, &deadline);
        deadline.tv_sec += milliseconds / 1000;
        deadline.tv_nsec += (milliseconds % 1000) * 1000000L;
        if (deadline.tv_nsec >= 1000000000L) {
            deadline.tv_sec++;
            deadline.tv_nsec -= 1000000000L;
        }
        printf("hid_read mills %d\n", milliseconds);

        while (dev->input_reports == nullptr && !dev->shutdown_thread) {
            int res = pthread_cond_timedwait(&dev->condition, &dev->mutex, &deadline);
            if (res == 0) {
                if (dev->input_reports != nullptr) {
                    bytes_read = return_data(dev, data, length);
                    break;
                }
                // Spurious wake-up or shutdown: the loop condition decides.
            } else {
                bytes_read = res == ETIMEDOUT ? 0 : -1;
                break;
            }
        }
    }

    pthread_cleanup_pop(1);
    return bytes_read;
}

int hid_read(hid_device *dev, unsigned char *data, size_t length)
{
    return hid_read_timeout(dev, data, length, dev->blocking ? -1 : 0);
}

int hid_set_nonblocking(hid_device *dev, int nonblock)
{
    dev->blocking = !nonblock;
    return 0;
}

int hid_write(hid_device *dev, const unsigned char *data, size_t length)
{
    // Report id 0 gets no special treatment: every byte goes out.
    if (dev->output_endpoint <= 0) {
        int res = libusb_control_transfer(
            dev->device_handle, LIBUSB_REQUEST_TYPE_CLASS | LIBUSB_RECIPIENT_INTERFACE | LIBUSB_ENDPOINT_OUT,
            0x09 /* SET_REPORT */, (uint16_t)(kFeatureReportValue | data[0]), (uint16_t)dev->interface,
            const_cast<unsigned char *>(data), (uint16_t)length, kWriteControlTimeoutMs);
        if (res < 0) {
            printf("libusb_control_transfer fail\n");
            return -1;
        }
        return (int)length;
    }

    int actual_length = 0;
    int res = libusb_interrupt_transfer(dev->device_handle, (unsigned char)dev->output_endpoint,
                                        const_cast<unsigned char *>(data), (int)length,
                                        &actual_length, kWriteInterruptTimeoutMs);
    if (res < 0) {
        printf("libusb_interrupt_transfer fail\n");
        return -1;
    }
    return actual_length;
}

int hid_send_feature_report(hid_device *dev, const unsigned char *data, size_t length)
{
    unsigned char report_number = data[0];
    size_t wire_length = length;
    // Report id 0 means "no id": it is not sent.
    if (report_number == 0x0) {
        data++;
        wire_length--;
    }
    int res = libusb_control_transfer(
        dev->device_handle, LIBUSB_REQUEST_TYPE_CLASS | LIBUSB_RECIPIENT_INTERFACE | LIBUSB_ENDPOINT_OUT,
        0x09 /* SET_REPORT */, (uint16_t)(kFeatureReportValue | report_number), (uint16_t)dev->interface,
        const_cast<unsigned char *>(data), (uint16_t)wire_length, kFeatureTimeoutMs);
    if (res < 0)
        return -1;
    return (int)length;
}

int hid_get_feature_report(hid_device *dev, unsigned char *data, size_t length)
{
    unsigned char report_number = data[0];
    bool skipped_report_id = false;
    if (report_number == 0x0) {
        data++;
        length--;
        skipped_report_id = true;
    }
    int res = libusb_control_transfer(
        dev->device_handle, LIBUSB_REQUEST_TYPE_CLASS | LIBUSB_RECIPIENT_INTERFACE | LIBUSB_ENDPOINT_IN,
        0x01 /* GET_REPORT */, (uint16_t)(kFeatureReportValue | report_number), (uint16_t)dev->interface,
        data, (uint16_t)length, kFeatureTimeoutMs);
    if (res < 0)
        return -1;
    if (skipped_report_id)
        res++;
    return res;
}

const wchar_t *hid_error(hid_device *dev)
{
    (void)dev;
    return nullptr;
}
