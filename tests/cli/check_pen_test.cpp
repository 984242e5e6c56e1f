// The judgement of the check's pen step: the lowest one-second report rate
// while the pen is down, the grid over the writing area, the range and the
// pressure; and the smaller pieces of the command line beside it: options,
// watch figures, the report files and the recording's trail.
#include <gtest/gtest.h>

#include "check_pen.h"
#include "check_report.h"
#include "options.h"
#include "report_trail.h"
#include "stats.h"

namespace {

constexpr uint64_t kMs = 1000000;

std::vector<uint64_t> every(uint64_t stepMs, uint64_t fromMs, uint64_t toMs)
{
    std::vector<uint64_t> t;
    for (uint64_t ms = fromMs; ms <= toMs; ms += stepMs)
        t.push_back(ms * kMs);
    return t;
}

TEST(CheckPenTest, LowestRateOverAnySecondWhileDown)
{
    std::vector<uint64_t> holed = every(5, 0, 1000), after = every(5, 1300, 2000);
    holed.insert(holed.end(), after.begin(), after.end());
    struct Case {
        const char *name;
        std::vector<uint64_t> times;
        uint64_t endMs;
        double rate;
    } cases[] = {
        // 200 a second: a one-second window holds 200 reports (one end open).
        {"steady 5 ms", every(5, 0, 2000), 2000, 200},
        // The window over the 0.3 s hole holds 0.7 s of reports (140) and
        // the one at its closed end; the average (~171) would hide it.
        {"a 0.3 s hole", holed, 2000, 141},
        // Shorter than a second: the span is the window, 10 gaps in 0.1 s.
        {"short stroke", every(10, 0, 100), 100, 100},
        // Still down a second after the last report: a window with none.
        {"stopped while down", every(5, 0, 500), 1500, 0},
        {"one report", {0}, 0, -1},
    };
    for (const Case &c : cases)
        EXPECT_DOUBLE_EQ(cli::lowestRate(c.times, c.endMs * kMs), c.rate) << c.name;
}

TEST(CheckPenTest, GridRangeAndPressureOnKvC1)
{
    const DEV_INFO_PX &row = Dev_info_px[catalogueRowOfPid(0x8420)];
    cli::PenJudge judge(row, cli::PenLimits{});
    // KV-C1 writes x 0..6143 and y 0..6281 (its y band 955..7237); its full
    // pressure reads 2048 / 1024 * 0.6 = 1.2, 90% of it 1.08.
    const TOUCH_INFO touches[] = {
        {0, 0, 0.5f, 1, 0},        // cell 0
        {6143, 6281, 0.5f, 1, 0},  // cell 15
        {3072, 3141, 1.07f, 1, 0}, // column 3072*4/6144 = 2, row 3141*4/6282 = 2: cell 10
        {6144, 8192, 0.5f, 0, 0},  // at the range's ends, not beyond; no contact
    };
    uint64_t t = 0;
    for (const TOUCH_INFO &touch : touches)
        judge.event(touch, t += 5 * kMs);
    cli::PenFigures f = judge.figures(t);
    std::vector<bool> expect(16, false);
    expect[0] = expect[15] = expect[10] = true;
    EXPECT_EQ(f.grid, expect);
    EXPECT_EQ(f.cellsReached, 3);
    EXPECT_FALSE(f.beyondRange) << f.beyondWhat;
    EXPECT_NEAR(f.pressureMax, 1.07 / 1.2, 1e-6);
    EXPECT_FALSE(judge.gridAndPressureDone());

    judge.event({6145, 10, 1.09f, 1, 0}, t += 5 * kMs);
    f = judge.figures(t);
    EXPECT_TRUE(f.beyondRange);
    EXPECT_EQ(f.beyondWhat, "x 6145 y 10 beyond 0-6144, 0-8192");
    EXPECT_GE(f.pressureMax, 0.9);
    // Failures in order: range, cells; the pressure now passes.
    EXPECT_EQ(cli::penFailure(f, cli::PenLimits{}, 2),
              "beyond the model's range: x 6145 y 10 beyond 0-6144, 0-8192; 2 reports lost by the reader's queue; "
              "the pen reached 4 of 16 cells");

    // Up to maxLost lost reports are allowed; one more fails.
    cli::PenLimits two;
    two.maxLost = 2;
    EXPECT_EQ(cli::penFailure(f, two, 2).find("lost"), std::string::npos);
    EXPECT_NE(cli::penFailure(f, two, 3).find("3 reports lost"), std::string::npos);

    judge.event({0, 0, 0, 0, kKeyOk}, t);
    EXPECT_TRUE(judge.okSeen());
    EXPECT_FALSE(judge.keysDone());
}

TEST(OptionsTest, RefusesZeroSecondsAndValuesOnFlags)
{
    double v = -1;
    EXPECT_FALSE(cli::parseSeconds("0", &v));
    EXPECT_TRUE(cli::parseSeconds("0.5", &v));
    EXPECT_EQ(v, 0.5);
    struct Case {
        std::vector<const char *> argv;
        bool ok;
    } cases[] = {
        {{"watch", "--no-fingerprint"}, true},
        {{"watch", "--no-fingerprint=x"}, false},
        {{"watch", "--seconds=2"}, true},
    };
    for (const Case &c : cases) {
        cli::Options o;
        o.flag("--no-fingerprint");
        o.value("--seconds");
        std::string error;
        EXPECT_EQ(o.parse(int(c.argv.size()), const_cast<char **>(c.argv.data()), &error), c.ok) << c.argv[1];
    }
}

TEST(StatsTest, WholeRunRateAndRoundedShareOfRange)
{
    cli::Stats s;
    // Three reports 10 ms apart: two gaps in 20 ms, 100 a second.
    for (uint64_t ms : {0u, 10u, 20u})
        s.arrival(ms * kMs);
    s.event({0, 0, 0.5f, 1, 0});
    s.event({6143, 8191, 0.5f, 1, 0});
    const cli::Figures f = s.total();
    EXPECT_DOUBLE_EQ(f.rateHz, 100);
    // KV-C1's x 0-6144: 6143 of it is 99.98%, shown rounded as 100%.
    const std::string text = cli::formatFigures(f, Dev_info_px[catalogueRowOfPid(0x8420)]);
    EXPECT_NE(text.find("x 0-6143 of 0-6144 (100%)"), std::string::npos) << text;
}

TEST(CheckReportTest, NotRunCountsAsSkippedAndDeviceTextsEscaped)
{
    cli::TabletResult t;
    t.model = "KV-C1";
    t.serial = "a\"b";  // firmware and serial come from the device
    t.firmware = "c\\d";
    t.steps = {{"identity", cli::Verdict::Pass, "", 0, {}},
               {"pen", cli::Verdict::Fail, "x", 0, {}},
               {"keys", cli::Verdict::NotRun, "y", 0, {}}};
    const std::string xml = cli::junitText({t}), json = cli::jsonText({t});
    EXPECT_NE(xml.find("<testsuites name=\"slateprobe-cli check\" tests=\"3\" failures=\"1\" errors=\"0\" skipped=\"1\""),
              std::string::npos) << xml;
    EXPECT_NE(xml.find("value=\"a&quot;b\""), std::string::npos) << xml;
    EXPECT_NE(json.find("\"firmware\": \"c\\\\d\""), std::string::npos) << json;
}

TEST(ReportTrailTest, FlushAfterTheReaderStoppedLosesNothing)
{
    cli::ReportTrail trail(0x8420);
    trail.arm(true);
    const unsigned char a[8] = {0x02, 0x01}, b[8] = {0x02, 0x02};
    cli::ReportTrail::arrivalTap(a, sizeof a, &trail);
    cli::ReportTrail::arrivalTap(b, sizeof b, &trail);
    trail.flush(true);
    const std::vector<cli::Received> ready = trail.takeReady();
    ASSERT_EQ(ready.size(), 2u);
    for (const cli::Received &r : ready)
        EXPECT_EQ(r.comment.find("lost"), std::string::npos) << r.comment;
}

}  // namespace
