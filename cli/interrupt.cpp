#include "interrupt.h"

#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <thread>

#include "exitcodes.h"

namespace cli {

namespace {
int g_signalFd = -1;
}

void takeSignals()
{
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    g_signalFd = signalfd(-1, &set, SFD_CLOEXEC);
    signal(SIGPIPE, SIG_IGN);
}

Wake waitFor(int ms, int fd)
{
    pollfd fds[2] = {{g_signalFd, POLLIN, 0}, {fd, POLLIN, 0}};
    const int n = poll(fds, fd >= 0 ? 2 : 1, ms);
    if (n <= 0)
        return Wake::Timeout;
    if (fds[0].revents & POLLIN) {
        signalfd_siginfo info;
        if (read(g_signalFd, &info, sizeof info) < 0)
            return Wake::Timeout;
        return Wake::Interrupt;
    }
    return Wake::Ready;
}

int runInterruptible(const std::function<int()> &call, const std::string &waiting,
                     const std::string &interrupted)
{
    Wakeup done;
    int result = 0;
    std::thread worker([&] {
        result = call();
        done.set();
    });
    int timeout = 1000;
    for (;;) {
        const Wake w = waitFor(timeout, done.fd());
        if (w == Wake::Ready)
            break;
        if (w == Wake::Interrupt) {
            // The call cannot be stopped from outside (the tablet layer
            // waits for the tablet as long as it takes commands), so the
            // process ends here; the kernel releases the device.
            std::fprintf(stderr, "%s\n", interrupted.c_str());
            std::fflush(stderr);
            _exit(kExitInterrupted);
        }
        if (!waiting.empty())
            std::fprintf(stderr, "%s\n", waiting.c_str());
        timeout = -1;
    }
    worker.join();
    return result;
}

Wakeup::Wakeup() : fd_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

Wakeup::~Wakeup()
{
    if (fd_ >= 0)
        close(fd_);
}

void Wakeup::set()
{
    const uint64_t one = 1;
    ssize_t n = write(fd_, &one, sizeof one);
    (void)n;
}

}  // namespace cli
