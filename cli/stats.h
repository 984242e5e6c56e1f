// The figures of a watch: report rate and gaps from the arrival times, the
// pressure range and the x/y extent from the pen events with contact, and
// the reports the transport's queue dropped.
#pragma once

#include <cstdint>
#include <string>

#include "tablet/pxtablet.h"

namespace cli {

uint64_t nowNs();  // monotonic clock

struct Figures {
    uint64_t reports = 0;
    double rateHz = 0;
    double minGapMs = -1, maxGapMs = -1;  // -1: fewer than two reports
    bool contact = false;                 // any pen event with contact yet
    float pressureMin = 0, pressureMax = 0;
    int xMin = 0, xMax = 0, yMin = 0, yMax = 0;
    unsigned long lost = 0;
};

// Not thread-safe: the caller holds its own lock.
class Stats {
public:
    void arrival(uint64_t ns);
    void event(const TOUCH_INFO &touch);
    // Rate and gaps since the last call (over the given time), with the
    // ranges of the whole run.
    Figures interval(uint64_t now);
    // Everything of the whole run; the rate is the average between the
    // first and the last report.
    Figures total() const;

private:
    struct Gaps {
        uint64_t count = 0;
        uint64_t minNs = UINT64_MAX, maxNs = 0;
    };
    void ranges(Figures *f) const;
    uint64_t first_ = 0, last_ = 0, reports_ = 0;
    Gaps all_, recent_;
    uint64_t recentStart_ = 0, recentReports_ = 0;
    bool contact_ = false;
    float pMin_ = 0, pMax_ = 0;
    int xMin_ = 0, xMax_ = 0, yMin_ = 0, yMax_ = 0;
};

// "998 Hz, gaps 0.95-1.07 ms | pressure 0.100-0.587 | x 120-6100 of 0-6144
// (97%) | y ... | lost 0"
std::string formatFigures(const Figures &f, const DEV_INFO_PX &row);

}  // namespace cli
