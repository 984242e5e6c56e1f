// watch and record against an emulated pad, the program run as a child
// process: what they print and write, and how they end (Ctrl-C, unplug, a
// pad that never enters sign mode).
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <memory>
#include <regex>
#include <sstream>

#include "../support/wait.h"
#include "child.h"
#include "emulator/tablet_protocol.h"

namespace {

// KV-C1 pen sample: word A (x) 1000, word B (y) 2000, raw pressure 512.
// By hand: y 2000 - 955 (the pad's floor) = 1045; pressure 512/1024 * 0.6.
const emu::Bytes kSample = {0x02, 0xA1, 0xE8, 0x03, 0xD0, 0x07, 0x00, 0x02};
const char kSampleEvent[] = "x=1000 y=1045 pressure=0.3000 state=1 key=0";
// Pen lifted: the closing event at the last position, no pressure.
const emu::Bytes kLift = {0x02, 0xE0, 0, 0, 0, 0, 0, 0};
const char kLiftEvent[] = "x=1000 y=1045 pressure=0.0000 state=0 key=0";

class SessionTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        prctl(PR_SET_TIMERSLACK, 1);
        bed = std::make_unique<emu::Testbed>();
        pad = std::make_shared<emu::TabletBehaviour>(0x8420);
        dev = &bed->add(emu::DeviceSpec::tabletPid(0x8420), pad);
        dir = bed->rootDir() + "/rec";
        mkdir(dir.c_str(), 0755);
    }
    // Pushes reports and waits until the host has taken them all.
    void send(const std::vector<emu::Bytes> &reports)
    {
        for (const emu::Bytes &r : reports)
            dev->push(r);
        ASSERT_TRUE(waitFor([&] { return dev->queuedReports() == 0; }));
    }
    std::unique_ptr<emu::Testbed> bed;
    std::shared_ptr<emu::TabletBehaviour> pad;
    emu::Device *dev = nullptr;
    std::string dir;
};

TEST_F(SessionTest, WatchPrintsEventsAndClosesOnCtrlC)
{
    Child watch({SP_CLI, "watch", "--raw"});
    ASSERT_TRUE(watch.waitOut("# watching")) << watch.err;
    EXPECT_NE(watch.out.find("KV-C1 (5e1b:8420), signature pad"), std::string::npos) << watch.out;
    send({kSample, kLift});
    ASSERT_TRUE(watch.waitOut(kLiftEvent)) << watch.out;
    EXPECT_NE(watch.out.find(std::string(kSampleEvent) + "  | 02 a1 e8 03 d0 07 00 02\n"), std::string::npos)
        << watch.out;
    EXPECT_NE(watch.out.find(std::string(kLiftEvent) + "  | 02 e0 00 00 00 00 00 00\n"), std::string::npos);
    // Into a pipe the status is a line of its own, once a second.
    ASSERT_TRUE(watch.waitOut("| lost 0\n", 5)) << watch.out;

    watch.signal(SIGINT);
    EXPECT_EQ(watch.wait(), 0) << watch.err;
    // One contact event: its pressure is the whole range, its position the extent.
    EXPECT_NE(watch.out.find("# summary: 2 reports in"), std::string::npos) << watch.out;
    EXPECT_NE(watch.out.find("pressure 0.300-0.300 | x 1000-1000 of 0-6144 (0%) | y 1045-1045 of 0-8192 (0%) | lost 0"),
              std::string::npos)
        << watch.out;
    EXPECT_EQ(pad->count(emu::Command::Start), 1);  // put back to its start screen
    EXPECT_EQ(watch.out.find("hid_read mills"), std::string::npos);  // the layer's chatter stays out
}

