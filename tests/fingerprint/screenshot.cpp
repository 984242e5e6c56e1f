// Saves a picture of the capture dialog after a capture from the stand-in
// scanner of `type` (default 0): screenshot <png> [type]. Run with the
// offscreen platform; the stand-ins lie in lib/ beside this program.
#include <stdio.h>
#include <stdlib.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QPixmap>

#include "fingerprint/capfingerdlg.h"

int main(int argc, char **argv)
{
    if (argc < 2) {
        fprintf(stderr, "usage: %s <png> [type]\n", argv[0]);
        return 2;
    }
    QApplication app(argc, argv);
    setenv("SP_SCANNER", "delay=0", 0);
    CapFingerDlg dlg;
    dlg.show();
    if (dlg.StartCapture(argc > 2 ? atoi(argv[2]) : 0) <= 0)
        return 1;
    QElapsedTimer clock;
    clock.start();
    while ((dlg.m_pThread != nullptr || Fprimg == nullptr) && clock.elapsed() < 20000)
        app.processEvents(QEventLoop::AllEvents, 10);
    app.processEvents();
    return dlg.grab().save(argv[1]) ? 0 : 1;
}
