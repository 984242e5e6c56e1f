// Gives the test process, before main, a private tmpfs on /tmp in its own
// mount namespace and a private working directory: the trace path is fixed
// and other test processes write it at the same time. A build tree that
// itself lives under /tmp stays reachable at its own path (the test program
// loads libraries beside itself).
#pragma once

#include <fcntl.h>
#include <limits.h>
#include <sched.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace logtest {

inline bool enterPrivateTmp()
{
    if (unshare(CLONE_NEWNS) != 0) {
        // Not privileged: a user namespace makes us root inside it.
        std::string uid = std::to_string(getuid()), gid = std::to_string(getgid());
        if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0)
            return false;
        std::ofstream("/proc/self/setgroups") << "deny";
        std::ofstream("/proc/self/uid_map") << "0 " + uid + " 1";
        std::ofstream("/proc/self/gid_map") << "0 " + gid + " 1";
    }
    // The first folder under /tmp of the program's own path and of the
    // working directory, if they are there.
    std::string keep[2];
    char path[PATH_MAX];
    ssize_t n = readlink("/proc/self/exe", path, sizeof path - 1);
    keep[0] = n > 0 ? std::string(path, size_t(n)) : std::string();
    keep[1] = getcwd(path, sizeof path) ? path : "";
    for (std::string &k : keep)
        k = k.rfind("/tmp/", 0) == 0 ? k.substr(5, k.find('/', 5) - 5) : "";

    char dir[] = "/tmp/logtest-XXXXXX";
    const int oldTmp = open("/tmp", O_PATH | O_DIRECTORY);
    bool ok = oldTmp >= 0 && mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
              mount("tmpfs", "/tmp", "tmpfs", 0, "mode=1777") == 0;
    for (const std::string &k : keep) {
        if (!ok || k.empty())
            continue;
        const std::string target = "/tmp/" + k;
        const std::string source = "/proc/self/fd/" + std::to_string(oldTmp) + "/" + k;
        if (access(target.c_str(), F_OK) != 0)
            ok = mkdir(target.c_str(), 0755) == 0 &&
                 mount(source.c_str(), target.c_str(), nullptr, MS_BIND | MS_REC, nullptr) == 0;
    }
    if (oldTmp >= 0)
        close(oldTmp);
    return ok && mkdtemp(dir) && chdir(dir) == 0;
}

// Static initialisation runs while the process still has one thread.
inline const bool privateTmpReady = [] {
    if (!enterPrivateTmp()) {
        perror("private /tmp");
        _exit(1);
    }
    return true;
}();

inline std::string readFile(const char *path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

// Texts of the trace lines written since the last call, 18-byte stamps
// removed; the trace starts afresh.
inline std::vector<std::string> takeTrace()
{
    std::ifstream in("/tmp/PXSlateProbe.log");
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);)
        lines.push_back(line.size() >= 18 ? line.substr(18) : line);
    unlink("/tmp/PXSlateProbe.log");
    return lines;
}

} // namespace logtest
