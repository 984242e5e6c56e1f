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
    // A hand that was held up (a busy machine) goes on at its own pace
    // rather than sending what it missed in one burst, which a real pen
    // never does and which overflows the reader's queue.
    std::chrono::steady_clock::duration lag{};
    for (const TimedReport &r : reports) {
        const auto due = start + r.at + lag;
        std::unique_lock<std::mutex> lock(m_);
        if (cv_.wait_until(lock, due, [this] { return stopping_; })) {
            complete = false;
            break;
        }
        lock.unlock();
        const auto late = std::chrono::steady_clock::now() - due;
        if (late > std::chrono::milliseconds(2))
            lag += late;
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
