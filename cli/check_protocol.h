// The identity and mode exchanges of the check, on the open transport handle
// before the reader runs. Unlike the window's open, which waits for sign mode
// as long as the tablet takes commands, each is bounded, so that a silent
// tablet fails its step instead of holding the check.
#pragma once

#include <string>

#include "tablet/pxtablet.h"

namespace cli {

enum class Exchange { Answered, NoAnswer, Gone, SendFailed };

// The identity block of a pad (its identity command, three attempts) or of a
// display tablet (the custom-ID exchange) into out[11].
Exchange readIdentity(hid_device *dev, const DEV_INFO_PX &row, unsigned char out[11]);

enum class PadMode { Sign, Start, Fingerprint };
const char *padModeName(PadMode m);  // "sign mode", ...
// Whether the model has the mode at all (start and fingerprint mode: KV-C1, KV-C5).
bool hasMode(const DEV_INFO_PX &row, PadMode m);
// Sends the mode command until the pad acknowledges it, at most `attempts`
// times, each waiting up to 800 ms for the acknowledgement; *used gets the
// attempts made.
Exchange enterMode(hid_device *dev, uint16_t pid, PadMode m, int attempts, int *used);

}  // namespace cli