// On a terminal (script(1) gives it one) the status line stays at the bottom:
// each event line clears it and draws it again below.
TEST_F(SessionTest, WatchOnATerminalRedrawsTheStatusInPlace)
{
    Child watch({"script", "-qfec", std::string(SP_CLI) + " watch", "/dev/null"});
    ASSERT_TRUE(watch.waitOut("| lost 0")) << watch.out;
    send({kSample});
    ASSERT_TRUE(watch.waitOut(kSampleEvent)) << watch.out;
    const std::string clear = "\r\033[K";
    const size_t event = watch.out.find(kSampleEvent);
    // The status drawn before is cleared, the event written from the line's
    // start, and the status drawn again under it (the terminal turns "\n"
    // into "\r\n").
    EXPECT_EQ(watch.out.rfind(clear, event), event - clear.size() - std::string("  0.000000  ").size())
        << watch.out;
    EXPECT_TRUE(watch.waitOut(std::string(kSampleEvent) + "\r\n", 2)) << watch.out;
    EXPECT_TRUE(watch.waitOut(" Hz", 2, event)) << watch.out;
    EXPECT_EQ(watch.out.find("# 0 Hz"), std::string::npos) << watch.out;  // no pipe-style status lines
    watch.signal(SIGINT);
    watch.wait();
}

TEST_F(SessionTest, UnplugEndsWatchAndRecord)
{
    const std::string file = dir + "/unplug.hid";
    const bool watching[] = {true, false};
    for (bool watch : watching) {
        if (!dev->plugged())
            dev->replug();
        Child child(watch ? std::vector<std::string>{SP_CLI, "watch"} : std::vector<std::string>{SP_CLI, "record", file});
        ASSERT_TRUE(watch ? child.waitOut("# watching") : child.waitErr("Ctrl-C to stop")) << child.err;
        send({kSample, kLift});
        if (watch) {
            ASSERT_TRUE(child.waitOut(kLiftEvent)) << child.out;
        }
        dev->unplug();
        EXPECT_EQ(child.wait(), 3) << child.err;
        EXPECT_NE(child.err.find("KV-C1 (5e1b:8420) was unplugged"), std::string::npos) << child.err;
    }

    // What was received before is in the file, complete.
    std::ifstream in(file);
    ASSERT_TRUE(in);
    std::vector<std::string> events;
    std::string line, previous;
    bool header = false;
    while (std::getline(in, line)) {
        if (line.rfind("R: ", 0) == 0) {
            std::istringstream r(line.substr(3));
            size_t length = 0, bytes = 0;
            std::string b;
            r >> length;
            while (r >> b)
                ++bytes;
            EXPECT_EQ(length, bytes) << line;
            EXPECT_GT(length, 0u);
        }
        header = header || line == "I: 3 5e1b 8420";
        if (line.rfind("E: ", 0) == 0) {
            EXPECT_EQ(previous.rfind("# ", 0), 0u) << "no decoded line before " << line;
            events.push_back(line);
        }
        previous = line;
    }
    EXPECT_TRUE(header);
    ASSERT_EQ(events.size(), 2u);
    EXPECT_EQ(events[0], "E: 000000.000000 8 02 a1 e8 03 d0 07 00 02");
    EXPECT_TRUE(std::regex_match(events[1], std::regex("E: 000000\\.[0-9]{6} 8 02 e0 00 00 00 00 00 00"))) << events[1];
}

TEST_F(SessionTest, RecordStopsAfterItsSeconds)
{
    const std::string file = dir + "/short.hid";
    Child record({SP_CLI, "record", file, "--seconds", "0.5"});
    ASSERT_TRUE(record.waitErr("Ctrl-C to stop")) << record.err;
    send({kSample});
    EXPECT_EQ(record.wait(), 0) << record.err;
    EXPECT_NE(record.err.find(file + ": 1 reports"), std::string::npos) << record.err;
    EXPECT_EQ(pad->count(emu::Command::Start), 1);
    std::ifstream in(file);
    std::stringstream text;
    text << in.rdbuf();
    EXPECT_NE(text.str().find("# " + std::string(kSampleEvent) + "\nE: 000000.000000 8 02 a1"), std::string::npos)
        << text.str();
}

