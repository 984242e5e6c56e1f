// Gives the test process a private /tmp (a fresh tmpfs in its own mount
// namespace) and a private working directory, before any test runs. The trace
// path is fixed and other test processes write it at the same time; this way
// each log test reads back only its own lines.
#pragma once

#include <fcntl.h>
#include <sched.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mount.h>
#include <unistd.h>

#include <string>

namespace logtest {

inline bool writeFile(const char *path, const std::string &text)
{
    int fd = open(path, O_WRONLY);
    if (fd < 0)
        return false;
    bool ok = write(fd, text.data(), text.size()) == (ssize_t)text.size();
    close(fd);
    return ok;
}

inline bool enterPrivateTmp()
{
    if (unshare(CLONE_NEWNS) != 0) {
        // Not privileged: a user namespace maps us to root inside it.
        uid_t uid = getuid();
        gid_t gid = getgid();
        if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0)
            return false;
        writeFile("/proc/self/setgroups", "deny");
        writeFile("/proc/self/uid_map", "0 " + std::to_string(uid) + " 1");
        writeFile("/proc/self/gid_map", "0 " + std::to_string(gid) + " 1");
    }
    if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
        return false;
    if (mount("tmpfs", "/tmp", "tmpfs", 0, "mode=1777") != 0)
        return false;
    char dir[] = "/tmp/logtest-XXXXXX";
    return mkdtemp(dir) != nullptr && chdir(dir) == 0;
}

// Runs before main, while the process has one thread.
inline const bool privateTmpReady = [] {
    bool ok = enterPrivateTmp();
    if (!ok) {
        perror("private /tmp for the log tests");
        _exit(1);
    }
    return ok;
}();

} // namespace logtest
