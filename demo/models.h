// Choosing the virtual tablet of the demo run, and finding a real one.
#pragma once

#include <string>

namespace demo {

// Catalogue row of a model given by name ("KV-C1", any case) or product id
// in hexadecimal ("8420" or "0x8420"); -1 when no model matches.
int modelRow(const std::string &name);

// The first USB device under `devicesDir` (/sys/bus/usb/devices) whose
// idVendor is 5e1b, or "" when there is none.
std::string attachedTablet(const std::string &devicesDir);

}  // namespace demo
