// The three fingerprint scanners the tool knows, as emulated USB devices.
// They answer nothing but the standard requests: the tool only lists them
// and leaves the talking to the scanner's own library.
#pragma once

#include "emulator/emulator.h"

namespace emu {

// Scanner of `type` 0, 1 or 2: vendor and product id of that type, device
// class 0 and an interface of class 0, 220 or 8 in that order.
DeviceSpec scannerSpec(int type);

} // namespace emu
