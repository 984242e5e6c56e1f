// Internals of the HID transport shared by its source files.
#pragma once

#include <pthread.h>

#include <atomic>

#include <libusb-1.0/libusb.h>

#include "tablet/sphid.h"

// One received input report in the queue of a handle, oldest first.
struct input_report {
    unsigned char *data;  // exactly len bytes
    size_t len;
    struct input_report *next;
};

struct hid_device_ {
    libusb_device_handle *device_handle;
    int input_endpoint;
    int output_endpoint;           // 0 when the interface has none
    int input_ep_max_packet_size;
    int interface;
    int manufacturer_index;
    int product_index;
    int serial_index;
    // Chooses what hid_read does. A second open sets it while the first
    // reader still reads through the handle: atomic.
    std::atomic<int> blocking;
    pthread_t thread;
    pthread_mutex_t mutex;         // guards input_reports and the wait
    pthread_cond_t condition;      // a new report, or the read thread ended
    pthread_barrier_t barrier;     // start-up hand-shake with the read thread
    // Set by the read thread's callback, by hid_close on the caller's thread
    // and read by both: atomic. (The handle comes zeroed from calloc, which
    // is a valid zero for it.)
    std::atomic<int> shutdown_thread;
    int cancelled;                 // set by the read callback, atomically; libusb waits on it
    struct libusb_transfer *transfer;
    struct input_report *input_reports;
};

// One row of the language table: English name, lower-case locale code and
// USB language id.
struct lang_map_entry {
    const char *name;
    const char *string_code;
    unsigned short usb_code;
};

// 133 rows and a terminating row of zeros.
extern const struct lang_map_entry lang_map[];

// The process-wide libusb context; null while the layer is down.
extern libusb_context *usb_context;

// "%04x:%04x:%02x" of bus number, device address and interface, newly
// allocated.
char *make_path(libusb_device *dev, int interface_number);

// Hands a report just received to the input tap, if one is set.
void hid_observe_input(const unsigned char *data, size_t length);
// Counts one report dropped from a full input queue.
void hid_count_dropped(void);

// USB language id of the current locale, 0 when the table has none.
unsigned short get_usb_code_for_current_locale(void);

// Visits every alternate setting of every interface of conf, in order.
template <typename Visit>
void for_each_altsetting(const struct libusb_config_descriptor *conf, Visit visit)
{
    for (int j = 0; j < conf->bNumInterfaces; ++j) {
        const struct libusb_interface *intf = &conf->interface[j];
        for (int k = 0; k < intf->num_altsetting; ++k)
            visit(&intf->altsetting[k]);
    }
}
