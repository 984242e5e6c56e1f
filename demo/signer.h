// The hand on the virtual pad: pushes a timed list of reports into a device
// from a thread of its own, at the times given.
#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

#include "replay.h"

namespace demo {

class Signer {
public:
    // `done(true)` when every report went out, `done(false)` when the host
    // closed the device on the way or stop() was called; runs on the
    // signer's thread.
    Signer(emu::Device &device, std::function<void(bool)> done);
    ~Signer();

    // Starts signing after `delay`; ignored while a signature is under way.
    void start(std::vector<TimedReport> reports, std::chrono::milliseconds delay);
    bool busy() const { return busy_; }
    void stop();

private:
    void run(std::vector<TimedReport> reports, std::chrono::steady_clock::time_point start);

    emu::Device &device_;
    std::function<void(bool)> done_;
    std::thread thread_;
    std::mutex m_;
    std::condition_variable cv_;
    bool stopping_ = false;
    std::atomic<bool> busy_{false};
};

}  // namespace demo
