#include "report_trail.h"

#include <cstring>
#include <iterator>

#include "recording/hidrec.h"
#include "stats.h"

namespace cli {

void ReportTrail::arrivalTap(const unsigned char *data, size_t length, void *context)
{
    auto *t = static_cast<ReportTrail *>(context);
    const uint64_t ns = nowNs();
    std::lock_guard<std::mutex> lock(t->m_);
    if (t->armed_)
        t->arrived_.push_back(Received{ns, std::vector<uint8_t>(data, data + length), {}});
}

void ReportTrail::readerTap(const unsigned char *report, int length, void *context)
{
    auto *t = static_cast<ReportTrail *>(context);
    if (length < 0) {
        if (t->gone)
            t->gone(t->goneContext);
        return;
    }
    t->take(report, length);
}

// Moves the arrivals up to the one the reader took (the first that begins
// with its bytes) to the ready list; those before it were lost to the full
// queue. With no report, moves them all.
void ReportTrail::take(const unsigned char *report, int length)
{
    std::vector<Received> taken;
    {
        std::lock_guard<std::mutex> lock(m_);
        size_t n = report == nullptr ? arrived_.size() : 0;  // none: it came before the arming
        for (size_t i = 0; report != nullptr && i < arrived_.size(); ++i) {
            const Received &r = arrived_[i];
            if (r.bytes.size() >= size_t(length) && std::memcmp(r.bytes.data(), report, size_t(length)) == 0) {
                n = i + 1;
                break;
            }
        }
        taken.assign(std::make_move_iterator(arrived_.begin()), std::make_move_iterator(arrived_.begin() + long(n)));
        arrived_.erase(arrived_.begin(), arrived_.begin() + long(n));
    }
    for (size_t i = 0; i < taken.size(); ++i) {
        Received &r = taken[i];
        r.comment = hidrec::describe(pid_, r.bytes.data(), r.bytes.size());
        if (report != nullptr && i + 1 < taken.size())
            r.comment += " (lost to the reader's queue)";
    }
    std::lock_guard<std::mutex> lock(m_);
    for (Received &r : taken)
        ready_.push_back(std::move(r));
}

void ReportTrail::arm(bool on)
{
    std::lock_guard<std::mutex> lock(m_);
    armed_ = on;
}

std::vector<Received> ReportTrail::takeReady()
{
    std::vector<Received> out;
    std::lock_guard<std::mutex> lock(m_);
    out.swap(ready_);
    return out;
}

bool ReportTrail::arrivalsLeft()
{
    std::lock_guard<std::mutex> lock(m_);
    return !arrived_.empty();
}

void ReportTrail::flush(bool readerStopped)
{
    if (readerStopped) {
        take(nullptr, 0);
        return;
    }
    std::lock_guard<std::mutex> lock(m_);
    for (Received &r : arrived_) {
        r.comment = "not decoded: the recording ended before the reader took it";
        ready_.push_back(std::move(r));
    }
    arrived_.clear();
}

}  // namespace cli
