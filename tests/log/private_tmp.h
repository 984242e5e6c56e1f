// Gives the test process, before main, a private tmpfs on /tmp in its own
// mount namespace and a private working directory: the trace path is fixed
// and other test processes write it at the same time.
#pragma once

#include <sched.h>
#include <stdio.h>
#include <sys/mount.h>
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
    char dir[] = "/tmp/logtest-XXXXXX";
    return mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           mount("tmpfs", "/tmp", "tmpfs", 0, "mode=1777") == 0 && mkdtemp(dir) && chdir(dir) == 0;
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
