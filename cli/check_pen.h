// The judgement of the check's pen and key steps, from the events the tablet
// layer dispatches and the arrival time of the report each came from: which
// cells of the writing area the pen reached, the pressure reached, the report
// rate while the pen is down, values beyond the model's range, and the keys.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tablet/pxtablet.h"

namespace cli {

// Where the pen writes, in the units the host reads after decoding: x in
// [x0, x1), y in [y0, y1).
struct PenArea {
    int x0, x1, y0, y1;
};
PenArea penAreaOf(const DEV_INFO_PX &row);

// A dispatched pressure as a share of the model's full raw range.
double pressureShare(const DEV_INFO_PX &row, float pressure);

struct PenLimits {
    int columns = 4, rows = 4;
    double pressure = 0.9;  // share of the model's maximum to reach
    double minRate = 100;   // reports a second, lowest one-second window while down
    unsigned long maxLost = 0;  // reports the reader's queue may drop
};

struct PenFigures {
    int cellsReached = 0, cells = 0;
    std::vector<bool> grid;  // row-major, top row first
    bool contact = false;
    double pressureMin = 0, pressureMax = 0;  // shares, while touching
    uint64_t reports = 0;                     // reports with the pen down
    double minRate = -1;                      // -1: not measured (too few reports)
    double minGapMs = -1, maxGapMs = -1;      // shortest and longest gap with the pen down
    bool beyondRange = false;
    std::string beyondWhat;                   // the first value beyond the range
    bool resign = false, ok = false;          // keys seen
};

// Not thread-safe: the caller holds its own lock.
class PenJudge {
public:
    PenJudge(const DEV_INFO_PX &row, const PenLimits &limits);
    // One dispatched event and the arrival time of its report.
    void event(const TOUCH_INFO &t, uint64_t reportNs);
    bool gridAndPressureDone() const;
    bool keysDone() const { return resign_ && ok_; }
    bool resignSeen() const { return resign_; }
    bool okSeen() const { return ok_; }
    // The figures so far; a pen still down at `nowNs` counts as down until then.
    PenFigures figures(uint64_t nowNs) const;

private:
    struct Down {
        std::vector<uint64_t> times;  // arrival of each report with contact
        uint64_t end = 0;             // 0 while still down
    };
    const DEV_INFO_PX &row_;
    PenLimits limits_;
    PenArea area_;
    std::vector<bool> grid_;
    int reached_ = 0;
    bool contact_ = false;
    double pMin_ = 0, pMax_ = 0;
    std::vector<Down> downs_;
    bool beyond_ = false;
    std::string beyondWhat_;
    bool resign_ = false, ok_ = false;
};

// Lowest number of reports in any one-second window inside a pen-down span
// [times.front(), end]; a span shorter than a second counts as one window
// of its own length. -1 with fewer than two reports.
double lowestRate(const std::vector<uint64_t> &times, uint64_t end);

// The pen step's verdict: "" when it passes, else the reasons joined by "; ".
std::string penFailure(const PenFigures &f, const PenLimits &limits, unsigned long lost);

// The grid on the terminal: one line per row, "#" reached, "." not.
std::vector<std::string> gridLines(const PenFigures &f, int columns);

}  // namespace cli
