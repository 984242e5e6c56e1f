// Reading the signature file and timing its reports. Expected times are the
// file's own times less the first touch, worked by hand below.
#include <gtest/gtest.h>

#include <sstream>

#include "replay.h"
#include "signature.h"
#include "tablet/catalogue.h"

namespace {

std::vector<demo::Stroke> parse(const std::string &text)
{
    std::istringstream in(text);
    return demo::parseSignature(in);
}

std::string errorOf(const std::string &text)
{
    try {
        parse(text);
    } catch (const std::runtime_error &e) {
        return e.what();
    }
    return "";
}

}  // namespace

TEST(DemoSignature, RejectsFaultyLines)
{
    const struct {
        const char *text;
        const char *error;
    } cases[] = {
        {"0 1 2\n", "line 1: expected four numbers"},
        {"0 1 2 0.5 9\n", "line 1: expected four numbers"},
        {"0 1 2 0.5\n0 1 x 0.5\n", "line 2: expected four numbers"},
        {"# c\n10 1 1 0.5\n\n5 1 1 0.5\n", "line 4: time goes back"},
        // back after two samples at one time, back after a lift, back before the first touch
        {"0 1 1 0.5\n5 1 1 0.5\n5 2 2 0.5\n4 2 2 0.5\n", "line 4: time goes back"},
        {"0 1 1 0.5\n10 1 1 0\n9 1 1 0.5\n", "line 3: time goes back"},
        {"10 1 1 0\n5 1 1 0.5\n", "line 2: time goes back"},
        {"0 401 0 0.5\n", "line 1: position outside"},
        {"0 0 -1 0.5\n", "line 1: position outside"},
        {"0 1 1 1.5\n", "line 1: pressure outside"},
        {"0 1 1 -0.1\n", "line 1: pressure outside"},
        {"# only a comment\n\n", "no stroke"},
        {"0 1 1 0\n8 2 2 0\n", "no stroke"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.text);
        EXPECT_NE(errorOf(c.text).find(c.error), std::string::npos) << errorOf(c.text);
    }
}

// Hover before the first touch is dropped, a zero-pressure line lifts, a
// comment may follow a sample, and a file ending in contact lifts at its last
// sample.
TEST(DemoSignature, StrokesAndLifts)
{
    const auto s = parse("0 5 5 0\n100 10 10 0.5 # touch\n108 20 10 0.5\n140 20 10 0\n150 1 1 0\n"
                         "400 50 50 0.6\n408 60 60 0.6\n");
    ASSERT_EQ(s.size(), 2u);
    EXPECT_EQ(s[0].samples.size(), 2u);
    EXPECT_EQ(s[0].liftMs, 140);
    EXPECT_EQ(s[1].samples.size(), 2u);
    EXPECT_EQ(s[1].liftMs, 408);
}

// Sample reports at the samples' times, the lift reports at the lift time,
// all from the first touch (100 ms into the file): 8-byte pads and display
// tablets lift with one report, 64-byte pads with two.
TEST(DemoSignature, ReplayPacing)
{
    const auto s = parse("0 5 5 0\n100 10 10 0.5\n108 20 10 0.5\n116 30 10 0.5\n140 30 10 0\n"
                         "400 50 50 0.6\n408 60 60 0.6\n430 60 60 0\n");
    const struct {
        uint16_t pid;
        std::vector<int> at;
    } cases[] = {
        {0x8420, {0, 8, 16, 40, 300, 308, 330}},
        {0x8807, {0, 8, 16, 40, 40, 300, 308, 330, 330}},
        {0x3101, {0, 8, 16, 40, 300, 308, 330}},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.pid);
        std::vector<int> at;
        for (const auto &r : demo::replaySchedule(c.pid, s))
            at.push_back(int(r.at.count()));
        EXPECT_EQ(at, c.at);
    }
}

// Samples that share a time stamp are taken as they come: their reports go
// out at the same moment, in file order, and a lift may share the time too.
TEST(DemoSignature, SharedTimeStamps)
{
    const auto s = parse("100 10 10 0.5\n100 20 10 0.5\n108 30 10 0.5\n108 30 10 0\n");
    ASSERT_EQ(s.size(), 1u);
    ASSERT_EQ(s[0].samples.size(), 3u);
    EXPECT_EQ(s[0].samples[1].x, 20);
    EXPECT_EQ(s[0].liftMs, 108);
    std::vector<int> at;
    for (const auto &r : demo::replaySchedule(0x8420, s))
        at.push_back(int(r.at.count()));
    EXPECT_EQ(at, (std::vector<int>{0, 0, 8, 8}));
}

// On a display tablet the dialog clears with a strip at the bottom: a tall
// signature, scaled to the height it may use, stays in the top 740 of 800.
TEST(DemoSignature, StaysAboveTheClearStrip)
{
    const auto s = parse("0 0 0 0.5\n8 1 100 0.5\n");
    for (uint16_t pid : {uint16_t(0x3101), uint16_t(0x3102)}) {
        const DEV_INFO_PX &row = Dev_info_px[catalogueRowOfPid(pid)];
        for (const auto &stroke : demo::placeSignature(pid, s))
            for (const auto &p : stroke.samples)
                EXPECT_LT(p.y, row.maxY * 740 / 800) << pid;
    }
}
