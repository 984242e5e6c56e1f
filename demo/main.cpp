// slateprobe-demo: runs slateprobe against a virtual tablet and a stand-in
// fingerprint scanner. It makes a umockdev test bed with the two devices,
// starts the program as a child under the umockdev preload, and, each time
// the operator's Open brings the tablet into use, signs the demo signature on
// it at the pace it was written.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
#include <iostream>
#include <string>

#include "check_run.h"
#include "emulator/scanners.h"
#include "emulator/tablet_protocol.h"
#include "models.h"
#include "recording/player.h"
#include "signer.h"
#include "tablet/catalogue.h"

namespace {

volatile sig_atomic_t g_quit = 0;

void onSignal(int)
{
    g_quit = 1;
}

// Said on standard output, one line each, for the operator and for scripts.
void say(const std::string &text)
{
    std::printf("slateprobe-demo: %s\n", text.c_str());
    std::fflush(stdout);
}

void usage()
{
    std::printf(
        "usage: slateprobe-demo [--model MODEL] [--program PATH] [--signature FILE]\n"
        "       slateprobe-demo --replay FILE [--program PATH]\n"
        "       slateprobe-demo --check [--model MODEL] [--program PATH] [-- CHECK OPTIONS]\n"
        "       slateprobe-demo --list | --real-tablet\n"
        "  --model MODEL     the virtual tablet: a model (KV-C1) or product id (8420); default KV-C1\n"
        "  --program PATH    the program to start; default ../app/slateprobe beside this launcher\n"
        "  --signature FILE  the samples to sign; default demo/signature.txt of the sources\n"
        "  --replay FILE     a recording (slateprobe-cli record) played on a virtual tablet of its model\n"
        "  --check           slateprobe-cli check on the virtual tablet, drawn and pressed by\n"
        "                    the launcher; options after -- go to the check; its exit status\n"
        "  --list            the sixteen models\n"
        "  --real-tablet     exit 0 when a tablet of vendor 5e1b is attached, else 1\n");
}

std::string besideMe(const std::string &relative)
{
    std::error_code ec;
    const auto me = std::filesystem::read_symlink("/proc/self/exe", ec);
    return (me.parent_path() / relative).lexically_normal().string();
}

std::string hex4(unsigned v)
{
    char b[8];
    std::snprintf(b, sizeof b, "%04X", v);
    return b;
}

pid_t startProgram(const std::string &program)
{
    const pid_t child = fork();
    if (child == 0) {
        // umockdev-wrapper sets LD_PRELOAD; UMOCKDEV_DIR comes from the test bed.
        execlp("umockdev-wrapper", "umockdev-wrapper", program.c_str(), static_cast<char *>(nullptr));
        std::perror("slateprobe-demo: umockdev-wrapper");
        _exit(127);
    }
    return child;
}

// Waits for the child; after a quit request, asks it to end and, if it does
// not within five seconds, ends it.
int waitProgram(pid_t child, const std::function<void()> &tick)
{
    int status = 0;
    int quitTicks = -1;
    for (;;) {
        const pid_t r = waitpid(child, &status, WNOHANG);
        if (r == child)
            break;
        if (g_quit && quitTicks < 0) {
            kill(child, SIGTERM);
            quitTicks = 0;
        } else if (quitTicks >= 0 && ++quitTicks == 100) {
            kill(child, SIGKILL);
        }
        tick();
        usleep(50 * 1000);
    }
    if (WIFEXITED(status))
        return WEXITSTATUS(status);
    return g_quit ? 0 : 128 + WTERMSIG(status);
}

}  // namespace

