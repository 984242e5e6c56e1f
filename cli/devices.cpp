#include "devices.h"

#include <libusb-1.0/libusb.h>
#include <strings.h>

#include <cstdio>
#include <cstdlib>

#include "tablet/catalogue.h"

namespace cli {

const ScannerId kScannerIds[3] = {{0x2309, 0x0606}, {0x28ED, 0x2043}, {0x0453, 0x9005}};

namespace {

bool identify(const libusb_device_descriptor &d, UsbDevice *out)
{
    if (d.idVendor == kTavrelVendorId) {
        const int row = catalogueRowOfPid(d.idProduct);
        if (row < 0)
            return false;
        out->tablet = true;
        out->model = Dev_info_px[row].model;
        return true;
    }
    for (int type = 0; type < 3; ++type) {
        if (d.idVendor == kScannerIds[type].vid && d.idProduct == kScannerIds[type].pid) {
            out->tablet = false;
            out->model = "fingerprint scanner, type " + std::to_string(type);
            return true;
        }
    }
    return false;
}

}  // namespace

bool listDevices(std::vector<UsbDevice> *devices, std::string *error)
{
    libusb_context *ctx = nullptr;
    if (int res = libusb_init(&ctx); res != 0) {
        *error = std::string("libusb cannot start: ") + libusb_strerror(res);
        return false;
    }
    libusb_device **list = nullptr;
    const ssize_t count = libusb_get_device_list(ctx, &list);
    if (count < 0) {
        *error = std::string("cannot list the USB devices: ") + libusb_strerror((int)count);
        libusb_exit(ctx);
        return false;
    }
    for (ssize_t i = 0; i < count; ++i) {
        libusb_device_descriptor desc;
        if (libusb_get_device_descriptor(list[i], &desc) != 0)
            continue;
        UsbDevice d;
        if (!identify(desc, &d))
            continue;
        d.vid = desc.idVendor;
        d.pid = desc.idProduct;
        d.bus = libusb_get_bus_number(list[i]);
        d.address = libusb_get_device_address(list[i]);
        char node[32];
        std::snprintf(node, sizeof node, "/dev/bus/usb/%03d/%03d", d.bus, d.address);
        d.node = node;
        libusb_device_handle *h = nullptr;
        const int res = libusb_open(list[i], &h);
        if (res == 0) {
            d.mayOpen = true;
            libusb_close(h);
        } else {
            d.accessDenied = res == LIBUSB_ERROR_ACCESS;
            d.problem = d.accessDenied ? "permission denied" : libusb_strerror(res);
        }
        devices->push_back(d);
    }
    libusb_free_device_list(list, 1);
    libusb_exit(ctx);
    return true;
}

std::string accessAdvice(const UsbDevice &d)
{
    char ids[16];
    std::snprintf(ids, sizeof ids, "%04x:%04x", d.vid, d.pid);
    return "slateprobe-cli: " + d.node + " (" + d.model + ", " + ids +
           ") exists, but this user may not open it.\n"
           "The udev rule 70-slateprobe.rules is missing or not applied; it gives the user\n"
           "logged in at this machine access to the tablets and scanners. Fix it as root:\n"
           "  cp packaging/70-slateprobe.rules /etc/udev/rules.d/    (from the source tree)\n"
           "  udevadm control --reload && udevadm trigger\n"
           "With the package installed the rule is in /lib/udev/rules.d/ already and the\n"
           "second command is enough.\n";
}

int rowOfModel(const std::string &text)
{
    for (int row = 0; row < kTabletCatalogueRows; ++row)
        if (strcasecmp(text.c_str(), Dev_info_px[row].model) == 0)
            return row;
    std::string hex = text;
    if (hex.size() > 2 && hex[0] == '0' && (hex[1] == 'x' || hex[1] == 'X'))
        hex = hex.substr(2);
    if (hex.empty() || hex.size() > 4)
        return -1;
    char *end = nullptr;
    const unsigned long pid = std::strtoul(hex.c_str(), &end, 16);
    if (*end != '\0')
        return -1;
    return catalogueRowOfPid(static_cast<uint16_t>(pid));
}

}  // namespace cli
