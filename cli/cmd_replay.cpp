// slateprobe-cli replay: a recording played into a virtual tablet of the
// emulator, with a program reading it (watch by default), or decoded
// without any device.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "commands.h"
#include "exitcodes.h"
#include "interrupt.h"
#include "options.h"
#include "recording/hidrec.h"
#include "recording/player.h"
#include "tablet/catalogue.h"

using namespace cli;

namespace {

const char kUsage[] =
    "Usage: slateprobe-cli replay FILE [--speed X] [-- COMMAND [ARGS...]]\n"
    "       slateprobe-cli replay --decode FILE\n"
    "\n"
    "Plays a recording made by 'slateprobe-cli record' (or hid-tools'\n"
    "hid-recorder) into a virtual tablet of the model its I: line names, with\n"
    "the recorded timing, so that a program reading the tablet sees exactly\n"
    "what the recorded tablet sent. The program is 'slateprobe-cli watch' unless\n"
    "a COMMAND follows '--' (for instance the window program: -- slateprobe);\n"
    "it runs under umockdev-wrapper and finds the virtual tablet as if it were\n"
    "plugged in. The recording starts once the program has opened the tablet,\n"
    "and again at each new opening. watch is ended when the recording has been\n"
    "played; a COMMAND runs until it ends.\n"
    "\n"
    "  --speed X    play X times as fast (0.5 at half speed; default 1)\n"
    "  --decode     print the recording's events as the tablet layer decodes\n"
    "               them, one line each (time, x, y, pressure, state, key); no\n"
    "               device is needed\n"
    "  -h, --help   this text\n"
    "\n"
    "A file that does not read cleanly gets one line naming the file, the line\n"
    "and the problem, and nothing of it is played.\n"
    "\n"
    "Exit: that of the program (watch: 0 when all went well), 2 bad command line\n"
    "or a file that does not read cleanly, 127 the program could not be started.\n";

void say(const std::string &text)
{
    std::fprintf(stderr, "slateprobe-cli replay: %s\n", text.c_str());
}

std::string selfPath()
{
    std::error_code ec;
    const auto me = std::filesystem::read_symlink("/proc/self/exe", ec);
    return ec ? std::string("slateprobe-cli") : me.string();
}

// The program under the umockdev preload, with the signals as a program
// expects them (this process blocks and ignores some for itself).
pid_t startChild(const std::vector<std::string> &command)
{
    const pid_t child = fork();
    if (child == 0) {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_UNBLOCK, &all, nullptr);
        signal(SIGPIPE, SIG_DFL);
        std::vector<char *> argv;
        argv.push_back(const_cast<char *>("umockdev-wrapper"));
        for (const std::string &a : command)
            argv.push_back(const_cast<char *>(a.c_str()));
        argv.push_back(nullptr);
        execvp(argv[0], argv.data());
        std::perror("slateprobe-cli replay: umockdev-wrapper");
        _exit(127);
    }
    return child;
}

int exitCodeOf(int status)
{
    if (WIFEXITED(status))
        return WEXITSTATUS(status);
    return 128 + WTERMSIG(status);
}

bool readClean(const std::string &path, hidrec::Header *header, std::vector<hidrec::Event> *events)
{
    hidrec::Error error;
    if (hidrec::readFile(path, header, events, &error))
        return true;
    std::fprintf(stderr, "slateprobe-cli replay: %s\n", error.message().c_str());
    return false;
}

