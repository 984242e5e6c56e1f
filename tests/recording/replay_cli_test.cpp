// slateprobe-cli replay as a technician runs it: a bad file is one line and
// exit 2 with nothing played; a good one plays into a virtual tablet that
// the watch started under it reads to the end.
#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <string>

#include "../cli/child.h"

namespace {

struct CliRun {
    int status;  // the exit code, -1 if it did not end in time
    std::string out, err;
};

CliRun runCli(std::vector<std::string> args)
{
    args.insert(args.begin(), {SP_CLI, "replay"});
    Child c(args);
    const int status = c.wait(30);
    return {status, c.out, c.err};
}

const char kBad[] = "/tmp/replay-cli-bad.hid";
const char kGood[] = "/tmp/replay-cli-good.hid";

TEST(ReplayCli, BadFileIsOneLineAndExit2)
{
    std::ofstream(kBad) << "R: 1 06\nI: 3 5e1b 8420\nE: 000000.000000 8 02 a1 00\n";
    for (const std::vector<std::string> &args : {std::vector<std::string>{kBad}, {"--decode", kBad}}) {
        const CliRun r = runCli(args);
        EXPECT_EQ(r.status, 2);
        EXPECT_EQ(r.out, "");
        EXPECT_EQ(r.err, std::string("slateprobe-cli replay: ") + kBad +
                             ":3: length field says 8 bytes, the line has 3\n");
    }
    unlink(kBad);
}

TEST(ReplayCli, PlaysIntoAVirtualTabletThatWatchReads)
{
    // KV-C1: two samples 10 ms apart and the lift.
    std::ofstream(kGood) << "R: 22 06 00 ff 09 01 a1 01 15 00 26 ff 00 75 08 96 08 00 09 01 81 02 c0\n"
                            "I: 3 5e1b 8420\n"
                            "E: 000000.000000 8 02 a1 10 10 00 10 00 02\n"
                            "E: 000000.010000 8 02 a1 20 10 00 10 00 02\n"
                            "E: 000000.020000 8 02 e0 00 00 00 00 00 00\n";
    const CliRun r = runCli({"--speed", "2", kGood});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.err.find("recording played"), std::string::npos) << r.err;
    // watch shows the samples' X (0x1010, 0x1020) in its lines.
    EXPECT_NE(r.out.find("4112"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("4128"), std::string::npos) << r.out;
    // A program ended by a signal: 128 + its number, as a shell reports it.
    EXPECT_EQ(runCli({kGood, "--", "sh", "-c", "kill -TERM $$"}).status, 128 + 15);
    unlink(kGood);
}

}  // namespace
