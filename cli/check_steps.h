// The check of one tablet: its steps in order (identity, modes, pen, keys,
// fingerprint), each printed with its verdict as it ends.
#pragma once

#include "check_pen.h"
#include "check_report.h"
#include "console.h"

namespace cli {

struct CheckSettings {
    int modeAttempts = 5;  // mode commands before a mode fails
    double seconds = 30;   // time limit of the pen, key and fingerprint steps
    PenLimits limits;
    bool fingerprint = true;
};

// Checks the tablet of catalogue row `row` into *result. False when Ctrl-C
// ended it (the running step failed with "interrupted").
bool checkTablet(int row, const CheckSettings &settings, Console &console, TabletResult *result);

}  // namespace cli