int play(const std::string &path, double speed, std::vector<std::string> command)
{
    hidrec::Header header;
    std::vector<hidrec::Event> events;
    if (!readClean(path, &header, &events))
        return kExitUsage;
    const int row = catalogueRowOfPid(header.pid);
    const DEV_INFO_PX &model = Dev_info_px[row];
    const bool ownWatch = command.empty();
    if (ownWatch)
        command = {selfPath(), "watch"};

    std::string warning;
    const emu::DeviceSpec devSpec = hidrec::replaySpec(header, events, &warning);
    if (!warning.empty())
        say("warning: " + warning);
    const double seconds = events.empty() ? 0.0 : double(events.back().usec) / 1e6 / speed;

    int result = 0;
    {
        emu::Testbed bed;
        auto behaviour = std::make_shared<emu::TabletBehaviour>(header.pid);
        emu::Device &tablet = bed.add(devSpec, behaviour);
        hidrec::Player player(tablet, events, speed, [](bool complete) {
            say(complete ? "recording played" : "playing stopped: the tablet was closed");
        });
        hidrec::OpenWatch opened(tablet, behaviour, model.isPad != 0);
        char line[160];
        std::snprintf(line, sizeof line, "virtual %s (%04x): %zu reports, %.1f s; waiting for the program to open it",
                      model.model, header.pid, events.size(), seconds);
        say(line);

        const pid_t child = startChild(command);
        int status = 0;
        int playedAt = -1;     // tick of the end of the first complete play
        int quitTicks = -1;    // ticks since the program was asked to end
        for (int tick = 0;; ++tick) {
            const pid_t r = waitpid(child, &status, WNOHANG);
            if (r == child)
                break;
            const Wake w = waitFor(50);
            if (w == Wake::Interrupt && quitTicks < 0) {
                kill(child, SIGINT);
                quitTicks = 0;
            }
            if (opened.tick() && !player.busy()) {
                say("the tablet is open; playing");
                // Time for the program to start its reader.
                player.start(std::chrono::milliseconds(300));
            }
            // watch reads until Ctrl-C: give it that once the recording is
            // through and its last reports are read.
            if (ownWatch && playedAt < 0 && player.completed() > 0)
                playedAt = tick;
            if (ownWatch && playedAt >= 0 && tick == playedAt + 10 && quitTicks < 0) {
                kill(child, SIGINT);
                quitTicks = 0;
            }
            if (quitTicks >= 0 && ++quitTicks == 100)
                kill(child, SIGKILL);
        }
        player.stop();
        result = exitCodeOf(status);
    }
    return result;
}

}  // namespace

int cmd_replay(int argc, char **argv)
{
    // What follows "--" is the program to run, not options of ours.
    std::vector<std::string> command;
    int ours = argc;
    for (int i = 1; i < argc; ++i) {
        if (!std::strcmp(argv[i], "--")) {
            ours = i;
            for (int j = i + 1; j < argc; ++j)
                command.push_back(argv[j]);
            break;
        }
    }
    Options options;
    options.flag("--help");
    options.flag("-h");
    options.flag("--decode");
    options.value("--speed");
    std::string error;
    if (!options.parse(ours, argv, &error)) {
        std::fprintf(stderr, "slateprobe-cli replay: %s\n\n%s", error.c_str(), kUsage);
        return kExitUsage;
    }
    if (options.has("--help") || options.has("-h")) {
        std::fputs(kUsage, stdout);
        return kExitOk;
    }
    if (options.positional().size() != 1) {
        std::fprintf(stderr, "slateprobe-cli replay: one recording file, please\n\n%s", kUsage);
        return kExitUsage;
    }
    const std::string path = options.positional()[0];
    double speed = 1.0;
    if (options.has("--speed") && (!parseSeconds(options.get("--speed"), &speed) || speed > 1000)) {
        std::fprintf(stderr, "slateprobe-cli replay: --speed wants a number above 0 and up to 1000, not \"%s\"\n",
                     options.get("--speed").c_str());
        return kExitUsage;
    }
    if (options.has("--decode")) {
        if (!command.empty() || options.has("--speed")) {
            std::fprintf(stderr, "slateprobe-cli replay: --decode plays nothing; it takes no --speed or command\n");
            return kExitUsage;
        }
        hidrec::Error readError;
        if (hidrec::printDecoded(path, stdout, &readError) < 0) {
            std::fprintf(stderr, "slateprobe-cli replay: %s\n", readError.message().c_str());
            return kExitUsage;
        }
        std::fflush(stdout);
        return std::ferror(stdout) ? kExitWrite : kExitOk;
    }
    return play(path, speed, command);
}
