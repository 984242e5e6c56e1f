// slateprobe-cli watch: the tablet's pen events live, one line each, with a
// status line of rate, gaps, pressure range, extent and lost reports.
#include <array>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <deque>
#include <mutex>
#include <string>

#include "commands.h"
#include "console.h"
#include "exitcodes.h"
#include "interrupt.h"
#include "options.h"
#include "recording/hidrec.h"
#include "session.h"
#include "stats.h"

using namespace cli;

namespace {

const char kUsage[] =
    "Usage: slateprobe-cli watch [--raw] [--model M] [--verbose]\n"
    "\n"
    "Opens the tablet as the window does (identity, sign mode for a pad) and\n"
    "prints its pen events as they come, one line each: seconds since the start,\n"
    "x, y, pressure, pen state (1 while touching) and key (16 re-sign, 32 OK),\n"
    "in the words of 'slateprobe-cli replay --decode'.\n"
    "A status line shows the report rate with the shortest and longest gap, the\n"
    "pressure range and the x/y extent reached while touching (against the\n"
    "model's full range), and the reports lost to the reader's queue. On a\n"
    "terminal it is redrawn in place; into a pipe it is a line starting with\n"
    "\"# \" every second. Ctrl-C closes the tablet and prints a summary.\n"
    "\n"
    "  --raw        the bytes of each report in hex beside its events; a report\n"
    "               that gives no event gets a line of its own\n"
    "  --model M    the tablet of model M (a name such as KV-C1, or a product id\n"
    "               such as 8420) when several are attached\n"
    "  --verbose    the tablet layer's protocol lines on standard error\n"
    "  -h, --help   this text\n"
    "\n"
    "Exit: 0 after Ctrl-C, 1 no tablet, 3 the tablet was unplugged, 5 it cannot\n"
    "be opened or does not answer, 130 Ctrl-C while the tablet kept us waiting.\n";

// A report as it arrived, kept until the reader takes it.
struct Arrival {
    uint64_t ns = 0;
    size_t length = 0;
    std::array<uint8_t, 64> bytes{};
};

struct Watch {
    Console *console = nullptr;
    Session *session = nullptr;
    bool raw = false;
    std::atomic<uint64_t> start{0};

    std::mutex m;  // guards what follows
    bool armed = false;
    Stats stats;
    std::deque<Arrival> arrivals;

    // Reader thread only: the report whose events come next.
    bool haveCurrent = false;
    bool currentHadEvent = false;
    uint64_t currentNs = 0;
    std::string currentHex;
};

Watch g_watch;

std::string hex(const unsigned char *b, size_t n)
{
    static const char digits[] = "0123456789abcdef";
    std::string s;
    s.reserve(n * 3);
    for (size_t i = 0; i < n; ++i) {
        if (i)
            s += ' ';
        s += digits[b[i] >> 4];
        s += digits[b[i] & 15];
    }
    return s;
}

std::string stamp(uint64_t ns)
{
    char buf[32];
    const uint64_t rel = ns > g_watch.start ? ns - g_watch.start : 0;
    std::snprintf(buf, sizeof buf, "%10.6f", static_cast<double>(rel) / 1e9);
    return buf;
}

void emit(std::string line)
{
    if (g_watch.raw)
        line += "  | " + g_watch.currentHex;
    g_watch.console->line(line);
    g_watch.currentHadEvent = true;
}

// Transport's read thread: every report as it arrives.
void onArrival(const unsigned char *data, size_t length, void *)
{
    Arrival a;
    a.ns = nowNs();
    a.length = std::min(length, a.bytes.size());
    std::memcpy(a.bytes.data(), data, a.length);
    std::lock_guard<std::mutex> lock(g_watch.m);
    if (!g_watch.armed)
        return;
    g_watch.stats.arrival(a.ns);
    g_watch.arrivals.push_back(a);
    if (g_watch.arrivals.size() > 256)  // the transport queue holds 32
        g_watch.arrivals.pop_front();
}

// Reader thread: the report it takes next, before its events.
void onReport(const unsigned char *report, int length, void *)
{
    if (length < 0) {
        g_watch.session->markGone();
        return;
    }
    if (g_watch.raw && g_watch.haveCurrent && !g_watch.currentHadEvent)
        g_watch.console->line(stamp(g_watch.currentNs) + "  (no event)  | " + g_watch.currentHex);
    // Its arrival time: the first queued arrival with these bytes. Those
    // before it were dropped by the full queue.
    uint64_t ns = 0;
    {
        std::lock_guard<std::mutex> lock(g_watch.m);
        while (!g_watch.arrivals.empty()) {
            const Arrival a = g_watch.arrivals.front();
            g_watch.arrivals.pop_front();
            const size_t n = std::min(a.length, static_cast<size_t>(length));
            if (std::memcmp(a.bytes.data(), report, n) == 0) {
                ns = a.ns;
                break;
            }
        }
    }
    g_watch.haveCurrent = true;
    g_watch.currentHadEvent = false;
    g_watch.currentNs = ns ? ns : nowNs();
    if (g_watch.raw)
        g_watch.currentHex = hex(report, static_cast<size_t>(length));
}

int onTouch(TOUCH_INFO t)
{
    emit(stamp(g_watch.currentNs) + "  " + hidrec::formatTouch(t));
    std::lock_guard<std::mutex> lock(g_watch.m);
    g_watch.stats.event(t);
    return 1;
}

int onMultiTouch(MULTITOUCH_INFO mt)
{
    emit(stamp(g_watch.currentNs) + "  " + hidrec::formatMultiTouch(mt));
    return 1;
}

Figures figures(bool total, unsigned long lostAtStart)
{
    std::lock_guard<std::mutex> lock(g_watch.m);
    Figures f = total ? g_watch.stats.total() : g_watch.stats.interval(nowNs());
    f.lost = hid_reports_dropped() - lostAtStart;
    return f;
}

}  // namespace

