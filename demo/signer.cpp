#include "signer.h"

namespace demo {

Signer::Signer(emu::Device &device, std::function<void(bool)> done) : device_(device), done_(std::move(done)) {}

Signer::~Signer()
{
    stop();
}

void Signer::start(std::vector<TimedReport> reports, std::chrono::milliseconds delay)
{
    if (busy_)
        return;
    if (thread_.joinable())
        thread_.join();
    busy_ = true;
    stopping_ = false;
    thread_ = std::thread(&Signer::run, this, std::move(reports), std::chrono::steady_clock::now() + delay);
}

void Signer::stop()
{
    {
        std::lock_guard<std::mutex> lock(m_);
        stopping_ = true;
    }
    cv_.notify_all();
    if (thread_.joinable())
        thread_.join();
}

void Signer::run(std::vector<TimedReport> reports, std::chrono::steady_clock::time_point start)
{
    bool complete = true;
    for (const TimedReport &r : reports) {
        std::unique_lock<std::mutex> lock(m_);
        if (cv_.wait_until(lock, start + r.at, [this] { return stopping_; })) {
            complete = false;
            break;
        }
        lock.unlock();
        // A closed device would keep the reports for its next open: stop
        // instead, the way a hand leaves a pad that went dark.
        if (!device_.claimed()) {
            complete = false;
            break;
        }
        device_.push(r.report);
    }
    done_(complete);
    busy_ = false;
}

}  // namespace demo
