// The trace file: line format, UTC+8 stamp in any zone, start-up trim, open
// failure. Runs in a private /tmp.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <time.h>

#include <fstream>
#include <sstream>

#include "log/writelog.h"
#include "private_tmp.h"

namespace {

const char *kTrace = "/tmp/PXSlateProbe.log";

std::string readAll()
{
    std::ifstream in(kTrace, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

// "YYYYMMDD-hh:mm:ss " eight hours ahead of UTC, from day arithmetic of the
// Gregorian calendar (no gmtime, no zone).
std::string stampAt(time_t t)
{
    long s = (long)t + 8 * 3600, days = s / 86400 + 719468, secs = s % 86400;
    long era = days / 146097, doe = days - era * 146097;
    long yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    long doy = doe - (365 * yoe + yoe / 4 - yoe / 100), mp = (5 * doy + 2) / 153;
    long d = doy - (153 * mp + 2) / 5 + 1, m = mp < 10 ? mp + 3 : mp - 9;
    long y = yoe + era * 400 + (m <= 2);
    char buf[64];
    snprintf(buf, sizeof buf, "%04ld%02ld%02ld-%02ld:%02ld:%02ld ", y, m, d, secs / 3600,
             secs / 60 % 60, secs % 60);
    return buf;
}

} // namespace

// Lines written by hand: the text is a format string, 0 prints no number.
// The stamp must not follow the zone (POSIX zone strings need no database).
TEST(WriteLog, LineFormatInEveryZone)
{
    struct Case {
        const char *text;
        int value;
        const char *rest;
    } cases[] = {
        {"x", 0, "x\n"},          {"x", -5, "x -5\n"},
        {"v", 1, "v 1\n"},        {"rate 100%%", 7, "rate 100% 7\n"},
        {"\n\tbanner", 0, "\n\tbanner\n"},
    };
    for (const char *zone : {"UTC0", "ABC+11", "XYZ-5:30"}) {
        setenv("TZ", zone, 1);
        tzset();
        for (const Case &c : cases) {
            unlink(kTrace);
            time_t before = time(nullptr);
            ASSERT_TRUE(WriteLog(c.text, c.value));
            std::string got = readAll();
            // The second may tick during the call.
            EXPECT_TRUE(got == stampAt(before) + c.rest || got == stampAt(before + 1) + c.rest)
                << zone << ": " << got;
        }
    }
    unsetenv("TZ");
    tzset();
}

TEST(WriteLog, UnopenableFileReportsOnStdout)
{
    unlink(kTrace);
    ASSERT_EQ(mkdir(kTrace, 0755), 0);  // a directory cannot be opened to append
    ::testing::internal::CaptureStdout();
    EXPECT_FALSE(WriteLog("lost", 3));
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "create log fail\n");
    rmdir(kTrace);
}

// The start-up trim keeps a file of exactly the limit; afterwards a line is
// appended to a kept file and starts a new one after a removal.
TEST(ReSetLog, TrimsOnlyAboveTheLimit)
{
    struct Case {
        long size;  // -1: no file
        bool kept;
    } cases[] = {{-1, false}, {0, true}, {4194304, true}, {4194305, false}, {8000000, false}};
    for (const Case &c : cases) {
        unlink(kTrace);
        if (c.size >= 0) {
            FILE *f = fopen(kTrace, "w");
            ASSERT_NE(f, nullptr);
            fclose(f);
            ASSERT_EQ(truncate(kTrace, c.size), 0);
        }
        ReSetLog();
        struct stat st;
        EXPECT_EQ(stat(kTrace, &st) == 0, c.kept) << c.size;
        ASSERT_TRUE(WriteLog("again", 0));
        long expected = (c.kept ? c.size : 0) + 18 + 6;
        EXPECT_EQ(stat(kTrace, &st) == 0 ? (long)st.st_size : -1, expected) << c.size;
    }
}
