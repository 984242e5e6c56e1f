// slateprobe-cli record: every input report of the tablet into a file in the
// text format of hid-tools' hid-recorder, for replay here or by hid-tools.
#include <cstdio>
#include <cstring>
#include <mutex>
#include <string>
#include <vector>

#include "commands.h"
#include "console.h"
#include "exitcodes.h"
#include "interrupt.h"
#include "options.h"
#include "recording/hidrec.h"
#include "report_trail.h"
#include "session.h"
#include "stats.h"

using namespace cli;

namespace {

const char kUsage[] =
    "Usage: slateprobe-cli record FILE [--seconds N] [--model M] [--verbose]\n"
    "\n"
    "Opens the tablet as the window does and writes every input report it sends\n"
    "to FILE in the text format of hid-tools' hid-recorder: the report descriptor\n"
    "read from the tablet (R:), its name (N:) and ids (I:), then one E: line per\n"
    "report with its time since the first one, each after a # line with the\n"
    "report as this tool decodes it. hid-tools' hid-replay and hid-decode read\n"
    "the file, and so does 'slateprobe-cli replay'. The recording ends with\n"
    "Ctrl-C, after N seconds, or when the tablet is unplugged; FILE then holds\n"
    "every report received (it is written under another name and renamed at the\n"
    "end, so it is never half a line).\n"
    "\n"
    "  --seconds N  stop after N seconds (a decimal number)\n"
    "  --model M    the tablet of model M (a name such as KV-C1, or a product id\n"
    "               such as 8420) when several are attached\n"
    "  --verbose    the tablet layer's protocol lines on standard error\n"
    "  -h, --help   this text\n"
    "\n"
    "Exit: 0 done, 1 no tablet, 2 bad command line, 3 the tablet was unplugged\n"
    "(FILE keeps what came before), 4 FILE cannot be written (full disk: FILE\n"
    "keeps what was written before), 5 the tablet cannot be opened or does not\n"
    "answer, 130 Ctrl-C while the tablet kept us waiting.\n";

void markGone(void *session)
{
    static_cast<Session *>(session)->markGone();
}

}  // namespace

int cmd_record(int argc, char **argv)
{
    Options opts;
    opts.flag("--help");
    opts.flag("--verbose");
    opts.value("--model");
    opts.value("--seconds");
    std::string error;
    if (!opts.parse(argc, argv, &error)) {
        std::fprintf(stderr, "slateprobe-cli record: %s\n%s", error.c_str(), kUsage);
        return kExitUsage;
    }
    if (opts.has("--help")) {
        std::fputs(kUsage, stdout);
        return kExitOk;
    }
    if (opts.positional().size() != 1) {
        std::fprintf(stderr, "slateprobe-cli record: give one FILE to record to\n%s", kUsage);
        return kExitUsage;
    }
    double seconds = 0;
    if (opts.has("--seconds") && !parseSeconds(opts.get("--seconds"), &seconds)) {
        std::fprintf(stderr, "slateprobe-cli record: --seconds wants a positive number, not \"%s\"\n",
                     opts.get("--seconds").c_str());
        return kExitUsage;
    }
    const std::string path = opts.positional()[0];

    Console console(opts.has("--verbose"));  // keeps the layer's chatter off standard output
    // The product id is known once the tablet is chosen; the trail needs it
    // only when the first report is decoded, after the open.
    ReportTrail trail(0);
    Session session(ReportTrail::arrivalTap, ReportTrail::readerTap, &trail);
    trail.gone = markGone;
    trail.goneContext = &session;
    if (int res = session.open(opts.get("--model")); res != kExitOk)
        return res;
    trail.setPid(session.row().pid);
    trail.arm(true);

    hidrec::Header header;
    header.name = std::string(session.row().manufacturer) + " " + session.row().model;
    header.vid = session.row().vid;
    header.pid = session.row().pid;
    if (!session.reportDescriptor(&header.descriptor)) {
        std::fprintf(stderr, "slateprobe-cli: %s gives no report descriptor%s\n", session.name().c_str(),
                     session.gone() ? " (it was unplugged)" : "");
        return session.gone() ? kExitUnplugged : kExitNoAccess;
    }
    hidrec::Writer writer;
    if (!writer.open(path, header, &error)) {
        std::fprintf(stderr, "slateprobe-cli: %s\n", error.c_str());
        return kExitWrite;
    }
    std::fprintf(stderr, "slateprobe-cli: recording %s to %s; Ctrl-C to stop\n", session.name().c_str(),
                 path.c_str());

    const uint64_t start = nowNs();
    const uint64_t end = seconds > 0 ? start + static_cast<uint64_t>(seconds * 1e9) : 0;
    uint64_t first = 0;
    bool unplugged = false, writeFailed = false;
    auto write = [&](const std::vector<Received> &batch) {
        for (const Received &r : batch) {
            if (writeFailed)
                return;
            if (first == 0)
                first = r.ns;
            const uint64_t usec = (r.ns - first) / 1000;
            if (!writer.add(usec, r.bytes.data(), r.bytes.size(), r.comment, &error))
                writeFailed = true;
        }
    };
    for (;;) {
        int waitMs = 100;
        if (end) {
            const uint64_t now = nowNs();
            if (now >= end)
                break;
            waitMs = static_cast<int>(std::min<uint64_t>(100, (end - now) / 1000000 + 1));
        }
        const Wake w = waitFor(waitMs, session.goneFd());
        if (w == Wake::Interrupt)
            break;
        if (w == Wake::Ready) {
            unplugged = true;
            break;
        }
        write(trail.takeReady());
        if (writeFailed)
            break;
    }
    trail.arm(false);
    // What arrived last is still on its way through the reader, which looks
    // every 10 ms. A reader that found the tablet gone decodes nothing more,
    // and the rest is commented here.
    for (int i = 0; i < 20 && !unplugged && trail.arrivalsLeft(); ++i)
        waitFor(10);
    trail.flush(unplugged);
    write(trail.takeReady());

    // The file is completed before the tablet is closed: a pad that keeps
    // the close waiting must not cost the recording.
    std::string finishError;
    const bool finished = writer.finish(&finishError);
    const size_t count = writer.events();
    if (writeFailed)
        std::fprintf(stderr, "slateprobe-cli: %s\n", error.c_str());
    if (!finished)
        std::fprintf(stderr, "slateprobe-cli: %s\n", finishError.c_str());
    else
        std::fprintf(stderr, "slateprobe-cli: %s: %zu reports in %.1f s\n", path.c_str(), count,
                     static_cast<double>(nowNs() - start) / 1e9);
    if (unplugged)
        std::fprintf(stderr, "slateprobe-cli: %s was unplugged\n", session.name().c_str());
    const int closed = session.close();
    if (writeFailed || !finished)
        return kExitWrite;
    if (unplugged)
        return kExitUnplugged;
    return closed;
}
