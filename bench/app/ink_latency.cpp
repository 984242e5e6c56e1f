// Ink latency, end to end: pen reports of an emulated KV-C1 at a fixed pace
// while the real main window runs, and for each report the time from the
// emulator handing it to libusb to the window's backing store holding the
// ink it brought (the picture box's paint done). Prints p50, p99 and max
// and where the time went, stage by stage:
//   poll     the report waited while the reader slept between polls
//   reader   the rest up to hid_read giving it to the reader (transport)
//   hand     decoding, the callback and the queued hop to the interface thread
//   stroke   the pen call on the interface thread
//   copy     surface to image and the repaint requests
//   repaint  until the picture box has painted into the backing store
// The windows are compiled with the probe marks (SP_INK_PROBE); the reader's
// idle sleep is seen by standing in for usleep.
// With --dialog the tablet is a KV-A1 display tablet and the ink goes to the
// signature dialog (its events cross to the interface thread as the queued
// signal); only reports inside its writing area are sent.
// Usage (umockdev-wrapper, offscreen unless QT_QPA_PLATFORM says otherwise):
//   ink_latency [--dialog] [REPORTS [RATE]]   defaults 10000 reports, 200 a second
#include <pthread.h>
#include <sys/resource.h>
#include <time.h>
#include <unistd.h>

#include <QApplication>
#include <QPushButton>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <thread>
#include <vector>

#include "drawwidget.h"
#include "emulator/emulator.h"
#include "emulator/tablet_protocol.h"
#include "ink_probe.h"
#include "mainwindow.h"
#include "signextenddlg.h"
#include "tablet/deviceRead.h"
#include "tablet/pxtablet.h"

namespace {

using Clock = std::chrono::steady_clock;

int64_t nowNs()
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now().time_since_epoch()).count();
}

constexpr uint16_t kPadPid = 0x8420;     // KV-C1
constexpr uint16_t kDisplayPid = 0x3101; // KV-A1
uint16_t kPid = kPadPid;
constexpr unsigned kReaderIdleUs = 10000;

// One slot per report, each field written by one thread only.
struct Times {
    int64_t pushed = 0, wake = 0, read = 0, handled = 0, stroked = 0, copied = 0, painted = 0;
};
std::vector<Times> g_t;
std::atomic<int> g_nRead{0};       // reports the reader has taken
std::atomic<int> g_nHandled{0};    // pad events the interface thread began
int g_nStroked = 0, g_nCopied = 0; // interface thread only
std::atomic<int64_t> g_lastWake{0};
std::atomic<pthread_t> g_reader{};
std::atomic<bool> g_readerKnown{false};
std::vector<int64_t> g_paints;     // interface thread only

void tap(const unsigned char *, int length, void *)
{
    if (length <= 0)
        return;
    if (!g_readerKnown.load()) {
        g_reader.store(pthread_self());
        g_readerKnown.store(true);
    }
    const int i = g_nRead.fetch_add(1);
    if (i < int(g_t.size())) {
        g_t[i].read = nowNs();
        g_t[i].wake = g_lastWake.load();
    }
}

// Times the start of each pen event's queued call on the main window and the
// end of each paint of the widget
// that shows the ink (the picture box, or the dialog).
class ProbeApp : public QApplication {
public:
    using QApplication::QApplication;
    QObject *window = nullptr;
    QWidget *box = nullptr;
    bool notify(QObject *receiver, QEvent *event) override
    {
        const QEvent::Type type = event->type();
        if (type == QEvent::MetaCall && receiver == window) {
            const int i = g_nHandled.fetch_add(1);
            if (i < int(g_t.size()))
                g_t[i].handled = nowNs();
        }
        const bool done = QApplication::notify(receiver, event);
        if (type == QEvent::Paint && receiver == box)
            g_paints.push_back(nowNs());
        return done;
    }
};

double pct(std::vector<double> v, double p)
{
    std::sort(v.begin(), v.end());
    const size_t i = std::min(v.size() - 1, size_t(std::ceil(p / 100.0 * v.size())) - 1);
    return v[i];
}

double cpuSeconds()
{
    rusage u{};
    getrusage(RUSAGE_SELF, &u);
    return u.ru_utime.tv_sec + u.ru_stime.tv_sec + (u.ru_utime.tv_usec + u.ru_stime.tv_usec) / 1e6;
}

