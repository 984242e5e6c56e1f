// The judgement of the check's pen step: the lowest one-second report rate
// while the pen is down, the grid over the writing area, the range and the
// pressure.
#include <gtest/gtest.h>

#include "check_pen.h"

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

    judge.event({0, 0, 0, 0, kKeyOk}, t);
    EXPECT_TRUE(judge.okSeen());
    EXPECT_FALSE(judge.keysDone());
}

}  // namespace
