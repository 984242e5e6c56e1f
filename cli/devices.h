// What is on the bus, seen by this user: the tablets of the catalogue and the
// known fingerprint scanners, each with whether it may be opened, and the
// advice for a node that may not.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace cli {

struct UsbDevice {
    bool tablet = true;        // else a fingerprint scanner
    int bus = 0;
    int address = 0;
    uint16_t vid = 0;
    uint16_t pid = 0;
    std::string model;         // "KV-C1", or "fingerprint scanner, type 0"
    std::string node;          // /dev/bus/usb/BBB/DDD
    bool mayOpen = false;
    bool accessDenied = false; // libusb's access error: a permission matter
    std::string problem;       // libusb's words when it cannot be opened
};

// The USB ids of the three known scanners, by type (the scanner table of the
// fingerprint test; the CLI does not link the Qt side that holds it).
struct ScannerId {
    uint16_t vid;
    uint16_t pid;
};
extern const ScannerId kScannerIds[3];

// The devices in libusb's order, each tried with an open that is closed at
// once. False with *error when libusb cannot start.
bool listDevices(std::vector<UsbDevice> *devices, std::string *error);

// Several lines for a node this user may not open: which node, that the udev
// rule is missing or not applied, and the commands that fix it.
std::string accessAdvice(const UsbDevice &device);

// Catalogue row of a model given by name ("KV-C1", any case) or by product
// id in hex ("8420", "0x8420"); -1 when there is none.
int rowOfModel(const std::string &text);

}  // namespace cli