int main(int argc, char **argv)
{
    std::string model = "KV-C1";
    std::string program = besideMe("../app/slateprobe");
    std::string signaturePath = SP_DEMO_SIGNATURE;
    std::string replayPath;
    bool check = false;
    bool programGiven = false;
    std::vector<std::string> checkArgs;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        const bool hasValue = i + 1 < argc;
        if (a == "--check") {
            check = true;
        } else if (a == "--" && check) {
            checkArgs.assign(argv + i + 1, argv + argc);
            break;
        } else if (a == "--model" && hasValue) {
            model = argv[++i];
        } else if (a == "--program" && hasValue) {
            program = argv[++i];
            programGiven = true;
        } else if (a == "--signature" && hasValue) {
            signaturePath = argv[++i];
        } else if (a == "--replay" && hasValue) {
            replayPath = argv[++i];
        } else if (a == "--list") {
            for (const DEV_INFO_PX &row : Dev_info_px)
                std::printf("%-6s %s  %s\n", row.model, hex4(row.pid).c_str(),
                            row.isPad ? "signature pad" : "display tablet (signs on a second screen)");
            return 0;
        } else if (a == "--real-tablet") {
            const std::string found = demo::attachedTablet("/sys/bus/usb/devices");
            if (!found.empty())
                say("a tablet of vendor 5E1B is attached at " + found);
            return found.empty() ? 1 : 0;
        } else {
            usage();
            return a == "--help" || a == "-h" ? 0 : 2;
        }
    }

    if (check && !replayPath.empty()) {
        usage();
        return 2;
    }
    if (check && !programGiven)
        program = besideMe("../cli/slateprobe-cli");

    // A recording brings its own model and reports; otherwise the demo
    // signature is placed on the model asked for.
    hidrec::Header recorded;
    std::vector<hidrec::Event> recordedReports;
    if (!replayPath.empty()) {
        hidrec::Error error;
        if (!hidrec::readFile(replayPath, &recorded, &recordedReports, &error)) {
            std::fprintf(stderr, "slateprobe-demo: %s\n", error.message().c_str());
            return 2;
        }
        model = hex4(recorded.pid);
    }
    const int row = demo::modelRow(model);
    if (row < 0) {
        std::fprintf(stderr, "slateprobe-demo: no model %s (see --list)\n", model.c_str());
        return 2;
    }
    const DEV_INFO_PX &tablet = Dev_info_px[row];
    std::vector<demo::TimedReport> schedule;
    std::vector<demo::Stroke> scribble;
    if (check) {
        try {
            scribble = demo::loadSignature(SP_DEMO_SCRIBBLE);
        } catch (const std::exception &e) {
            std::fprintf(stderr, "slateprobe-demo: %s\n", e.what());
            return 2;
        }
    } else if (replayPath.empty()) {
        try {
            schedule = demo::replaySchedule(tablet.pid, demo::loadSignature(signaturePath));
        } catch (const std::exception &e) {
            std::fprintf(stderr, "slateprobe-demo: %s\n", e.what());
            return 2;
        }
    }
    if (access(program.c_str(), X_OK) != 0) {
        std::fprintf(stderr, "slateprobe-demo: cannot run %s\n", program.c_str());
        return 2;
    }
    emu::DeviceSpec devSpec = emu::DeviceSpec::tabletPid(tablet.pid);
    if (!replayPath.empty()) {
        std::string warning;
        devSpec = hidrec::replaySpec(recorded, recordedReports, &warning);
        if (!warning.empty())
            say("warning: " + warning);
    }

    struct sigaction sa {};
    sa.sa_handler = onSignal;
    sigaction(SIGINT, &sa, nullptr);
    sigaction(SIGTERM, &sa, nullptr);
    sigaction(SIGHUP, &sa, nullptr);

    int result;
    {
        emu::Testbed bed;
        auto behaviour = std::make_shared<emu::TabletBehaviour>(tablet.pid);
        emu::Device &pad = bed.add(devSpec, behaviour);
        bed.add(emu::scannerSpec(0));  // its library is the stand-in in lib/ beside the program
        if (check) {
            say(std::string("virtual ") + tablet.model + " (" + hex4(tablet.pid) +
                ") and a stand-in fingerprint scanner; checking");
            result = demo::runCheck(pad, tablet.pid, program, checkArgs, scribble, g_quit);
            say("check ended with exit status " + std::to_string(result));
            return result;
        }
        say(std::string("virtual ") + tablet.model + " (" + hex4(tablet.pid) + ", " +
            (tablet.isPad ? "signature pad" : "display tablet") + ") and a stand-in fingerprint scanner; press Open");

        const auto done = [](bool complete) {
            say(complete ? "signature signed" : "signature stopped: the tablet was closed");
        };
        demo::Signer signer(pad, done);
        hidrec::Player player(pad, recordedReports, 1.0, done);
        // A pad is in use once it has been put into sign mode; a display
        // tablet, which gets no mode command, once its interface is claimed.
        int signs = 0;
        bool wasClaimed = false;
        const pid_t child = startProgram(program);
        result = waitProgram(child, [&] {
            const bool claimed = pad.claimed();
            const int nowSigns = behaviour->count(emu::Command::Sign);
            const bool opened = tablet.isPad ? claimed && nowSigns > signs : claimed && !wasClaimed;
            signs = nowSigns;
            wasClaimed = claimed;
            if (opened && !signer.busy() && !player.busy()) {
                say("the tablet is open; signing");
                // The moment a hand takes to reach for the pen, and time for
                // the program to start reading.
                if (replayPath.empty())
                    signer.start(schedule, std::chrono::milliseconds(900));
                else
                    player.start(std::chrono::milliseconds(900));
            }
        });
        signer.stop();
        player.stop();
    }
    say("ended");
    return result;
}
