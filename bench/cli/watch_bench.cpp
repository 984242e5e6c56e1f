// What slateprobe-cli costs while a tablet sends 1,000 reports a second: the
// program runs as a child on an emulated KV-C1 (run this under
// umockdev-wrapper), the pad sends a paced stream, and the child's own CPU
// time (user + system, from /proc) is set against the wall time of the
// stream. Counters: cpu_pct of one core, split into the busiest thread (the
// transport's read thread, whose usbfs calls the emulator answers) and the
// others; lost (reports the reader's queue dropped, from watch's summary,
// read only where standard output is a file), events (lines printed).
//
//   umockdev-wrapper build/bench/cli/cli_watch_bench
//   umockdev-wrapper build/bench/cli/cli_watch_bench --layouts DIR
// The second form records a stroke from one model of each report layout
// into DIR, for reading with hid-tools.
#include <benchmark/benchmark.h>
#include <dirent.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <map>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "emulator/tablet_protocol.h"
#include "tablet/pxtablet.h"

namespace {

constexpr int kRate = 1000;

pid_t spawn(const std::vector<std::string> &args, const std::string &out)
{
    const pid_t pid = fork();
    if (pid == 0) {
        FILE *f = std::freopen(out.c_str(), "w", stdout);
        (void)f;
        std::vector<char *> argv;
        for (const std::string &a : args)
            argv.push_back(const_cast<char *>(a.c_str()));
        argv.push_back(nullptr);
        execv(argv[0], argv.data());
        _exit(127);
    }
    return pid;
}

// User + system time of a process (or of one thread: "PID/task/TID"), seconds.
double cpuSeconds(const std::string &proc)
{
    std::ifstream in("/proc/" + proc + "/stat");
    std::string line;
    std::getline(in, line);
    std::istringstream rest(line.substr(line.rfind(')') + 2));
    std::string field;
    unsigned long utime = 0, stime = 0;
    for (int i = 3; i <= 15 && rest >> field; ++i) {
        if (i == 14)
            utime = std::stoul(field);
        if (i == 15)
            stime = std::stoul(field);
    }
    return double(utime + stime) / double(sysconf(_SC_CLK_TCK));
}

double cpuSeconds(pid_t pid)
{
    return cpuSeconds(std::to_string(pid));
}

// CPU seconds of each thread of a process, by thread id.
std::map<std::string, double> threadSeconds(pid_t pid)
{
    std::map<std::string, double> out;
    const std::string task = "/proc/" + std::to_string(pid) + "/task";
    if (DIR *d = opendir(task.c_str())) {
        while (dirent *e = readdir(d))
            if (e->d_name[0] != '.')
                out[e->d_name] = cpuSeconds(std::to_string(pid) + "/task/" + e->d_name);
        closedir(d);
    }
    return out;
}

// The busiest thread's share and the rest: under the emulator the busiest is
// the transport's read thread, whose usbfs calls the preload forwards to the
// emulator one by one.
void threadShares(const std::map<std::string, double> &before, const std::map<std::string, double> &after,
                  double wall, benchmark::State &state)
{
    double top = 0, rest = 0;
    for (const auto &[tid, sec] : after) {
        auto it = before.find(tid);
        const double used = sec - (it == before.end() ? 0 : it->second);
        if (used > top) {
            rest += top;
            top = used;
        } else {
            rest += used;
        }
    }
    state.counters["busiest_thread_pct"] = top / wall * 100;
    state.counters["other_threads_pct"] = rest / wall * 100;
}

bool waitUntil(const std::function<bool()> &pred)
{
    for (int i = 0; i < 2000 && !pred(); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    return pred();
}

std::vector<emu::Bytes> stream(uint16_t pid, int count)
{
    emu::Stroke stroke;
    for (int i = 0; i < count; ++i)
        stroke.samples.push_back({1000 + (i % 3000), 2000 + (i % 2000), 200 + (i % 800)});
    std::vector<emu::Bytes> reports = emu::encodeStroke(pid, stroke);
    reports.resize(size_t(count));
    return reports;
}

// args: the command after the program; out: where its standard output goes.
void runCli(benchmark::State &state, std::vector<std::string> args, const std::string &out)
{
    const int seconds = 3;
    double cpuPct = 0, lost = 0, events = 0;
    for (auto _ : state) {
        emu::Testbed bed;
        auto pad = std::make_shared<emu::TabletBehaviour>(0x8420);
        emu::Device &dev = bed.add(emu::DeviceSpec::tabletPid(0x8420), pad);
        args.insert(args.begin(), SP_CLI);
        const pid_t child = spawn(args, out);
        args.erase(args.begin());
        if (!waitUntil([&] { return pad->count(emu::Command::Sign) > 0 && dev.claimed(); })) {
            state.SkipWithError("the program did not open the pad");
            kill(child, SIGKILL);
            waitpid(child, nullptr, 0);
            return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(300));  // past the open
        const double cpu0 = cpuSeconds(child);
        const auto threads0 = threadSeconds(child);
        const auto t0 = std::chrono::steady_clock::now();
        dev.pushPaced(stream(0x8420, kRate * seconds), std::chrono::microseconds(1000000 / kRate));
        dev.waitPacedDone();
        waitUntil([&] { return dev.queuedReports() == 0; });
        std::this_thread::sleep_for(std::chrono::milliseconds(50));  // the reader's last look
        const double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
        const double cpu = cpuSeconds(child) - cpu0;
        threadShares(threads0, threadSeconds(child), wall, state);
        kill(child, SIGINT);
        waitpid(child, nullptr, 0);
        cpuPct = cpu / wall * 100;
        std::ifstream in(out);
        std::string line;
        events = 0;
        while (std::getline(in, line)) {
            if (line.find("x=") != std::string::npos && line[0] != '#')
                ++events;
            const size_t at = line.find("# summary:");
            if (at != std::string::npos)
                lost = std::stod(line.substr(line.rfind("lost ") + 5));
        }
    }
    state.counters["cpu_pct"] = cpuPct;
    state.counters["lost"] = lost;
    state.counters["events"] = events;
}

// The floor: the tablet layer alone, opened as the window opens it, with a
// callback that only counts. What watch costs beyond it is its own work.
int floorCallback(TOUCH_INFO)
{
    return 1;
}

int runFloor()
{
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    if (OpenDevice() != 0)
        return 1;
    RegisterTouchInfoCallBack(floorCallback);
    int sig = 0;
    sigwait(&set, &sig);
    UnregisterTouchInfoCallBack(floorCallback);
    CloseDevice();
    return 0;
}

std::string g_self;

void BM_TabletLayerAlone(benchmark::State &state)
{
    double cpuPct = 0;
    for (auto _ : state) {
        emu::Testbed bed;
        auto pad = std::make_shared<emu::TabletBehaviour>(0x8420);
        emu::Device &dev = bed.add(emu::DeviceSpec::tabletPid(0x8420), pad);
        const pid_t child = spawn({g_self, "--floor"}, "/dev/null");
        waitUntil([&] { return pad->count(emu::Command::Sign) > 0 && dev.claimed(); });
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        const double cpu0 = cpuSeconds(child);
        const auto threads0 = threadSeconds(child);
        const auto t0 = std::chrono::steady_clock::now();
        dev.pushPaced(stream(0x8420, kRate * 3), std::chrono::microseconds(1000000 / kRate));
        dev.waitPacedDone();
        waitUntil([&] { return dev.queuedReports() == 0; });
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        const double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
        threadShares(threads0, threadSeconds(child), wall, state);
        cpuPct = (cpuSeconds(child) - cpu0) / wall * 100;
        kill(child, SIGINT);
        waitpid(child, nullptr, 0);
    }
    state.counters["cpu_pct"] = cpuPct;
}

void BM_WatchRawToDevNull(benchmark::State &state) { runCli(state, {"watch", "--raw"}, "/dev/null"); }
void BM_WatchRawToFile(benchmark::State &state) { runCli(state, {"watch", "--raw"}, "/tmp/cli-watch-bench.txt"); }
void BM_WatchToDevNull(benchmark::State &state) { runCli(state, {"watch"}, "/dev/null"); }
void BM_Record(benchmark::State &state) { runCli(state, {"record", "/tmp/cli-watch-bench.hid"}, "/dev/null"); }

BENCHMARK(BM_TabletLayerAlone)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_WatchRawToDevNull)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_WatchRawToFile)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_WatchToDevNull)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Record)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();