// A signature-like path: strokes of 150 samples, each lifted. On the pad
// over most of it; on the display tablet within the upper part of the
// screen, clear of the dialog's clear area, and always touching (every
// sample and the leave then reach the dialog).
std::vector<emu::Bytes> makeReports(int count)
{
    const bool pad = kPid == kPadPid;
    std::vector<emu::Bytes> out;
    for (int s = 0; int(out.size()) < count; ++s) {
        emu::Stroke stroke;
        for (int k = 0; k < 150; ++k) {
            const double a = (s * 150 + k) * 0.037;
            if (pad)
                stroke.samples.push_back({3000 + int(2600 * std::sin(a * 1.3 + s)),
                                          4100 + int(2800 * std::sin(a * 0.7)),
                                          600 + int(500 * std::sin(a * 2.1))});
            else
                stroke.samples.push_back({28000 + int(24000 * std::sin(a * 1.3 + s)),
                                          14000 + int(11000 * std::sin(a * 0.7)),
                                          900 + int(600 * std::sin(a * 2.1))});
        }
        for (auto &r : emu::encodeStroke(kPid, stroke))
            out.push_back(r);
    }
    out.resize(count);
    return out;
}

}  // namespace

// The windows' marks (SP_INK_PROBE build).
void spInkProbe(SpInkMark mark)
{
    if (mark == kInkStrokeDone) {
        const int i = g_nStroked++;
        if (i < int(g_t.size()))
            g_t[i].stroked = nowNs();
    } else {
        const int i = g_nCopied++;
        if (i < int(g_t.size()))
            g_t[i].copied = nowNs();
    }
}

// The reader's idle sleep, noted when it ends; other sleeps pass through.
extern "C" int usleep(useconds_t us)
{
    timespec ts{time_t(us / 1000000), long(us % 1000000) * 1000};
    while (nanosleep(&ts, &ts) != 0) {
    }
    if (us == kReaderIdleUs && g_readerKnown.load() && pthread_equal(g_reader.load(), pthread_self()))
        g_lastWake.store(nowNs());
    return 0;
}

