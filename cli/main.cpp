// slateprobe-cli: the tablet from the command line, for support and factory
// technicians: is it seen and may I open it, what does it send, and a
// recording of exactly what it sent.
#include <cstdio>
#include <cstring>

#include "commands.h"
#include "exitcodes.h"
#include "interrupt.h"
#include "slateprobe/version.h"

namespace {

const char kUsage[] =
    "Usage: slateprobe-cli COMMAND [OPTIONS]\n"
    "\n"
    "The handwriting tablets of SlateProbe from the command line.\n"
    "\n"
    "Commands:\n"
    "  list                      the attached tablets and scanners, and whether\n"
    "                            this user may open them\n"
    "  watch [--raw]             the tablet's pen events live, with rate and ranges\n"
    "  record FILE               the tablet's reports into a hid-recorder file\n"
    "  replay FILE [--speed X]   a recording played into a virtual tablet\n"
    "  replay --decode FILE      the events of a recording, without a device\n"
    "  check                     the acceptance check of a tablet: PASS or FAIL,\n"
    "                            with JUnit and JSON reports\n"
    "\n"
    "'slateprobe-cli COMMAND --help' tells more of each.\n"
    "\n"
    "Options:\n"
    "  -h, --help     this text\n"
    "  --version      the version\n";

struct Command {
    const char *name;
    int (*run)(int, char **);
};

const Command kCommands[] = {
    {"list", cmd_list},
    {"watch", cmd_watch},
    {"record", cmd_record},
    {"replay", cmd_replay},
    {"check", cmd_check},
};

}  // namespace

int main(int argc, char **argv)
{
    // Before any thread: every thread then has Ctrl-C blocked, and the main
    // thread reads it when it is ready to close the tablet.
    cli::takeSignals();
    if (argc < 2) {
        std::fputs(kUsage, stderr);
        return cli::kExitUsage;
    }
    const char *name = argv[1];
    if (!std::strcmp(name, "--help") || !std::strcmp(name, "-h") || !std::strcmp(name, "help")) {
        std::fputs(kUsage, stdout);
        return cli::kExitOk;
    }
    if (!std::strcmp(name, "--version")) {
        std::printf("slateprobe-cli %s\n", SP_VERSION);
        return cli::kExitOk;
    }
    for (const Command &c : kCommands)
        if (!std::strcmp(name, c.name))
            return c.run(argc - 1, argv + 1);
    std::fprintf(stderr, "slateprobe-cli: no command \"%s\"\n\n%s", name, kUsage);
    return cli::kExitUsage;
}
