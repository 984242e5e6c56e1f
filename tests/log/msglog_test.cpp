// The Qt message file: record formats, "\n\r" separator, echo on standard
// output, the fatal path and the lock a failed open keeps.
#include <gtest/gtest.h>

#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <fstream>
#include <functional>
#include <sstream>

#include "log/msglog.h"
#include "private_tmp.h"

namespace {

void enterFreshDir()
{
    char dir[] = "/tmp/msglog-XXXXXX";
    ASSERT_TRUE(mkdtemp(dir) && chdir(dir) == 0);
}

struct ChildRun {
    std::string out;  // standard output up to the marker or the end
    bool ended;       // ended by itself within the bounded wait
    int status;
};

// Runs body in a child with its standard output on a pipe; reads until the
// child ends or prints `marker`, then gives it 200 ms more before killing it.
ChildRun runChild(const std::function<void()> &body, const std::string &marker)
{
    int fds[2];
    if (pipe(fds) != 0)
        return {"", false, 0};
    fflush(stdout);
    pid_t pid = fork();
    if (pid == 0) {
        dup2(fds[1], 1);
        body();
        fflush(stdout);
        _exit(0);
    }
    close(fds[1]);
    ChildRun run{"", false, 0};
    char buf[256];
    struct pollfd p = {fds[0], POLLIN, 0};
    bool eof = false;
    while (!eof && run.out.find(marker) == std::string::npos && poll(&p, 1, 10000) > 0) {
        ssize_t n = read(fds[0], buf, sizeof buf);
        eof = n <= 0;
        if (!eof)
            run.out.append(buf, (size_t)n);
    }
    // A child that goes on to the end closes the pipe: wait for it then.
    if (!eof && poll(&p, 1, 200) > 0 && (p.revents & POLLHUP))
        eof = true;
    run.ended = waitpid(pid, &run.status, eof ? 0 : WNOHANG) == pid;
    if (!run.ended) {
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
    }
    close(fds[0]);
    return run;
}

} // namespace

// Records written by hand from the formats: Debug takes file, function, line,
// message; the others message, file, line, function. Null fields fill
// nothing, an unknown type gives an empty record.
TEST(LogMsgOutput, RecordsAndSeparator)
{
    enterFreshDir();
    QMessageLogContext ctx("pad.cpp", 42, "void open()", "default"), bare(nullptr, 7, nullptr, nullptr);
    struct Case {
        QtMsgType type;
        const QMessageLogContext &context;
        const char *msg, *record;
    } cases[] = {
        {QtDebugMsg, ctx, "hello", "Debug  File:pad.cpp void open()  Line:42  Content:hello"},
        {QtWarningMsg, ctx, "warm", "Warning: warm  pad.cpp  42  void open()"},
        {QtCriticalMsg, ctx, "bad", "Critical: bad  pad.cpp  42  void open()"},
        {QtInfoMsg, ctx, "note", "Info: note  pad.cpp  42  void open()"},
        {QtInfoMsg, bare, "m", "Info: m    7  "},
        {QtDebugMsg, bare, "d", "Debug  File:   Line:7  Content:d"},
        {static_cast<QtMsgType>(7), ctx, "odd", ""},
    };
    std::string file, out;
    ::testing::internal::CaptureStdout();
    for (const Case &c : cases) {
        LogMsgOutput(c.type, c.context, QString(c.msg));
        file += std::string("\n\r") + c.record;
        out += std::string(c.msg) + "\n";
    }
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), out);
    std::ifstream in("pxtest.log", std::ios::binary);
    std::stringstream got;
    got << in.rdbuf();
    EXPECT_EQ(got.str(), file);  // separator first, nothing after the last record
}

TEST(LogMsgOutput, FatalAbortsBeforeTheFile)
{
    enterFreshDir();
    // No marker: read until the child is gone.
    ChildRun run = runChild([] { LogMsgOutput(QtFatalMsg, QMessageLogContext(), QString("boom")); }, "|end");
    ASSERT_TRUE(run.ended);
    EXPECT_TRUE(WIFSIGNALED(run.status) && WTERMSIG(run.status) == SIGABRT);
    EXPECT_EQ(run.out, "boom\n");
    struct stat st;
    EXPECT_NE(stat("pxtest.log", &st), 0);
}

// The failed open prints one line of error text and keeps the lock, so the
// second message blocks (the child is killed). A slow machine can only hide
// this fault, never invent it.
TEST(LogMsgOutput, FailedOpenKeepsTheLock)
{
    enterFreshDir();
    ASSERT_EQ(mkdir("pxtest.log", 0755), 0);
    ChildRun run = runChild(
        [] {
            LogMsgOutput(QtWarningMsg, QMessageLogContext(), QString("first"));
            printf(mutexlog.try_lock() ? "|free\n" : "|held\n");
            fflush(stdout);
            LogMsgOutput(QtWarningMsg, QMessageLogContext(), QString("second"));
        },
        "|held\n");
    EXPECT_FALSE(run.ended);
    ASSERT_EQ(run.out.rfind("first\n", 0), 0u);
    std::string error = run.out.substr(6, run.out.find('|') - 6);
    EXPECT_GT(error.size(), 1u);
    EXPECT_EQ(error.find('\n'), error.size() - 1);
    EXPECT_EQ(run.out.substr(6 + error.size()), "|held\n");
}
