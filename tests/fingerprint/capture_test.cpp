// The capture rules through the stand-in scanners: which frame the picture
// shows, the picture's pixels and place, the calls that end a capture, and
// closing the dialog in the middle of a frame.
#include <QElapsedTimer>

#include "../support/private_tmp.h"
#include "fpr_support.h"

using namespace fprtest;

// Scores over 60 count; three counted frames are compared (strictly, the
// earlier wins a tie) and the fourth ends the capture. A failed score ends a
// bitmap capture at once with the best so far (or the frame at hand when
// none counted yet) but is only a failed pass for the raw family. `shown`:
// the stand-in frame the picture shows, worked out by hand; `pulled`: frames
// delivered until the capture ended.
TEST(Capture, FrameChosenByQuality)
{
    app();
    const struct { const char *what; int type; std::string script; int shown, pulled; } cases[] = {
        {"61 counts", 0, "quality=61,62,63,64", 2, 4},
        {"60 does not count", 0, "quality=60,61,62,63", 3, 5},
        {"a tie keeps the earlier frame", 0, "quality=70,70,70,70", 0, 4},
        {"poor frames in between", 0, "quality=10,200,61,60,62,61", 1, 6},
        {"scoring fails after two counted", 0, "quality=61,65,x", 1, 3},
        {"scoring fails on the first frame", 0, "quality=x", 0, 1},
        {"scoring fails after a poor frame", 0, "quality=50,x", 1, 2},
        {"two channels", 0, "quality=61,62,63,64;channels=2", 2, 4},
        {"raw: 61 counts", 1, "quality=61,62,63,64", 2, 4},
        {"raw: 60 does not count", 1, "quality=60,61,62,63", 3, 5},
        {"raw: failed score is a failed pass", 1, "quality=61,x,62,63,64", 3, 5},
        {"raw: type 2 as type 1", 2, "quality=61,62,63,64", 2, 4},
        {"raw: 288 rows upside down", 1, "size=32x288", 2, 4},
        {"raw: 287 rows as they come", 1, "size=32x287", 2, 4},
        {"raw: 289 rows as they come", 1, "size=32x289", 2, 4},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        const bool raw = c.type > 0;
        Scanner scanner("delay=0;size=40x48;" + c.script);
        CapFingerDlg dlg;
        ASSERT_EQ(dlg.StartCapture(c.type), 1);
        ASSERT_TRUE(workerGone(dlg));
        QApplication::processEvents();  // the queued rectangle
        EXPECT_EQ(shownFrame(raw, c.pulled), c.shown);
        EXPECT_EQ(scanner.journal(raw ? "ARAFPSCAN_CaptureRawData device 8" : "LIVESCAN_GetFPBmpData_Red").size(),
                  size_t(c.pulled));
        EXPECT_EQ(g_pFPBmpData, nullptr);
        EXPECT_EQ(g_pFPRawData, nullptr);
        // Half size, centred in the 300 wide dialog, 50 down: for 40 x 48
        // (140, 50)-(159, 73); for 32 wide (142, 50)-(157, h / 2 + 49).
        const int h = Fprimg ? Fprimg->height() : 0;
        EXPECT_EQ(dlg.m_rcImage, h == 48 ? QRect(QPoint(140, 50), QPoint(159, 73))
                                         : QRect(QPoint(142, 50), QPoint(157, h / 2 + 49)));
        // The worker closes the scanner it was given.
        const std::vector<std::string> calls = scanner.journal();
        ASSERT_GE(calls.size(), 2u);
        const std::string channel = c.script.find("channels=2") != std::string::npos ? "2" : "1";
        const std::vector<std::string> closing = raw ? std::vector<std::string>{"ARAFPSCAN_CloseDevice device", "ARAFPSCAN_GlobalFree"}
                                                     : std::vector<std::string>{"LIVESCAN_EndCapture " + channel, "LIVESCAN_Close"};
        EXPECT_EQ(std::vector<std::string>(calls.end() - 2, calls.end()), closing);
    }
}

// Closing while the scanner is inside a three-second frame: close() takes its
// three looks 100 ms apart and returns with the worker still running, which
// then ends by itself and closes the scanner.
TEST(Capture, CloseDuringFrameDoesNotWaitForWorker)
{
    app();
    logtest::takeTrace();
    Scanner scanner("size=40x48;quality=10;delay=3000");
    CapFingerDlg dlg;
    ASSERT_EQ(dlg.StartCapture(0), 1);
    qint64 closeMs = -1;
    bool runningAfterClose = false;
    QTimer::singleShot(50, &dlg, [&] {
        QElapsedTimer clock;
        clock.start();
        dlg.close();
        closeMs = clock.elapsed();
        runningAfterClose = dlg.m_pThread != nullptr && dlg.m_pThread->isRunning();
    });
    dlg.exec();
    EXPECT_GE(closeMs, 300);
    EXPECT_TRUE(runningAfterClose);
    ASSERT_TRUE(workerGone(dlg));
    EXPECT_EQ(Fprimg, nullptr);
    EXPECT_EQ(scanner.journal().back(), "LIVESCAN_Close");
    const std::vector<std::string> trace = logtest::takeTrace();
    const auto asked = std::find(trace.begin(), trace.end(), "EndCapture");
    EXPECT_NE(std::find(asked, trace.end(), "FprThread quit"), trace.end());  // asked first
}
