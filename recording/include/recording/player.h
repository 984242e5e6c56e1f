// Playing a recording into a virtual tablet of the emulator, at the times it
// was recorded, for `slateprobe-cli replay` and `slateprobe-demo --replay`.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "emulator/emulator.h"
#include "emulator/tablet_protocol.h"
#include "recording/hidrec.h"

namespace hidrec {

// The virtual tablet for a recording: the model of its I: line, with the
// descriptor as recorded and an IN endpoint that takes its longest report.
// *warning is set when the descriptor is not the model's own.
emu::DeviceSpec replaySpec(const Header &header, const std::vector<Event> &events, std::string *warning);

// Pushes reports into a device at their times (divided by `speed`), from a
// thread of its own. It stops when the host closes the device on the way:
// a closed device would keep the reports for its next open.
class Player {
public:
    // done(true) when every report went out, done(false) when stopped or the
    // device was closed; runs on the player's thread.
    Player(emu::Device &device, std::vector<Event> events, double speed, std::function<void(bool)> done = {});
    ~Player();
    Player(const Player &) = delete;
    Player &operator=(const Player &) = delete;

    // Starts after `delay`; ignored while a playing is under way.
    void start(std::chrono::microseconds delay);
    bool busy() const { return busy_; }
    void stop();
    int completed() const { return completed_; }

private:
    void run(std::chrono::steady_clock::time_point start);

    emu::Device &device_;
    std::vector<Event> events_;
    double speed_;
    std::function<void(bool)> done_;
    std::thread thread_;
    std::mutex m_;
    std::condition_variable cv_;
    bool stopping_ = false;
    std::atomic<bool> busy_{false};
    std::atomic<int> completed_{0};
};

// Notices the host taking a tablet into use, the moment to start playing: a
// pad once it has been sent into sign mode, a display tablet (which gets no
// mode command) once its interface is claimed. Call tick() now and then.
class OpenWatch {
public:
    OpenWatch(emu::Device &device, std::shared_ptr<emu::TabletBehaviour> behaviour, bool isPad);
    // True once per opening.
    bool tick();

private:
    emu::Device &device_;
    std::shared_ptr<emu::TabletBehaviour> behaviour_;
    bool isPad_;
    int signs_ = 0;
    bool wasClaimed_ = false;
};

}  // namespace hidrec