int cmd_watch(int argc, char **argv)
{
    Options opts;
    opts.flag("--help");
    opts.flag("--raw");
    opts.flag("--verbose");
    opts.value("--model");
    std::string error;
    if (!opts.parse(argc, argv, &error) || !opts.positional().empty()) {
        std::fprintf(stderr, "slateprobe-cli watch: %s\n%s", error.empty() ? "takes no file" : error.c_str(), kUsage);
        return kExitUsage;
    }
    if (opts.has("--help")) {
        std::fputs(kUsage, stdout);
        return kExitOk;
    }

    Console console(opts.has("--verbose"));
    g_watch.console = &console;
    g_watch.raw = opts.has("--raw");
    Session session(onArrival, onReport, nullptr);
    g_watch.session = &session;
    if (int res = session.open(opts.get("--model")); res != kExitOk)
        return res;
    const unsigned long lostAtStart = hid_reports_dropped();
    {
        std::lock_guard<std::mutex> lock(g_watch.m);
        g_watch.armed = true;
        g_watch.start = nowNs();
        g_watch.stats.interval(g_watch.start);
    }
    RegisterTouchInfoCallBack(onTouch);
    RegisterMultiTouchInfoCallBack(onMultiTouch);
    console.line("# " + session.describe());
    console.line("# watching; Ctrl-C to stop");

    const int statusMs = console.terminal() ? 250 : 1000;
    const int flushMs = 100;
    uint64_t nextStatus = nowNs() + statusMs * 1000000ull;
    bool unplugged = false;
    for (;;) {
        const Wake w = waitFor(flushMs, session.goneFd());
        if (w == Wake::Interrupt)
            break;
        if (w == Wake::Ready) {
            unplugged = true;
            break;
        }
        if (console.failed())
            break;  // nobody reads any more: end as after Ctrl-C
        if (nowNs() >= nextStatus) {
            console.status(formatFigures(figures(false, lostAtStart), session.row()));
            nextStatus += statusMs * 1000000ull;
        } else {
            console.flush();
        }
    }

    UnregisterTouchInfoCallBack(onTouch);
    UnregisterMultiTouchInfoCallBack(onMultiTouch);
    console.endStatus();
    {
        // The replies to the close are no pen traffic.
        std::lock_guard<std::mutex> lock(g_watch.m);
        g_watch.armed = false;
    }
    const int closed = session.close();
    const Figures f = figures(true, lostAtStart);
    char head[96];
    std::snprintf(head, sizeof head, "# summary: %llu reports in %.1f s: ",
                  static_cast<unsigned long long>(f.reports), static_cast<double>(nowNs() - g_watch.start) / 1e9);
    console.line(head + formatFigures(f, session.row()));
    console.flush();
    if (unplugged) {
        std::fprintf(stderr, "slateprobe-cli: %s was unplugged\n", session.name().c_str());
        return kExitUnplugged;
    }
    return closed;
}