// One stroke recorded from a model of each report layout.
int recordLayouts(const std::string &dir)
{
    struct Layout {
        const char *name;
        uint16_t pid;
    } layouts[] = {{"display-wide-kv-a1", 0x3101}, {"display-short-high-kv-a2", 0x3102},
                   {"display-short-low-kv-b2", 0x8811}, {"pad-8-kv-c1", 0x8420}, {"pad-64-kv-c4", 0x880F}};
    mkdir(dir.c_str(), 0755);
    int failed = 0;
    for (const Layout &l : layouts) {
        emu::Testbed bed;
        auto tablet = std::make_shared<emu::TabletBehaviour>(l.pid);
        emu::Device &dev = bed.add(emu::DeviceSpec::tabletPid(l.pid), tablet);
        const std::string file = dir + "/" + l.name + ".hid";
        const pid_t child = spawn({SP_CLI, "record", file}, "/dev/null");
        waitUntil([&] { return dev.claimed() && dev.pendingInTransfers() > 0; });
        std::this_thread::sleep_for(std::chrono::milliseconds(1500));
        emu::Stroke stroke;
        for (int i = 0; i < 20; ++i)
            stroke.samples.push_back({1000 + 40 * i, 2000 + 25 * i, 300 + 20 * i});
        stroke.interval = std::chrono::microseconds(5000);
        dev.pushPaced(emu::encodeStroke(l.pid, stroke), stroke.interval);
        dev.waitPacedDone();
        waitUntil([&] { return dev.queuedReports() == 0; });
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        kill(child, SIGINT);
        int status = 0;
        waitpid(child, &status, 0);
        std::printf("%s: exit %d\n", file.c_str(), WIFEXITED(status) ? WEXITSTATUS(status) : -1);
        failed += !(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    }
    return failed ? 1 : 0;
}

}  // namespace

int main(int argc, char **argv)
{
    prctl(PR_SET_TIMERSLACK, 1);
    g_self = "/proc/self/exe";
    char self[4096];
    const ssize_t n = readlink("/proc/self/exe", self, sizeof self - 1);
    if (n > 0)
        g_self.assign(self, size_t(n));
    if (argc == 2 && std::string(argv[1]) == "--floor")
        return runFloor();
    if (argc == 3 && std::string(argv[1]) == "--layouts")
        return recordLayouts(argv[2]);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
