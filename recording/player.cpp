// Playing a recording into a virtual tablet.
#include "recording/player.h"

#include <algorithm>

#include "tablet/catalogue.h"

namespace hidrec {

emu::DeviceSpec replaySpec(const Header &header, const std::vector<Event> &events, std::string *warning)
{
    emu::DeviceSpec devSpec = emu::DeviceSpec::tabletPid(header.pid);
    if (header.descriptor != devSpec.hidReportDescriptor() && warning)
        *warning = "the recorded report descriptor differs from the model's; it is played as recorded";
    devSpec.reportDescriptor = header.descriptor;
    // The reports as they were sent, also one longer than the model's
    // (the second part of a multi-touch report on a short-report tablet).
    for (const Event &e : events)
        devSpec.inPacketSize = uint16_t(std::max<size_t>(devSpec.inPacketSize, e.bytes.size()));
    return devSpec;
}

Player::Player(emu::Device &device, std::vector<Event> events, double speed, std::function<void(bool)> done)
    : device_(device), events_(std::move(events)), speed_(speed > 0 ? speed : 1.0), done_(std::move(done))
{
}

Player::~Player()
{
    stop();
}

void Player::start(std::chrono::microseconds delay)
{
    if (busy_)
        return;
    if (thread_.joinable())
        thread_.join();
    busy_ = true;
    stopping_ = false;
    thread_ = std::thread(&Player::run, this, std::chrono::steady_clock::now() + delay);
}

void Player::stop()
{
    {
        std::lock_guard<std::mutex> lock(m_);
        stopping_ = true;
    }
    cv_.notify_all();
    if (thread_.joinable())
        thread_.join();
}

void Player::run(std::chrono::steady_clock::time_point start)
{
    bool complete = true;
    for (const Event &e : events_) {
        const auto at = start + std::chrono::microseconds(static_cast<long long>(double(e.usec) / speed_));
        std::unique_lock<std::mutex> lock(m_);
        if (cv_.wait_until(lock, at, [this] { return stopping_; })) {
            complete = false;
            break;
        }
        lock.unlock();
        if (!device_.claimed()) {
            complete = false;
            break;
        }
        device_.push(e.bytes);
    }
    if (complete)
        ++completed_;
    if (done_)
        done_(complete);
    busy_ = false;
}

OpenWatch::OpenWatch(emu::Device &device, std::shared_ptr<emu::TabletBehaviour> behaviour, bool isPad)
    : device_(device), behaviour_(std::move(behaviour)), isPad_(isPad)
{
}

bool OpenWatch::tick()
{
    const bool claimed = device_.claimed();
    const int signs = behaviour_->count(emu::Command::Sign);
    const bool opened = isPad_ ? claimed && signs > signs_ : claimed && !wasClaimed_;
    signs_ = signs;
    wasClaimed_ = claimed;
    return opened;
}

}  // namespace hidrec