// A full disk: an error and exit 4, and the file keeps whole lines of what
// was written before. The disk is a tmpfs of 16 KiB in a mount namespace of
// the program's own.
TEST_F(SessionTest, FullDiskKeepsWholeLines)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "needs root for a small tmpfs";
    const std::string disk = dir + "/small";
    mkdir(disk.c_str(), 0755);
    const std::string file = disk + "/full.hid";
    Child record({"unshare", "-m", "sh", "-c",
                  "mount -t tmpfs -o size=16k tmpfs " + disk + " && " + SP_CLI + " record " + file +
                      "; rc=$?; cat " + file + "; exit $rc"});
    ASSERT_TRUE(record.waitErr("Ctrl-C to stop")) << record.err;
    const size_t pushed = 600;  // some 50 KiB of lines
    for (size_t i = 0; i < pushed; ++i)
        dev->push(kSample);
    EXPECT_EQ(record.wait(), 4) << record.err;
    EXPECT_NE(record.err.find("the disk is full"), std::string::npos) << record.err;
    // The file as the program left it (the tmpfs went with its namespace).
    const std::string &text = record.out;
    ASSERT_FALSE(text.empty());
    EXPECT_EQ(text.back(), '\n');
    std::istringstream lines(text);
    std::string line;
    size_t events = 0;
    while (std::getline(lines, line)) {
        if (line.rfind("E: ", 0) == 0) {
            EXPECT_TRUE(std::regex_match(line, std::regex("E: [0-9]{6}\\.[0-9]{6} 8 02 a1 e8 03 d0 07 00 02"))) << line;
            ++events;
        }
    }
    EXPECT_GT(events, 0u);
    EXPECT_LT(events, pushed);
}

// The pad never acknowledges sign mode, so the open keeps waiting: the
// program says so after a second, and Ctrl-C still ends it.
TEST_F(SessionTest, CtrlCWhileThePadNeverEntersSignMode)
{
    pad->plan(emu::Command::Sign, {emu::Answer::Silent});
    Child watch({SP_CLI, "watch"});
    ASSERT_TRUE(watch.waitErr("waiting for the tablet to enter sign mode\n", 10)) << watch.err;
    EXPECT_GE(pad->count(emu::Command::Sign), 1);
    watch.signal(SIGINT);
    EXPECT_EQ(watch.wait(5), 130) << watch.err;
}

TEST_F(SessionTest, CommandLineMistakes)
{
    struct Case {
        std::vector<std::string> args;
        int exit;
        const char *says;
    };
    const Case cases[] = {
        {{"watch", "--bogus"}, 2, "unknown option --bogus"},
        {{"watch", "--model", "KV-Z9"}, 2, "no model KV-Z9"},
        {{"watch", "--model", "8421"}, 1, "no KV-C2 (5e1b:8421) attached"},
        {{"record"}, 2, "give one FILE"},
        {{"record", "x.hid", "--seconds", "-1"}, 2, "--seconds wants a positive number"},
        {{"record", "/nonexistent/dir/x.hid"}, 4, "cannot create a file in /nonexistent/dir"},
        {{"frobnicate"}, 2, "no command \"frobnicate\""},
    };
    for (const Case &c : cases) {
        std::vector<std::string> argv = {SP_CLI};
        argv.insert(argv.end(), c.args.begin(), c.args.end());
        Child child(argv);
        EXPECT_EQ(child.wait(), c.exit) << c.args[0] << " " << child.err;
        EXPECT_NE(child.err.find(c.says), std::string::npos) << child.err;
    }
    for (const char *command : {"list", "watch", "record"}) {
        Child help({SP_CLI, command, "--help"});
        EXPECT_EQ(help.wait(), 0) << command;
        EXPECT_EQ(help.out.rfind(std::string("Usage: slateprobe-cli ") + command, 0), 0u) << help.out;
    }
}

}  // namespace
