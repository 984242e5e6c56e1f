#include "check_pen.h"

#include <algorithm>
#include <cstdio>

namespace cli {

namespace {
constexpr uint64_t kSecondNs = 1000000000ull;
}

PenArea penAreaOf(const DEV_INFO_PX &row)
{
    if (!row.isPad)
        return {row.minX, row.maxX, row.minY, row.maxY};
    // The pads report y inside their writing area, counted from its start
    // (beyond it lie the keys); the 64-byte pads also put x at maxX outside.
    const PXModelTraits &t = catalogueTraitsOfPid(row.pid);
    return {row.minX, row.maxX, 0, t.yCeiling - t.yFloor};
}

double pressureShare(const DEV_INFO_PX &row, float pressure)
{
    // Pads count raw pressure in 1/1024, display tablets in 1/2048, each
    // times the layer's pen scale.
    const double full = row.isPad ? g_fPenSize * row.pressureLevels / 1024.0
                                  : g_fPenScale * row.pressureLevels / 2048.0;
    return full > 0 ? pressure / full : 0;
}

PenJudge::PenJudge(const DEV_INFO_PX &row, const PenLimits &limits)
    : row_(row), limits_(limits), area_(penAreaOf(row)), grid_(size_t(limits.columns * limits.rows), false)
{
}

void PenJudge::event(const TOUCH_INFO &t, uint64_t ns)
{
    if (t.key == kKeyResign) {
        resign_ = true;
        return;
    }
    if (t.key == kKeyOk) {
        ok_ = true;
        return;
    }
    if (t.key != 0)
        return;
    if (!beyond_ && (t.x < row_.minX || t.x > row_.maxX || t.y < row_.minY || t.y > row_.maxY)) {
        char buf[96];
        std::snprintf(buf, sizeof buf, "x %d y %d beyond %d-%d, %d-%d", t.x, t.y, row_.minX, row_.maxX, row_.minY,
                      row_.maxY);
        beyond_ = true;
        beyondWhat_ = buf;
    }
    const double share = pressureShare(row_, t.pressure);
    if (!beyond_ && share > 1.0 + 1e-6) {
        char buf[64];
        std::snprintf(buf, sizeof buf, "pressure %.0f%% of the maximum", share * 100);
        beyond_ = true;
        beyondWhat_ = buf;
    }
    if (t.state != 1) {
        if (!downs_.empty() && downs_.back().end == 0)
            downs_.back().end = downs_.back().times.back();
        return;
    }
    if (downs_.empty() || downs_.back().end != 0)
        downs_.push_back({});
    // The pads dispatch every report, some twice over: one time per report.
    std::vector<uint64_t> &times = downs_.back().times;
    if (times.empty() || times.back() != ns)
        times.push_back(ns);
    if (!contact_) {
        contact_ = true;
        pMin_ = pMax_ = share;
    }
    pMin_ = std::min(pMin_, share);
    pMax_ = std::max(pMax_, share);
    const long spanX = area_.x1 - area_.x0, spanY = area_.y1 - area_.y0;
    if (spanX <= 0 || spanY <= 0)
        return;
    const int col = int(std::clamp((t.x - area_.x0) * long(limits_.columns) / spanX, 0L, long(limits_.columns - 1)));
    const int line = int(std::clamp((t.y - area_.y0) * long(limits_.rows) / spanY, 0L, long(limits_.rows - 1)));
    const size_t cell = size_t(line * limits_.columns + col);
    if (!grid_[cell]) {
        grid_[cell] = true;
        ++reached_;
    }
}

bool PenJudge::gridAndPressureDone() const
{
    return reached_ == int(grid_.size()) && contact_ && pMax_ >= limits_.pressure;
}

double lowestRate(const std::vector<uint64_t> &times, uint64_t end)
{
    if (times.size() < 2)
        return -1;
    const uint64_t start = times.front();
    end = std::max(end, times.back());
    if (end - start < kSecondNs)
        return double(times.size() - 1) * 1e9 / double(end - start);
    // The count changes only as a report enters or leaves the window, so
    // the windows that start at the span's start or just after a report
    // give every count: [start, start + 1 s], then (t, t + 1 s].
    size_t lowest = times.size();
    size_t j = 0;
    while (j < times.size() && times[j] <= start + kSecondNs)
        ++j;
    lowest = j;
    for (size_t i = 0; i < times.size() && times[i] + kSecondNs <= end; ++i) {
        while (j < times.size() && times[j] <= times[i] + kSecondNs)
            ++j;
        lowest = std::min(lowest, j - i - 1);
    }
    return double(lowest);
}

PenFigures PenJudge::figures(uint64_t now) const
{
    PenFigures f;
    f.cells = int(grid_.size());
    f.cellsReached = reached_;
    f.grid = grid_;
    f.contact = contact_;
    f.pressureMin = pMin_;
    f.pressureMax = pMax_;
    f.beyondRange = beyond_;
    f.beyondWhat = beyondWhat_;
    f.resign = resign_;
    f.ok = ok_;
    for (const Down &d : downs_) {
        const uint64_t end = d.end != 0 ? d.end : std::max(now, d.times.back());
        f.reports += d.times.size();
        const double rate = lowestRate(d.times, end);
        if (rate >= 0 && (f.minRate < 0 || rate < f.minRate))
            f.minRate = rate;
        for (size_t i = 0; i < d.times.size(); ++i) {
            const uint64_t next = i + 1 < d.times.size() ? d.times[i + 1] : end;
            const double gap = double(next - d.times[i]) / 1e6;
            f.maxGapMs = std::max(f.maxGapMs, gap);
            // The shortest between reports; the time after the last is no gap.
            if (i + 1 < d.times.size() && (f.minGapMs < 0 || gap < f.minGapMs))
                f.minGapMs = gap;
        }
    }
    return f;
}

std::string penFailure(const PenFigures &f, const PenLimits &limits, unsigned long lost)
{
    std::vector<std::string> why;
    char buf[128];
    if (f.beyondRange)
        why.push_back("beyond the model's range: " + f.beyondWhat);
    if (f.maxGapMs >= 1000) {
        std::snprintf(buf, sizeof buf, "the tablet stopped reporting: no report for %.1f s with the pen down",
                      f.maxGapMs / 1000);
        why.push_back(buf);
    } else if (f.minRate >= 0 && f.minRate < limits.minRate) {
        std::snprintf(buf, sizeof buf, "report rate %.0f a second with the pen down, below %.0f", f.minRate,
                      limits.minRate);
        why.push_back(buf);
    }
    if (lost > limits.maxLost) {
        std::snprintf(buf, sizeof buf, "%lu reports lost by the reader's queue", lost);
        why.push_back(buf);
    }
    if (!f.contact) {
        why.push_back("the pen never touched");
    } else {
        if (f.cellsReached < f.cells) {
            std::snprintf(buf, sizeof buf, "the pen reached %d of %d cells", f.cellsReached, f.cells);
            why.push_back(buf);
        }
        if (f.pressureMax < limits.pressure) {
            std::snprintf(buf, sizeof buf, "pressure reached %.0f%%, not %.0f%%", f.pressureMax * 100,
                          limits.pressure * 100);
            why.push_back(buf);
        }
    }
    std::string out;
    for (const std::string &w : why)
        out += (out.empty() ? "" : "; ") + w;
    return out;
}

std::vector<std::string> gridLines(const PenFigures &f, int columns)
{
    std::vector<std::string> lines;
    for (size_t i = 0; i < f.grid.size(); i += size_t(columns)) {
        std::string line = "  ";
        for (int c = 0; c < columns; ++c)
            line += f.grid[i + size_t(c)] ? " #" : " .";
        lines.push_back(line);
    }
    return lines;
}

}  // namespace cli
