// The trace file: line format, UTC+8 stamp in any zone, start-up trim, open
// failure. Runs in a private /tmp.
#include <gtest/gtest.h>

#include <time.h>

#include <set>

#include "../support/private_tmp.h"
#include "log/writelog.h"

const char *kTrace = "/tmp/PXSlateProbe.log";

// "YYYYMMDD-hh:mm:ss " by the C library's zone rules: POSIX "CST-8" is UTC+8.
std::string stampAt(time_t t)
{
    setenv("TZ", "CST-8", 1);
    tzset();
    char buf[32];
    strftime(buf, sizeof buf, "%Y%m%d-%H:%M:%S ", localtime(&t));
    return buf;
}

// Lines by hand: the text is a format string, 0 prints no number. The
// process runs in UTC+5:30; the stamp must not follow it.
// The start-up trim keeps a file of exactly the limit (4 MiB); afterwards a
// line (18-byte stamp + "again\n") is appended to a kept file or starts a new
// one. A trace that cannot be opened gives false and one line on stdout.
TEST(WriteLog, LinesTrimAndOpenFailure)
{
    const struct { const char *text; int value; const char *rest; } cases[] = {
        {"x", 0, "x\n"}, {"rate 100%%", -5, "rate 100% -5\n"}};
    for (const auto &c : cases) {
        unlink(kTrace);
        const time_t before = time(nullptr);  // the second may tick during the call
        const std::string early = stampAt(before) + c.rest, late = stampAt(before + 1) + c.rest;
        setenv("TZ", "XYZ-5:30", 1);
        tzset();
        ASSERT_TRUE(WriteLog(c.text, c.value));
        EXPECT_TRUE(std::set<std::string>({early, late}).count(logtest::readFile(kTrace))) << c.text;
    }
    for (long size : {-1L, 0L, 4194304L, 4194305L}) {  // -1: no file
        unlink(kTrace);
        ASSERT_TRUE(size < 0 || (std::ofstream(kTrace).good() && truncate(kTrace, size) == 0));
        ReSetLog();
        ASSERT_TRUE(WriteLog("again", 0));
        EXPECT_EQ((long)logtest::readFile(kTrace).size(), (size >= 0 && size <= 4194304 ? size : 0) + 24) << size;
    }
    ASSERT_TRUE(unlink(kTrace) == 0 && mkdir(kTrace, 0755) == 0);
    ::testing::internal::CaptureStdout();
    EXPECT_FALSE(WriteLog("lost", 3));
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "create log fail\n");
    rmdir(kTrace);
}
