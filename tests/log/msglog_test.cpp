// The Qt message file: the five record formats, the "\n\r" separator, the
// echo on standard output, the fatal path and the lock a failed open keeps.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <string>

#include "log/msglog.h"
#include "private_tmp.h"

namespace {

std::string readAll(const char *path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

// A fresh empty working directory under the private /tmp.
void enterFreshDir()
{
    char dir[] = "/tmp/msglog-XXXXXX";
    ASSERT_NE(mkdtemp(dir), nullptr);
    ASSERT_EQ(chdir(dir), 0);
}

struct Child {
    pid_t pid = -1;
    int out = -1;  // read end of the child's standard output
};

// Forks; the child runs `body` with its standard output on a pipe and exits 0.
template <typename Body>
Child forkWithStdout(Body body)
{
    int fds[2];
    if (pipe(fds) != 0)
        return {};
    fflush(stdout);
    pid_t pid = fork();
    if (pid == 0) {
        dup2(fds[1], STDOUT_FILENO);
        close(fds[0]);
        close(fds[1]);
        body();
        fflush(stdout);
        _exit(0);
    }
    close(fds[1]);
    return {pid, fds[0]};
}

// Reads from fd until `marker` has been seen, EOF, or ten seconds pass.
std::string readUntil(int fd, const std::string &marker)
{
    std::string got;
    char buf[256];
    while (got.find(marker) == std::string::npos) {
        struct pollfd p = {fd, POLLIN, 0};
        if (poll(&p, 1, 10000) <= 0)
            break;
        ssize_t n = read(fd, buf, sizeof buf);
        if (n <= 0)
            break;
        got.append(buf, (size_t)n);
    }
    return got;
}

} // namespace

// Each record expected by hand from its format: Debug takes file, function,
// line, message; the others take message, file, line, function. A null file
// or function fills nothing; an unknown type writes an empty record.
TEST(LogMsgOutput, RecordsAndSeparator)
{
    enterFreshDir();
    QMessageLogContext ctx("pad.cpp", 42, "void open()", "default");
    QMessageLogContext bare(nullptr, 7, nullptr, nullptr);

    struct Case {
        QtMsgType type;
        const QMessageLogContext *context;
        const char *msg;
        const char *record;
    } cases[] = {
        {QtDebugMsg, &ctx, "hello", "Debug  File:pad.cpp void open()  Line:42  Content:hello"},
        {QtWarningMsg, &ctx, "warm", "Warning: warm  pad.cpp  42  void open()"},
        {QtCriticalMsg, &ctx, "bad", "Critical: bad  pad.cpp  42  void open()"},
        {QtInfoMsg, &ctx, "note", "Info: note  pad.cpp  42  void open()"},
        {QtInfoMsg, &bare, "m", "Info: m    7  "},
        {QtDebugMsg, &bare, "d", "Debug  File:   Line:7  Content:d"},
        {static_cast<QtMsgType>(7), &ctx, "odd", ""},  // no such type
    };

    std::string expectedFile, expectedOut;
    ::testing::internal::CaptureStdout();
    for (const Case &c : cases) {
        LogMsgOutput(c.type, *c.context, QString(c.msg));
        expectedFile += std::string("\n\r") + c.record;
        expectedOut += std::string(c.msg) + "\n";
    }
    std::string out = ::testing::internal::GetCapturedStdout();

    // Separator before each record, nothing after the last one.
    EXPECT_EQ(readAll("pxtest.log"), expectedFile);
    EXPECT_EQ(out, expectedOut);
}

// A fatal message reaches standard output, then aborts before the file.
TEST(LogMsgOutput, FatalAbortsWithoutRecord)
{
    enterFreshDir();
    Child child = forkWithStdout([] {
        QMessageLogContext ctx("f.cpp", 1, "f()", "default");
        LogMsgOutput(QtFatalMsg, ctx, QString("boom"));
    });
    ASSERT_GT(child.pid, 0);
    std::string out = readUntil(child.out, "\n");
    int status = 0;
    ASSERT_EQ(waitpid(child.pid, &status, 0), child.pid);
    close(child.out);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT);
    EXPECT_EQ(out, "boom\n");
    struct stat st;
    EXPECT_NE(stat("pxtest.log", &st), 0) << "a fatal message must leave no file";
}

// A failed open prints the error text and keeps the lock: the next message in
// the process blocks for good. The child reports the lock state, then blocks
// in its second message until it is killed.
TEST(LogMsgOutput, FailedOpenKeepsTheLock)
{
    enterFreshDir();
    ASSERT_EQ(mkdir("pxtest.log", 0755), 0);  // a directory cannot be opened as a file
    Child child = forkWithStdout([] {
        QMessageLogContext ctx("f.cpp", 1, "f()", "default");
        LogMsgOutput(QtWarningMsg, ctx, QString("first"));
        printf(mutexlog.try_lock() ? "free\n" : "held\n");
        fflush(stdout);
        LogMsgOutput(QtWarningMsg, ctx, QString("second"));
        printf("returned\n");
    });
    ASSERT_GT(child.pid, 0);
    std::string out = readUntil(child.out, "held\n");

    // The child must still be blocked; give a finished child a moment to
    // show itself (a slow machine can only hide a fault, not invent one).
    struct pollfd p = {child.out, POLLIN, 0};
    poll(&p, 1, 200);
    int status = 0;
    pid_t done = waitpid(child.pid, &status, WNOHANG);
    kill(child.pid, SIGKILL);
    waitpid(child.pid, &status, 0);
    close(child.out);

    EXPECT_EQ(done, 0) << "the second message returned";
    ASSERT_EQ(out.substr(0, 6), "first\n");
    std::string rest = out.substr(6);
    // One line of error text, then the lock state.
    ASSERT_GE(rest.size(), 6u);
    EXPECT_EQ(rest.substr(rest.size() - 5), "held\n");
    std::string error = rest.substr(0, rest.size() - 5);
    EXPECT_GT(error.size(), 1u);
    EXPECT_EQ(error.find('\n'), error.size() - 1);
    EXPECT_EQ(out.find("second"), std::string::npos);
}
