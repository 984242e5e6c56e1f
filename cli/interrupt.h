// Ctrl-C without asynchronous signal handlers: SIGINT and SIGTERM are blocked
// in every thread and read by the main thread from a descriptor, so that it
// can close the tablet cleanly and still end a call the tablet keeps waiting.
#pragma once

#include <functional>
#include <string>

namespace cli {

// Call first in main, before any thread starts (threads inherit the mask).
// SIGPIPE is ignored: a closed pipe shows as a failed write.
void takeSignals();

enum class Wake { Timeout, Interrupt, Ready };
// Waits up to `ms` milliseconds (-1: for ever) for Ctrl-C, or for `fd` to
// become readable.
Wake waitFor(int ms, int fd = -1);

// Runs `call` on a thread of its own and gives its result. Ctrl-C meanwhile
// ends the process at once with exit 130, after `interrupted` on standard
// error; a call that takes more than a second gets `waiting` there, once.
int runInterruptible(const std::function<int()> &call, const std::string &waiting,
                     const std::string &interrupted);

// A flag that wakes the main thread's waitFor (any thread may set it).
class Wakeup {
public:
    Wakeup();
    ~Wakeup();
    Wakeup(const Wakeup &) = delete;
    Wakeup &operator=(const Wakeup &) = delete;
    void set();
    int fd() const { return fd_; }

private:
    int fd_;
};

}  // namespace cli
