// A private X server with several screens side by side for the window tests:
// Xorg with the dummy video driver, one output per screen, the first one
// primary. -displayfd picks a free display number, so tests run in parallel.
// The server ends with the test process.
#pragma once

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QSize>
#include <QVector>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace xorg {

// Standard 60 Hz timings for the sizes the tests use.
inline const char *modeline(QSize s)
{
    if (s == QSize(1920, 1080))
        return "148.50 1920 2008 2052 2200 1080 1084 1089 1125 +hsync +vsync";
    if (s == QSize(1280, 800))
        return "83.50 1280 1352 1480 1680 800 803 809 831 +hsync +vsync";
    if (s == QSize(1024, 768))
        return "65.00 1024 1048 1184 1344 768 771 777 806 -hsync -vsync";
    return nullptr;
}

inline pid_t &serverPid()
{
    static pid_t pid = 0;
    return pid;
}

inline std::string &serverDir()
{
    static std::string dir;
    return dir;
}

inline void stop()
{
    if (serverPid() > 0) {
        kill(serverPid(), SIGTERM);
        waitpid(serverPid(), nullptr, 0);
        serverPid() = 0;
    }
    if (!serverDir().empty())
        std::filesystem::remove_all(serverDir());
    serverDir().clear();
}

// Starts the server with the screens left to right and sets DISPLAY. Returns
// false (with the reason in `why`) when it cannot.
inline bool start(const QVector<QSize> &screens, std::string &why)
{
    char dirTemplate[] = "/tmp/sp-xorg-XXXXXX";
    const char *dir = mkdtemp(dirTemplate);
    if (!dir) {
        why = "mkdtemp";
        return false;
    }
    serverDir() = dir;
    const std::string conf = std::string(dir) + "/xorg.conf", empty = std::string(dir) + "/conf.d";
    mkdir(empty.c_str(), 0700);
    std::ofstream out(conf);
    out << "Section \"ServerFlags\"\n  Option \"AutoAddDevices\" \"false\"\nEndSection\n"
        << "Section \"Device\"\n  Identifier \"dev\"\n  Driver \"dummy\"\n  VideoRam 262144\n";
    for (int i = 0; i < screens.size(); ++i)
        out << "  Option \"Monitor-DUMMY" << i << "\" \"m" << i << "\"\n";
    out << "EndSection\n";
    int x = 0, height = 0;
    for (int i = 0; i < screens.size(); ++i) {
        const QSize s = screens[i];
        const std::string name = std::to_string(s.width()) + "x" + std::to_string(s.height());
        out << "Section \"Monitor\"\n  Identifier \"m" << i << "\"\n  Modeline \"" << name << "\" " << modeline(s)
            << "\n  Option \"PreferredMode\" \"" << name << "\"\n  Option \"Position\" \"" << x << " 0\"\n"
            << (i == 0 ? "  Option \"Primary\" \"true\"\n" : "  Option \"Enable\" \"true\"\n") << "EndSection\n";
        x += s.width();
        height = std::max(height, s.height());
    }
    out << "Section \"Screen\"\n  Identifier \"s\"\n  Device \"dev\"\n  Monitor \"m0\"\n"
        << "  SubSection \"Display\"\n    Virtual " << x << " " << height << "\n  EndSubSection\nEndSection\n";
    out.close();

    int fds[2];
    if (pipe(fds) != 0) {
        why = "pipe";
        return false;
    }
    const std::string log = std::string(dir) + "/Xorg.log";
    const pid_t pid = fork();
    if (pid == 0) {
        // The server must not see the test's USB emulation preload.
        unsetenv("LD_PRELOAD");
        unsetenv("UMOCKDEV_DIR");
        dup2(fds[1], 3);
        int null = open("/dev/null", O_RDWR);
        dup2(null, 0), dup2(null, 1), dup2(null, 2);
        execlp("Xorg", "Xorg", "-config", conf.c_str(), "-configdir", empty.c_str(), "-logfile", log.c_str(),
               "-nolisten", "tcp", "-noreset", "-displayfd", "3", static_cast<char *>(nullptr));
        _exit(127);
    }
    close(fds[1]);
    serverPid() = pid;
    std::string number;
    pollfd p{fds[0], POLLIN, 0};
    char c;
    while (poll(&p, 1, 10000) == 1 && read(fds[0], &c, 1) == 1 && c != '\n')
        number += c;
    close(fds[0]);
    if (number.empty()) {
        why = "Xorg did not start (is xserver-xorg-video-dummy installed, and are we root?)";
        stop();
        return false;
    }
    setenv("DISPLAY", (":" + number).c_str(), 1);
    atexit(stop);
    return true;
}

}  // namespace xorg