int main(int argc, char **argv)
{
    const char *preload = getenv("LD_PRELOAD");
    if (!preload || !strstr(preload, "umockdev")) {
        std::fprintf(stderr, "ink_latency: run under umockdev-wrapper (the window opens an emulated tablet)\n");
        return 1;
    }
    const bool dialog = argc > 1 && strcmp(argv[1], "--dialog") == 0;
    if (dialog) {
        kPid = kDisplayPid;
        --argc;
        ++argv;
    }
    const int count = argc > 1 ? atoi(argv[1]) : 10000;
    const int rate = argc > 2 ? atoi(argv[2]) : 200;
    if (count < 1 || rate < 1) {
        std::fprintf(stderr, "usage: ink_latency [REPORTS [RATE]]\n");
        return 2;
    }
    g_t.resize(count);
    g_paints.reserve(count * 2 + 16);
    const std::vector<emu::Bytes> reports = makeReports(count);

    emu::Testbed bed;
    emu::Device &dev = bed.add(emu::DeviceSpec::tabletPid(kPid), std::make_shared<emu::TabletBehaviour>(kPid));
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    static int qargc = 1;
    static char name[] = "ink_latency";
    static char *qargv[] = {name, nullptr};
    ProbeApp app(qargc, qargv);
    auto *window = new MainWindow;
    window->show();
    PXSetReportTap(tap, nullptr);
    window->findChild<QPushButton *>("button_Open")->click();
    // Pen events always hop to the interface thread as a queued call on the
    // main window, which hands a display tablet's on to the dialog.
    app.window = window;
    if (dialog)
        app.box = window->findChild<SignExtendDlg *>();
    else
        app.box = window->findChild<drawWidget *>();
    if (!hDev || !app.box) {
        std::fprintf(stderr, "ink_latency: the emulated tablet did not open\n");
        return 1;
    }
    QApplication::processEvents();
    g_paints.clear();

    const double cpu0 = cpuSeconds();
    const int64_t wall0 = nowNs();
    std::thread pusher([&] {
        const auto start = Clock::now() + std::chrono::milliseconds(50);
        const auto step = std::chrono::nanoseconds(1000000000LL / rate);
        for (int i = 0; i < count; ++i) {
            std::this_thread::sleep_until(start + step * i);
            g_t[i].pushed = nowNs();
            dev.push(reports[i]);
        }
    });
    // Runs the window until every report has been painted (or 30 s after
    // the last push at the latest).
    QTimer poll;
    int64_t lastCopied = 0;
    QObject::connect(&poll, &QTimer::timeout, [&] {
        if (g_nCopied >= count && !g_paints.empty() && g_paints.back() >= g_t[count - 1].copied)
            app.quit();
        if (g_nCopied != lastCopied)
            lastCopied = g_nCopied;
        else if (g_nRead.load() > 0 && nowNs() - wall0 > (int64_t(count) * 1000000000LL / rate) + 30000000000LL)
            app.quit();
    });
    poll.start(20);
    app.exec();
    pusher.join();
    const double cpu = cpuSeconds() - cpu0;
    const double wall = (nowNs() - wall0) / 1e9;

    if (g_nCopied < count || g_nRead.load() < count) {
        std::fprintf(stderr, "ink_latency: %d pushed, %d read, %d handled, %d drawn: reports were lost\n", count,
                     g_nRead.load(), g_nHandled.load(), g_nCopied);
        return 1;
    }
    // Each report's ink is in the backing store at the end of the first
    // paint that began after its repaint was asked.
    std::vector<double> total, totalNoPoll, st[6];
    size_t p = 0;
    for (int i = 0; i < count; ++i) {
        Times &t = g_t[i];
        while (p < g_paints.size() && g_paints[p] < t.copied)
            ++p;
        if (p == g_paints.size()) {
            std::fprintf(stderr, "ink_latency: report %d was never painted\n", i);
            return 1;
        }
        t.painted = g_paints[p];
        const int64_t wake = (t.wake > t.pushed && t.wake <= t.read) ? t.wake : t.pushed;
        const double poll = (wake - t.pushed) / 1e3, reader = (t.read - wake) / 1e3;
        const double hand = (t.handled - t.read) / 1e3, stroke = (t.stroked - t.handled) / 1e3;
        const double copy = (t.copied - t.stroked) / 1e3, repaint = (t.painted - t.copied) / 1e3;
        const double all = (t.painted - t.pushed) / 1e3;
        total.push_back(all);
        totalNoPoll.push_back(all - poll);
        const double parts[6] = {poll, reader, hand, stroke, copy, repaint};
        for (int k = 0; k < 6; ++k)
            st[k].push_back(parts[k]);
    }
    double loads[3] = {};
    getloadavg(loads, 3);
    std::printf("ink_latency: %d reports at %d/s, %s, %s, load average %.2f %.2f %.2f\n", count, rate,
                dialog ? "KV-A1 into the signature dialog" : "KV-C1 into the main window",
                qPrintable(QApplication::platformName()), loads[0], loads[1], loads[2]);
    std::printf("paints: %zu; process CPU %.3f s over %.1f s (%.1f us per report)\n",
                g_paints.size(), cpu, wall, cpu * 1e6 / count);
    std::printf("%-26s %9s %9s %9s %9s\n", "us", "p50", "p99", "max", "mean");
    auto row = [](const char *label, const std::vector<double> &v) {
        double sum = 0;
        for (double x : v)
            sum += x;
        std::printf("%-26s %9.1f %9.1f %9.1f %9.1f\n", label, pct(v, 50), pct(v, 99), pct(v, 100),
                    sum / v.size());
    };
    row("end to end", total);
    row("end to end without poll", totalNoPoll);
    const char *names[6] = {"  poll (reader's sleep)", "  reader (transport)", "  hand-over", "  stroke", "  copy",
                            "  repaint"};
    double sums[6] = {}, sumAll = 0;
    for (int k = 0; k < 6; ++k) {
        for (double x : st[k])
            sums[k] += x;
        sumAll += sums[k];
    }
    for (int k = 0; k < 6; ++k) {
        row(names[k], st[k]);
        std::printf("%-26s %8.1f%% of the mean\n", "", 100.0 * sums[k] / sumAll);
    }
    PXSetReportTap(nullptr, nullptr);
    delete window;
    return 0;
}
