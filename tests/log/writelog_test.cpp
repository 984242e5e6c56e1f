// The trace file: line format, UTC+8 stamp in any zone, the start-up trim and
// the open failure. Runs in a private /tmp (private_tmp.h).
#include <gtest/gtest.h>

#include <stdlib.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <string>

#include "log/writelog.h"
#include "private_tmp.h"

namespace {

const char *kTrace = "/tmp/PXSlateProbe.log";

std::string readAll(const char *path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

bool exists(const char *path)
{
    struct stat st;
    return stat(path, &st) == 0;
}

// Calendar date of a day count since 1970-01-01 (proleptic Gregorian), by
// the era arithmetic of civil calendars; independent of gmtime.
void civilFromDays(long days, int &y, int &m, int &d)
{
    days += 719468;
    long era = (days >= 0 ? days : days - 146096) / 146097;
    long doe = days - era * 146097;
    long yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    long doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    long mp = (5 * doy + 2) / 153;
    d = (int)(doy - (153 * mp + 2) / 5 + 1);
    m = (int)(mp < 10 ? mp + 3 : mp - 9);
    y = (int)(yoe + era * 400 + (m <= 2 ? 1 : 0));
}

// Stamp "YYYYMMDD-hh:mm:ss " of a moment, eight hours ahead of UTC.
std::string stampAt(time_t t)
{
    long shifted = (long)t + 8 * 3600;
    long days = shifted / 86400;
    long secs = shifted % 86400;
    int y, m, d;
    civilFromDays(days, y, m, d);
    char buf[64];
    snprintf(buf, sizeof buf, "%04d%02d%02d-%02ld:%02ld:%02ld ", y, m, d, secs / 3600,
             secs / 60 % 60, secs % 60);
    return buf;
}

// Writes one line into a fresh file; true when the file holds exactly the
// stamp of a second within the call followed by `rest`.
::testing::AssertionResult freshLineIs(const char *text, int value, const std::string &rest)
{
    unlink(kTrace);
    time_t before = time(nullptr);
    bool written = WriteLog(text, value);
    time_t after = time(nullptr);
    if (!written)
        return ::testing::AssertionFailure() << "WriteLog returned false";
    std::string got = readAll(kTrace);
    for (time_t t = before; t <= after; ++t) {
        if (got == stampAt(t) + rest)
            return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure() << "file holds \"" << got << "\", expected stamp of "
                                         << stampAt(before) << "+ \"" << rest << "\"";
}

class ZoneGuard {
public:
    explicit ZoneGuard(const char *zone)
    {
        const char *old = getenv("TZ");
        had_ = old != nullptr;
        if (had_)
            old_ = old;
        setenv("TZ", zone, 1);
        tzset();
    }
    ~ZoneGuard()
    {
        if (had_)
            setenv("TZ", old_.c_str(), 1);
        else
            unsetenv("TZ");
        tzset();
    }

private:
    bool had_ = false;
    std::string old_;
};

} // namespace

// One line per call: the text is a format string, a value of 0 prints no
// number. Expected lines written by hand; the stamp is the same whatever the
// machine's zone (POSIX zone strings need no zone database).
TEST(WriteLog, LineFormatInEveryZone)
{
    struct Case {
        const char *text;
        int value;
        const char *rest;
    } cases[] = {
        {"x", 0, "x\n"},
        {"x", -5, "x -5\n"},
        {"v", 1, "v 1\n"},
        {"rate 100%%", 7, "rate 100% 7\n"},     // "%%" is a format conversion
        {"\n\tbanner", 0, "\n\tbanner\n"},      // leading line feeds stay
        {"", 0, "\n"},
        {"FindTavrelTablet_Pid：8807fail", 0, "FindTavrelTablet_Pid：8807fail\n"},
    };
    for (const char *zone : {"UTC0", "ABC+11", "XYZ-5:30", "CST-8"}) {
        ZoneGuard guard(zone);
        for (const Case &c : cases)
            EXPECT_TRUE(freshLineIs(c.text, c.value, c.rest)) << "zone " << zone << ", text \"" << c.text << "\"";
    }
}

TEST(WriteLog, AppendsToWhatIsThere)
{
    {
        std::ofstream out(kTrace, std::ios::binary | std::ios::trunc);
        out << "old line\n";
    }
    ASSERT_TRUE(WriteLog("first", 1));
    ASSERT_TRUE(WriteLog("second", 0));
    std::string got = readAll(kTrace);
    // old line, then two stamped lines of 18 + text bytes each.
    ASSERT_EQ(got.substr(0, 9), "old line\n");
    std::string rest = got.substr(9);
    ASSERT_EQ(rest.size(), 18 + std::string("first 1\n").size() + 18 + std::string("second\n").size());
    EXPECT_EQ(rest.substr(18, 8), "first 1\n");
    EXPECT_EQ(rest.substr(18 + 8 + 18), "second\n");
}

TEST(WriteLog, UnopenableFileReportsOnStdout)
{
    unlink(kTrace);
    ASSERT_EQ(mkdir(kTrace, 0755), 0);  // a directory cannot be opened for append
    ::testing::internal::CaptureStdout();
    bool written = WriteLog("lost", 3);
    std::string out = ::testing::internal::GetCapturedStdout();
    rmdir(kTrace);
    EXPECT_FALSE(written);
    EXPECT_EQ(out, "create log fail\n");
}

// The start-up trim keeps a file of exactly the limit and removes a larger
// one; after a removal the next line starts a new file.
TEST(ReSetLog, TrimsOnlyAboveTheLimit)
{
    struct Case {
        long size;      // -1: no file
        bool survives;
    } cases[] = {
        {-1, false},
        {0, true},
        {4194303, true},
        {4194304, true},
        {4194305, false},
        {8000000, false},
    };
    for (const Case &c : cases) {
        unlink(kTrace);
        if (c.size >= 0) {
            FILE *f = fopen(kTrace, "w");
            ASSERT_NE(f, nullptr);
            ASSERT_EQ(ftruncate(fileno(f), c.size), 0);
            fclose(f);
        }
        ReSetLog();
        EXPECT_EQ(exists(kTrace), c.survives) << "size " << c.size;
        if (!c.survives) {
            ASSERT_TRUE(WriteLog("again", 0));
            EXPECT_EQ(readAll(kTrace).size(), 18u + 6u) << "size " << c.size;
        }
    }
    unlink(kTrace);
}
