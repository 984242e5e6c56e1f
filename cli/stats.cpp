#include "stats.h"

#include <time.h>

#include <algorithm>
#include <cstdio>

namespace cli {

uint64_t nowNs()
{
    timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<uint64_t>(ts.tv_sec) * 1000000000u + static_cast<uint64_t>(ts.tv_nsec);
}

void Stats::arrival(uint64_t ns)
{
    if (reports_ == 0) {
        first_ = ns;
    } else {
        const uint64_t gap = ns > last_ ? ns - last_ : 0;
        for (Gaps *g : {&all_, &recent_}) {
            ++g->count;
            g->minNs = std::min(g->minNs, gap);
            g->maxNs = std::max(g->maxNs, gap);
        }
    }
    last_ = ns;
    ++reports_;
    ++recentReports_;
}

void Stats::event(const TOUCH_INFO &t)
{
    // Only contact counts: hover and pen-away events carry positions such as
    // 0/0 (out of range) and the pads' pressure floor.
    if (t.key != 0 || t.state != 1)
        return;
    if (!contact_) {
        contact_ = true;
        pMin_ = pMax_ = t.pressure;
        xMin_ = xMax_ = t.x;
        yMin_ = yMax_ = t.y;
        return;
    }
    pMin_ = std::min(pMin_, t.pressure);
    pMax_ = std::max(pMax_, t.pressure);
    xMin_ = std::min(xMin_, t.x);
    xMax_ = std::max(xMax_, t.x);
    yMin_ = std::min(yMin_, t.y);
    yMax_ = std::max(yMax_, t.y);
}

void Stats::ranges(Figures *f) const
{
    f->reports = reports_;
    f->contact = contact_;
    f->pressureMin = pMin_;
    f->pressureMax = pMax_;
    f->xMin = xMin_;
    f->xMax = xMax_;
    f->yMin = yMin_;
    f->yMax = yMax_;
}

Figures Stats::interval(uint64_t now)
{
    Figures f;
    ranges(&f);
    if (recentStart_ != 0 && now > recentStart_)
        f.rateHz = static_cast<double>(recentReports_) * 1e9 / static_cast<double>(now - recentStart_);
    if (recent_.count > 0) {
        f.minGapMs = static_cast<double>(recent_.minNs) / 1e6;
        f.maxGapMs = static_cast<double>(recent_.maxNs) / 1e6;
    }
    recent_ = Gaps();
    recentReports_ = 0;
    recentStart_ = now;
    return f;
}

Figures Stats::total() const
{
    Figures f;
    ranges(&f);
    if (reports_ >= 2 && last_ > first_)
        f.rateHz = static_cast<double>(reports_ - 1) * 1e9 / static_cast<double>(last_ - first_);
    if (all_.count > 0) {
        f.minGapMs = static_cast<double>(all_.minNs) / 1e6;
        f.maxGapMs = static_cast<double>(all_.maxNs) / 1e6;
    }
    return f;
}

namespace {
std::string extent(const char *axis, int lo, int hi, int min, int max)
{
    char buf[96];
    const int span = max - min;
    const int pct = span > 0 ? static_cast<int>((static_cast<long>(hi - lo) * 100 + span / 2) / span) : 0;
    std::snprintf(buf, sizeof buf, "%s %d-%d of %d-%d (%d%%)", axis, lo, hi, min, max, pct);
    return buf;
}
}  // namespace

std::string formatFigures(const Figures &f, const DEV_INFO_PX &row)
{
    char buf[96];
    std::string s;
    std::snprintf(buf, sizeof buf, "%.0f Hz", f.rateHz);
    s = buf;
    if (f.minGapMs >= 0) {
        std::snprintf(buf, sizeof buf, ", gaps %.2f-%.2f ms", f.minGapMs, f.maxGapMs);
        s += buf;
    }
    if (f.contact) {
        std::snprintf(buf, sizeof buf, " | pressure %.3f-%.3f", f.pressureMin, f.pressureMax);
        s += buf;
        s += " | " + extent("x", f.xMin, f.xMax, row.minX, row.maxX);
        s += " | " + extent("y", f.yMin, f.yMax, row.minY, row.maxY);
    } else {
        s += " | pressure - | x - | y -";
    }
    std::snprintf(buf, sizeof buf, " | lost %lu", f.lost);
    s += buf;
    return s;
}

}  // namespace cli
