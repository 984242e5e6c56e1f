// The Qt message file: record formats, "\n\r" separator, echo on standard
// output, the fatal path and the lock a failed open keeps.
#include <gtest/gtest.h>

#include <signal.h>

#include "../support/private_tmp.h"
#include "log/msglog.h"

const char *kFile = "pxtest.log";

// Records by hand from the formats: Debug takes file, function, line,
// message; the others message, file, line, function. Null fields fill
// nothing (Debug's null fields: the signature dialog's test).
TEST(LogMsgOutput, RecordsAndSeparator)
{
    QMessageLogContext ctx("pad.cpp", 42, "void open()", "default"), bare(nullptr, 7, nullptr, nullptr);
    const struct { QtMsgType type; const QMessageLogContext &context; const char *msg, *record; } cases[] = {
        {QtDebugMsg, ctx, "hello", "Debug  File:pad.cpp void open()  Line:42  Content:hello"},
        {QtWarningMsg, ctx, "warm", "Warning: warm  pad.cpp  42  void open()"},
        {QtCriticalMsg, ctx, "bad", "Critical: bad  pad.cpp  42  void open()"},
        {QtInfoMsg, ctx, "note", "Info: note  pad.cpp  42  void open()"},
        {QtInfoMsg, bare, "m", "Info: m    7  "},
    };
    std::string file, out;
    ::testing::internal::CaptureStdout();
    for (const auto &c : cases) {
        LogMsgOutput(c.type, c.context, QString(c.msg));
        file += std::string("\n\r") + c.record;
        out += std::string(c.msg) + "\n";
    }
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), out);
    EXPECT_EQ(logtest::readFile(kFile), file);
}

// In a child, standard output on standard error where the death test reads
// it. A fatal message aborts after its echo, before the file. A failed open
// echoes, prints one line of error text and keeps the lock (callers rely on
// it), so any later message would block.
TEST(LogMsgOutput, FatalAndFailedOpen)
{
    GTEST_FLAG_SET(death_test_style, "fast");  // the parent's working directory
    remove(kFile);
    EXPECT_EXIT((dup2(2, 1), LogMsgOutput(QtFatalMsg, QMessageLogContext(), "boom")),
                ::testing::KilledBySignal(SIGABRT), "^boom\n$");
    EXPECT_EQ(access(kFile, F_OK), -1);
    ASSERT_EQ(mkdir(kFile, 0755), 0);
    EXPECT_EXIT((dup2(2, 1), LogMsgOutput(QtWarningMsg, QMessageLogContext(), "first"),
                 _exit(mutexlog.tryLock() ? 1 : 42)),
                ::testing::ExitedWithCode(42), "^first\n[^\n]+\n$");
}
