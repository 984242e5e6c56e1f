// The check's fingerprint step: the attached scanner's own library, loaded
// by name from lib/ beside the program as the window's fingerprint test
// loads it, and its frames scored by the same rule: a frame counts when its
// score is above 60, and the fourth counted frame completes the capture.
// The window's capture dialog is a Qt dialog with a worker thread; the
// command line has no window, so the libraries are driven here directly.
#pragma once

#include <string>
#include <vector>

#include "check_report.h"

namespace cli {

struct FingerprintResult {
    Verdict verdict = Verdict::Skipped;
    std::string reason;
    std::vector<Figure> figures;
};

// Skipped when no known scanner is on the bus. Tries for at most `seconds`.
FingerprintResult captureFingerprint(double seconds);

}  // namespace cli
