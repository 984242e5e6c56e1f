// Time from process start to the window shown: starts each program in turn on
// the X display in DISPLAY, RUNS times, and waits for its first top-level
// window to be mapped (MapNotify on the root window). Prints each run (wall
// time and the child's processor time up to its end right after the map),
// then per program the median and range, and each program's median against
// the last program's. Usage: startup_time RUNS PROGRAM [PROGRAM...]
#include <X11/Xlib.h>
#include <signal.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <vector>

extern char **environ;

namespace {
double median(std::vector<double> v)
{
    std::sort(v.begin(), v.end());
    const size_t n = v.size();
    return n % 2 ? v[n / 2] : (v[n / 2 - 1] + v[n / 2]) / 2;
}
}  // namespace

int main(int argc, char **argv)
{
    if (argc < 3 || atoi(argv[1]) < 1) {
        fprintf(stderr, "usage: %s RUNS PROGRAM [PROGRAM...]\n", argv[0]);
        return 2;
    }
    const int runs = atoi(argv[1]);
    const int programs = argc - 2;
    Display *display = XOpenDisplay(nullptr);
    if (!display) {
        fprintf(stderr, "no X display\n");
        return 1;
    }
    XSelectInput(display, DefaultRootWindow(display), SubstructureNotifyMask);
    std::vector<std::vector<double>> wall(programs), cpu(programs);
    for (int run = 0; run < runs; ++run) {
        for (int p = 0; p < programs; ++p) {
            const char *program = argv[2 + p];
            XSync(display, True);  // drop what earlier runs left
            char *child[] = {const_cast<char *>(program), nullptr};
            const auto start = std::chrono::steady_clock::now();
            pid_t pid;
            if (posix_spawn(&pid, program, nullptr, nullptr, child, environ) != 0) {
                perror("posix_spawn");
                return 1;
            }
            for (;;) {
                XEvent event;
                XNextEvent(display, &event);
                if (event.type == MapNotify && !event.xmap.override_redirect)
                    break;
            }
            wall[p].push_back(std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count());
            kill(pid, SIGTERM);
            rusage usage{};
            wait4(pid, nullptr, 0, &usage);
            cpu[p].push_back((usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1e3 +
                             (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e3);
            printf("run %d %s: %.1f ms (CPU %.1f ms)\n", run + 1, program, wall[p].back(), cpu[p].back());
        }
    }
    double loads[3] = {};
    getloadavg(loads, 3);
    const double peerWall = median(wall[programs - 1]), peerCpu = median(cpu[programs - 1]);
    for (int p = 0; p < programs; ++p) {
        const double w = median(wall[p]), c = median(cpu[p]);
        printf("%s: median of %d: %.1f ms (%.1f to %.1f), CPU %.1f ms; against the last: %.2f (CPU %.2f)\n",
               argv[2 + p], runs, w, *std::min_element(wall[p].begin(), wall[p].end()),
               *std::max_element(wall[p].begin(), wall[p].end()), c, w / peerWall, c / peerCpu);
    }
    printf("load average at the end: %.2f %.2f %.2f\n", loads[0], loads[1], loads[2]);
    return 0;
}
