// What one signature-pad event costs in the main window, from receiveMsg to
// the image updated (pen call, the full 400,000-byte copy, the hand-over to
// the picture box and the repaint request), against that copy alone.
// Runs under umockdev-wrapper: the pen engine wants an open tablet.
#include <benchmark/benchmark.h>

#include <QApplication>
#include <QPushButton>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "emulator/emulator.h"
#include "emulator/tablet_protocol.h"
#include "mainwindow.h"
#include "tablet/deviceRead.h"

namespace {

struct Session {
    emu::Testbed bed;
    QApplication *app;
    MainWindow *window;
    Session()
    {
        // KV-C1, 6144 x 8192, answering the tablet protocol (Open waits for the
        // pad's acknowledgement of sign mode).
        bed.add(emu::DeviceSpec::tabletPid(0x8420), std::make_shared<emu::TabletBehaviour>(0x8420));
        static int argc = 1;
        static char name[] = "app_window_bench";
        static char *argv[] = {name, nullptr};
        setenv("QT_QPA_PLATFORM", "offscreen", 0);
        app = new QApplication(argc, argv);
        window = new MainWindow;
        window->show();
        window->findChild<QPushButton *>("button_Open")->click();
        // Without the tablet every event would time a window with nothing to draw.
        if (!hDev) {
            std::fprintf(stderr, "app_window_bench: the emulated tablet did not open (run under umockdev-wrapper)\n");
            std::exit(1);
        }
    }
};

Session &session()
{
    // Outside the umockdev preload the test bed is not seen and Open waits.
    const char *preload = getenv("LD_PRELOAD");
    if (!preload || !strstr(preload, "umockdev")) {
        std::fprintf(stderr, "app_window_bench: run under umockdev-wrapper (the pen engine wants an open tablet)\n");
        std::exit(1);
    }
    static Session s;
    return s;
}

// A pen-down stroke wandering over the pad; every event draws.
void BM_PadEventStroke(benchmark::State &state)
{
    MainWindow &w = *session().window;
    w.receiveMsg({1000, 1000, 0.5f, 1, 0});
    int i = 0;
    for (auto _ : state) {
        const int x = 500 + (i * 37) % 5000, y = 500 + (i * 53) % 7000;
        w.receiveMsg({x, y, 0.5f, 1, 0});
        ++i;
    }
    w.receiveMsg({0, 0, 0.0f, 0, 0});
    QApplication::processEvents();
}
BENCHMARK(BM_PadEventStroke);

// Hovering: no pen call, the copy and the hand-over alone.
void BM_PadEventHover(benchmark::State &state)
{
    MainWindow &w = *session().window;
    for (auto _ : state)
        w.receiveMsg({1000, 1000, 0.0f, 0, 0});
    QApplication::processEvents();
}
BENCHMARK(BM_PadEventHover);

// The 400 x 250 x 4 bytes copy from the surface to the image, by itself.
void BM_Copy400k(benchmark::State &state)
{
    const size_t bytes = 400 * 250 * 4;
    void *from = malloc(bytes), *to = malloc(bytes);
    memset(from, 0xFF, bytes);
    for (auto _ : state) {
        memcpy(to, from, bytes);
        benchmark::DoNotOptimize(to);
        benchmark::ClobberMemory();
    }
    free(from);
    free(to);
}
BENCHMARK(BM_Copy400k);

}  // namespace

BENCHMARK_MAIN();
