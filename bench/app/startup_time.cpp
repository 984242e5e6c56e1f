// Time from process start to the window shown: starts the program N times on
// the X display in DISPLAY and waits for its first top-level window to be
// mapped (MapNotify on the root window). Prints each run and the median, in
// milliseconds. Usage: startup_time PROGRAM [RUNS]
#include <X11/Xlib.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <vector>

extern char **environ;

int main(int argc, char **argv)
{
    if (argc < 2) {
        fprintf(stderr, "usage: %s PROGRAM [RUNS]\n", argv[0]);
        return 2;
    }
    const int runs = argc > 2 ? atoi(argv[2]) : 10;
    Display *display = XOpenDisplay(nullptr);
    if (!display) {
        fprintf(stderr, "no X display\n");
        return 1;
    }
    XSelectInput(display, DefaultRootWindow(display), SubstructureNotifyMask);
    std::vector<double> ms;
    for (int run = 0; run < runs; ++run) {
        XSync(display, True);  // drop what earlier runs left
        char *child[] = {argv[1], nullptr};
        const auto start = std::chrono::steady_clock::now();
        pid_t pid;
        if (posix_spawn(&pid, argv[1], nullptr, nullptr, child, environ) != 0) {
            perror("posix_spawn");
            return 1;
        }
        for (;;) {
            XEvent event;
            XNextEvent(display, &event);
            if (event.type == MapNotify && !event.xmap.override_redirect)
                break;
        }
        ms.push_back(std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count());
        kill(pid, SIGTERM);
        waitpid(pid, nullptr, 0);
        printf("run %d: %.1f ms\n", run + 1, ms.back());
    }
    std::sort(ms.begin(), ms.end());
    const double median = runs % 2 ? ms[runs / 2] : (ms[runs / 2 - 1] + ms[runs / 2]) / 2;
    printf("median of %d: %.1f ms\n", runs, median);
    return 0;
}
