// Thirty seconds of failing capture calls end the worker without a picture;
// the dialog stays open and its button starts a new capture.
#include <QElapsedTimer>
#include <QPushButton>
#include <QSignalSpy>

#include "fpr_support.h"

using namespace fprtest;

TEST(CaptureTimeout, FailuresForThirtySecondsEndWithoutPicture)
{
    app();
    Scanner failing("size=40x48;delay=50;fail=LIVESCAN_BeginCapture");
    CapFingerDlg dlg;
    dlg.show();
    ASSERT_EQ(dlg.StartCapture(0), 1);
    QSignalSpy sent(dlg.m_pThread, &FprThread::sendFpr);
    QElapsedTimer clock;
    clock.start();
    ASSERT_TRUE(QTest::qWaitFor([&dlg] { return dlg.m_pThread == nullptr; }, 60000));
    EXPECT_GE(clock.elapsed(), 30000);
    EXPECT_EQ(sent.count(), 0);
    EXPECT_EQ(Fprimg, nullptr);
    EXPECT_TRUE(dlg.isVisible());
    EXPECT_EQ(failing.journal().back(), "LIVESCAN_Close");

    Scanner working("size=40x48;delay=0");
    dlg.findChild<QPushButton *>("CapButton")->click();
    ASSERT_TRUE(workerGone(dlg));
    EXPECT_EQ(shownFrame(false, 4), 2);  // 70, 75, 80 compared; 85 ends it
}
