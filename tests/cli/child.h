// slateprobe-cli as a child process of a test: it inherits the test bed
// (LD_PRELOAD, UMOCKDEV_DIR), its standard output and error are collected,
// and every wait is bounded.
#pragma once

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <vector>

class Child {
public:
    explicit Child(const std::vector<std::string> &argv)
    {
        int out[2], err[2];
        if (pipe2(out, O_CLOEXEC) != 0 || pipe2(err, O_CLOEXEC) != 0)
            return;
        pid_ = fork();
        if (pid_ == 0) {
            dup2(out[1], STDOUT_FILENO);
            dup2(err[1], STDERR_FILENO);
            std::vector<char *> args;
            for (const std::string &a : argv)
                args.push_back(const_cast<char *>(a.c_str()));
            args.push_back(nullptr);
            execvp(args[0], args.data());
            _exit(127);
        }
        close(out[1]);
        close(err[1]);
        out_ = out[0];
        err_ = err[0];
    }
    ~Child()
    {
        if (pid_ > 0 && status_ < 0) {
            kill(pid_, SIGKILL);
            waitpid(pid_, nullptr, 0);
        }
        if (out_ >= 0)
            close(out_);
        if (err_ >= 0)
            close(err_);
    }

    // Reads until `text` shows up in standard output (or error), at most
    // `seconds`; false if it did not.
    bool waitOut(const std::string &text, int seconds = 10, size_t from = 0) { return waitText(out, text, seconds, from); }
    bool waitErr(const std::string &text, int seconds = 10) { return waitText(err, text, seconds, 0); }

    // The exit code, or -1 if the child did not end in time (it is killed)
    // or was ended by a signal.
    int wait(int seconds = 10)
    {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
        while (status_ < 0) {
            pump(20);
            int st = 0;
            if (waitpid(pid_, &st, WNOHANG) == pid_) {
                status_ = WIFEXITED(st) ? WEXITSTATUS(st) : 1000 + WTERMSIG(st);
                break;
            }
            if (std::chrono::steady_clock::now() > end) {
                kill(pid_, SIGKILL);
                waitpid(pid_, nullptr, 0);
                status_ = 1000 + SIGKILL;
                return -1;
            }
        }
        while (pump(0)) {
        }
        return status_ >= 1000 ? -1 : status_;
    }
    void signal(int sig) { kill(pid_, sig); }

    std::string out, err;

private:
    bool waitText(const std::string &stream, const std::string &text, int seconds, size_t from)
    {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
        while (stream.find(text, from) == std::string::npos) {
            if (std::chrono::steady_clock::now() > end)
                return false;
            pump(20);
        }
        return true;
    }
    // Takes what the pipes hold; false when nothing came.
    bool pump(int ms)
    {
        pollfd fds[2] = {{out_, POLLIN, 0}, {err_, POLLIN, 0}};
        if (poll(fds, 2, ms) <= 0)
            return false;
        bool any = false;
        char buf[4096];
        for (int i = 0; i < 2; ++i) {
            if (!(fds[i].revents & (POLLIN | POLLHUP)))
                continue;
            const ssize_t n = read(fds[i].fd, buf, sizeof buf);
            if (n > 0) {
                (i == 0 ? out : err).append(buf, size_t(n));
                any = true;
            }
        }
        return any;
    }
    pid_t pid_ = -1;
    int out_ = -1, err_ = -1;
    int status_ = -1;
};
