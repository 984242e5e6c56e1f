// The launcher end to end: it makes the test bed, starts a program under the
// preload, notices the open and signs; the program (demo_client) counts what
// arrives through real libusb. Expected counts are read off the hand-written
// file: 3 + 2 touching samples in 2 strokes.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

namespace {

const char *kSignature =
    "0 100 100 0.5\n8 120 110 0.5\n16 140 120 0.5\n40 140 120 0\n"
    "200 200 100 0.6\n208 220 90 0.6\n230 220 90 0\n";

struct Launched {
    pid_t pid;
    FILE *out;
};

// Starts the launcher with its output on a pipe.
Launched launch(const std::string &model, const std::string &strokes, const char *signature = kSignature)
{
    const std::string file = testing::TempDir() + "demo_launcher_signature.txt";
    std::ofstream(file) << signature;
    int fds[2];
    EXPECT_EQ(pipe(fds), 0);
    const pid_t pid = fork();
    if (pid == 0) {
        dup2(fds[1], 1);
        dup2(fds[1], 2);
        close(fds[0]);
        setenv("SP_DEMO_CLIENT_STROKES", strokes.c_str(), 1);
        execl(SP_DEMO_LAUNCHER, SP_DEMO_LAUNCHER, "--model", model.c_str(), "--program", SP_DEMO_CLIENT,
              "--signature", file.c_str(), static_cast<char *>(nullptr));
        _exit(127);
    }
    close(fds[1]);
    return {pid, fdopen(fds[0], "r")};
}

// Reads lines until one contains `what` (or the output ends); all read so far.
std::string readUntil(FILE *out, const std::string &what)
{
    std::string all;
    char line[512];
    while (fgets(line, sizeof line, out)) {
        all += line;
        if (std::string(line).find(what) != std::string::npos)
            break;
    }
    return all;
}

int finish(Launched &r)
{
    int status = 0;
    waitpid(r.pid, &status, 0);
    fclose(r.out);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace

// One model per family of reports: 8-byte pad, 64-byte pad (two lift
// reports), 20-byte and 10-byte display tablets (the last with no identity
// exchange, so only the claim tells that it was opened).
TEST(DemoLauncher, SignsWhenOpened)
{
    for (const char *model : {"KV-C1", "KV-C5", "KV-A1", "KV-B6"}) {
        SCOPED_TRACE(model);
        Launched r = launch(model, "2");
        const std::string out = readUntil(r.out, "slateprobe-demo: ended");
        EXPECT_EQ(finish(r), 0) << out;
        EXPECT_NE(out.find("client: down=5 strokes=2"), std::string::npos) << out;
    }
}

// Ended by a signal, the launcher ends its program and reports success.
TEST(DemoLauncher, EndsItsProgramOnTerm)
{
    Launched r = launch("KV-C2", "0");
    const std::string opened = readUntil(r.out, "client: open");
    ASSERT_NE(opened.find("client: open"), std::string::npos) << opened;
    kill(r.pid, SIGTERM);
    const std::string out = readUntil(r.out, "slateprobe-demo: ended");
    EXPECT_NE(out.find("slateprobe-demo: ended"), std::string::npos) << out;
    EXPECT_EQ(finish(r), 0);
}

// Samples sharing a time stamp are all signed (the pacer sends them back to
// back); a file whose time goes back stops the launcher at once with the line.
TEST(DemoLauncher, SharedAndBackwardTimes)
{
    Launched r = launch("KV-C1", "2",
                        "0 100 100 0.5\n0 120 110 0.5\n16 140 120 0.5\n16 140 120 0\n"
                        "200 200 100 0.6\n200 220 90 0.6\n200 220 90 0\n");
    std::string out = readUntil(r.out, "slateprobe-demo: ended");
    EXPECT_EQ(finish(r), 0) << out;
    EXPECT_NE(out.find("client: down=5 strokes=2"), std::string::npos) << out;

    r = launch("KV-C1", "2", "0 100 100 0.5\n8 120 110 0.5\n8 140 120 0.5\n7 140 120 0\n");
    out = readUntil(r.out, "never printed");
    EXPECT_EQ(finish(r), 2) << out;
    EXPECT_NE(out.find("line 4: time goes back"), std::string::npos) << out;
}
