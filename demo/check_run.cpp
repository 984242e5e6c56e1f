#include "check_run.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>

#include "replay.h"
#include "signer.h"

namespace demo {

namespace {
// The line with which the check asks for the pen.
const char kPenPrompt[] = "pen: draw over the whole writing area";
}

int runCheck(emu::Device &tablet, uint16_t pid, const std::string &program, const std::vector<std::string> &args,
             const std::vector<Stroke> &scribble, const volatile std::sig_atomic_t &quit)
{
    const std::vector<TimedReport> schedule = checkSchedule(pid, scribble);
    int out[2];
    if (pipe2(out, O_CLOEXEC) != 0) {
        std::perror("slateprobe-demo: pipe");
        return 2;
    }
    char model[8];
    std::snprintf(model, sizeof model, "%04x", pid);
    std::vector<std::string> argv = {"umockdev-wrapper", program, "check", "--model", model};
    argv.insert(argv.end(), args.begin(), args.end());
    const pid_t child = fork();
    if (child == 0) {
        dup2(out[1], STDOUT_FILENO);
        std::vector<char *> a;
        for (const std::string &s : argv)
            a.push_back(const_cast<char *>(s.c_str()));
        a.push_back(nullptr);
        execvp(a[0], a.data());
        std::perror("slateprobe-demo: umockdev-wrapper");
        _exit(127);
    }
    close(out[1]);

    Signer hand(tablet, [](bool) {});
    std::string pending;
    bool asked = false, stopping = false;
    char buf[4096];
    for (;;) {
        if (quit && !stopping) {
            kill(child, SIGTERM);
            stopping = true;
        }
        pollfd p = {out[0], POLLIN, 0};
        if (poll(&p, 1, 50) <= 0)
            continue;
        const ssize_t n = read(out[0], buf, sizeof buf);
        if (n <= 0)
            break;
        std::fwrite(buf, 1, size_t(n), stdout);
        std::fflush(stdout);
        pending.append(buf, size_t(n));
        if (!asked && pending.find(kPenPrompt) != std::string::npos) {
            asked = true;
            // A moment for the hand to reach the pen.
            hand.start(schedule, std::chrono::milliseconds(300));
        }
        if (pending.size() > 4096)
            pending.erase(0, pending.size() - 256);
    }
    close(out[0]);
    hand.stop();
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace demo
