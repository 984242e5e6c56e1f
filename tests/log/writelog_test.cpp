// The trace file: line format, UTC+8 stamp in any zone, start-up trim, open
// failure. Runs in a private /tmp.
#include <gtest/gtest.h>

#include <stdlib.h>
#include <sys/stat.h>
#include <time.h>

#include "log/writelog.h"
#include "private_tmp.h"

namespace {

const char *kTrace = "/tmp/PXSlateProbe.log";

// "YYYYMMDD-hh:mm:ss " by the C library's zone rules: POSIX "CST-8" is UTC+8.
std::string stampAt(time_t t)
{
    setenv("TZ", "CST-8", 1);
    tzset();
    tm parts{};
    localtime_r(&t, &parts);
    char buf[32];
    strftime(buf, sizeof buf, "%Y%m%d-%H:%M:%S ", &parts);
    return buf;
}

} // namespace

// Lines written by hand: the text is a format string, 0 prints no number.
// The stamp must not follow the zone the process runs in.
TEST(WriteLog, LineFormatInEveryZone)
{
    struct Case {
        const char *text;
        int value;
        const char *rest;
    } cases[] = {
        {"x", 0, "x\n"},          {"x", -5, "x -5\n"},
        {"rate 100%%", 7, "rate 100% 7\n"}, {"\n\tbanner", 0, "\n\tbanner\n"},
    };
    for (const char *zone : {"UTC0", "ABC+11", "XYZ-5:30"}) {
        for (const Case &c : cases) {
            unlink(kTrace);
            const time_t before = time(nullptr);
            // The second may tick during the call.
            const std::string early = stampAt(before) + c.rest, late = stampAt(before + 1) + c.rest;
            setenv("TZ", zone, 1);
            tzset();
            ASSERT_TRUE(WriteLog(c.text, c.value));
            const std::string got = logtest::readFile(kTrace);
            EXPECT_TRUE(got == early || got == late) << zone << ": " << got;
        }
    }
}

// The start-up trim keeps a file of exactly the limit; afterwards a line
// (18-byte stamp + "again\n") is appended to a kept file or starts a new one.
// A trace that cannot be opened gives false and one line on standard output.
TEST(WriteLog, StartUpTrimAndOpenFailure)
{
    for (long size : {-1L, 0L, 4194304L, 4194305L, 8000000L}) {  // -1: no file
        unlink(kTrace);
        ASSERT_TRUE(size < 0 || (std::ofstream(kTrace).good() && truncate(kTrace, size) == 0));
        ReSetLog();
        const bool kept = size >= 0 && size <= 4194304;
        struct stat st;
        EXPECT_EQ(stat(kTrace, &st) == 0, kept) << size;
        ASSERT_TRUE(WriteLog("again", 0));
        EXPECT_EQ(stat(kTrace, &st) == 0 ? (long)st.st_size : -1, (kept ? size : 0) + 18 + 6) << size;
    }
    // A path that cannot be opened to append (a directory) is reported.
    ASSERT_TRUE(unlink(kTrace) == 0 && mkdir(kTrace, 0755) == 0);
    ::testing::internal::CaptureStdout();
    EXPECT_FALSE(WriteLog("lost", 3));
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "create log fail\n");
    rmdir(kTrace);
}
