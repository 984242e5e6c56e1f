// Context start-up and the two bus listings: HID interfaces, and devices of
// the classes the fingerprint scanners use.
#include <locale.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "sphid_internal.h"

libusb_context *usb_context = nullptr;

int hid_init(void)
{
    if (usb_context != nullptr)
        return 0;
    if (libusb_init(&usb_context) != 0) {
        usb_context = nullptr;
        return -1;
    }
    // The string getters convert with iconv, which needs a locale.
    if (setlocale(LC_CTYPE, nullptr) == nullptr)
        setlocale(LC_CTYPE, "");
    return 0;
}

int hid_exit(void)
{
    if (usb_context != nullptr) {
        libusb_exit(usb_context);
        usb_context = nullptr;
    }
    return 0;
}

char *make_path(libusb_device *dev, int interface_number)
{
    char text[64];
    snprintf(text, sizeof text, "%04x:%04x:%02x", libusb_get_bus_number(dev),
             libusb_get_device_address(dev), interface_number);
    return strdup(text);
}

// The active configuration, or configuration 0 when there is none active.
static int config_of(libusb_device *dev, struct libusb_config_descriptor **conf)
{
    if (libusb_get_active_config_descriptor(dev, conf) >= 0)
        return 0;
    return libusb_get_config_descriptor(dev, 0, conf);
}

// Visits every alternate setting of every listed device whose descriptor and
// configuration can be read; false when the bus cannot be listed.
template <typename Visit>
static bool for_each_listed_altsetting(Visit visit)
{
    libusb_device **devs = nullptr;
    if (libusb_get_device_list(usb_context, &devs) < 0)
        return false;
    for (int i = 0; devs[i] != nullptr; ++i) {
        libusb_device *dev = devs[i];
        struct libusb_device_descriptor desc;
        if (libusb_get_device_descriptor(dev, &desc) < 0)
            continue;
        struct libusb_config_descriptor *conf = nullptr;
        if (config_of(dev, &conf) < 0)
            continue;
        for_each_altsetting(conf, [&](const struct libusb_interface_descriptor *alt) {
            visit(dev, desc, alt);
        });
        libusb_free_config_descriptor(conf);
    }
    libusb_free_device_list(devs, 1);
    return true;
}

// Appends node to the list whose first and last nodes are root and last.
template <typename Node>
static void append(Node *&root, Node *&last, Node *node)
{
    if (last != nullptr)
        last->next = node;
    else
        root = node;
    last = node;
}

struct hid_device_info *hid_enumerate(unsigned short vendor_id, unsigned short product_id)
{
    if (hid_init() < 0)
        return nullptr;

    struct hid_device_info *root = nullptr;
    struct hid_device_info *last = nullptr;
    bool listed = for_each_listed_altsetting([&](libusb_device *dev,
                                                 const struct libusb_device_descriptor &desc,
                                                 const struct libusb_interface_descriptor *alt) {
        bool wanted = (vendor_id == 0 || vendor_id == desc.idVendor) &&
                      (product_id == 0 || product_id == desc.idProduct);
        if (alt->bInterfaceClass != LIBUSB_CLASS_HID || !wanted)
            return;
        auto *node = static_cast<struct hid_device_info *>(calloc(1, sizeof(struct hid_device_info)));
        node->path = make_path(dev, alt->bInterfaceNumber);
        node->vendor_id = desc.idVendor;
        node->product_id = desc.idProduct;
        node->release_number = desc.bcdDevice;
        node->interface_number = alt->bInterfaceNumber;
        append(root, last, node);
    });
    return listed ? root : nullptr;
}

void hid_free_enumeration(struct hid_device_info *devs)
{
    while (devs != nullptr) {
        struct hid_device_info *next = devs->next;
        free(devs->path);
        free(devs->serial_number);
        free(devs->manufacturer_string);
        free(devs->product_string);
        free(devs);
        devs = next;
    }
}

struct usb_device_info *usb_enumerate(void)
{
    if (hid_init() < 0)
        return nullptr;

    // One node per alternate setting: a scanner may appear many times.
    struct usb_device_info *root = nullptr;
    struct usb_device_info *last = nullptr;
    bool listed = for_each_listed_altsetting([&](libusb_device *,
                                                 const struct libusb_device_descriptor &desc,
                                                 const struct libusb_interface_descriptor *alt) {
        unsigned char cls = desc.bDeviceClass;
        if (cls == 0)
            cls = alt->bInterfaceClass;
        if (cls != 0 && cls != 8 && cls != 220)
            return;
        auto *node = static_cast<struct usb_device_info *>(calloc(1, sizeof(struct usb_device_info)));
        node->vendor_id = desc.idVendor;
        node->product_id = desc.idProduct;
        node->release_number = desc.bcdDevice;
        node->device_class = cls;
        append(root, last, node);
    });
    return listed ? root : nullptr;
}

void usb_free_enumeration(struct usb_device_info *devs)
{
    while (devs != nullptr) {
        struct usb_device_info *next = devs->next;
        free(devs);
        devs = next;
    }
}
