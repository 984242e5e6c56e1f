// The HID transport: USB enumeration, opening a HID interface, a read thread
// per handle that keeps one interrupt transfer running and queues input
// reports, and synchronous report calls. libusb-1.0 is the only thing below it.
#pragma once

#include <stddef.h>
#include <wchar.h>

#ifdef __cplusplus
extern "C" {
#endif

// Opaque handle of one open HID interface.
struct hid_device_;
typedef struct hid_device_ hid_device;

// One HID interface found by hid_enumerate. Only path, vendor_id, product_id,
// release_number, interface_number and next are filled: the enumeration opens
// no device and reads no strings.
struct hid_device_info {
    char *path;
    unsigned short vendor_id;
    unsigned short product_id;
    wchar_t *serial_number;
    unsigned short release_number;
    wchar_t *manufacturer_string;
    wchar_t *product_string;
    unsigned short usage_page;
    unsigned short usage;
    int interface_number;
    struct hid_device_info *next;
};

// One alternate setting of a device of class 0, 8 or 220 (usb_enumerate).
struct usb_device_info {
    unsigned short vendor_id;
    unsigned short product_id;
    unsigned short release_number;
    unsigned char device_class;
    struct usb_device_info *next;
};

// Starts the process-wide libusb context; 0, or -1 if libusb cannot start.
int hid_init(void);
// Releases the context; 0.
int hid_exit(void);

// HID interfaces matching vid/pid (0 matches any); null when there are none.
struct hid_device_info *hid_enumerate(unsigned short vendor_id, unsigned short product_id);
// Frees a list from hid_enumerate; null is accepted.
void hid_free_enumeration(struct hid_device_info *devs);

// Every alternate setting whose class (device class, or interface class where
// the device says 0) is 0, 8 or 220; null when there are none.
struct usb_device_info *usb_enumerate(void);
// Frees a list from usb_enumerate; null is accepted.
void usb_free_enumeration(struct usb_device_info *devs);

// Opens the first HID interface of vendor_id (and *product_id unless 0).
// With firmware (6 bytes) it receives bcdDevice as "%02x%02x" low byte first;
// without it, *product_id receives the product id of the device opened.
hid_device *hid_open(unsigned short vendor_id, unsigned short *product_id, char *firmware);
// Opens the interface named by a path of hid_enumerate; null on failure.
hid_device *hid_open_path(const char *path);

// Output report, byte 0 included; bytes written or -1.
int hid_write(hid_device *dev, const unsigned char *data, size_t length);
// One queued input report, at most length bytes: bytes copied, 0 on time-out,
// -1 once the device is gone. milliseconds -1 waits for ever.
int hid_read_timeout(hid_device *dev, unsigned char *data, size_t length, int milliseconds);
// hid_read_timeout waiting for ever when blocking, else not at all.
int hid_read(hid_device *dev, unsigned char *data, size_t length);
// Chooses the behaviour of hid_read; 0.
int hid_set_nonblocking(hid_device *dev, int nonblock);
// Feature report (byte 0 is the report id; id 0 is not sent); length or -1.
int hid_send_feature_report(hid_device *dev, const unsigned char *data, size_t length);
// Feature report into data (byte 0 the report id); bytes received or -1.
int hid_get_feature_report(hid_device *dev, unsigned char *data, size_t length);
// Stops the read thread, releases the interface and gives it back to the
// kernel driver; null is accepted.
void hid_close(hid_device *dev);
// Reads the HID report descriptor of the open interface into buf (at most
// buf_size bytes); the bytes received or -1.
int hid_get_report_descriptor(hid_device *dev, unsigned char *buf, size_t buf_size);

// An observer of every input report as it arrives, before it is queued, for
// tools that time or record the traffic. It runs on the handle's read thread
// inside libusb's event handling, so it must be short and never block. Set or
// clear it while no handle is open; null clears it.
typedef void (*hid_input_tap)(const unsigned char *data, size_t length, void *context);
void hid_set_input_tap(hid_input_tap tap, void *context);
// Input reports dropped from full queues since the process started.
unsigned long hid_reports_dropped(void);

// Always null: no operation keeps a reason.
const wchar_t *hid_error(hid_device *dev);

// String descriptors in the current locale's language; 0 or -1.
int hid_get_manufacturer_string(hid_device *dev, wchar_t *string, size_t maxlen);
int hid_get_product_string(hid_device *dev, wchar_t *string, size_t maxlen);
int hid_get_serial_number_string(hid_device *dev, wchar_t *string, size_t maxlen);
int hid_get_indexed_string(hid_device *dev, int string_index, wchar_t *string, size_t maxlen);

#ifdef __cplusplus
}
#endif
