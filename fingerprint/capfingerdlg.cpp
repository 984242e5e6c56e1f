// The capture dialog: starts and stops the worker, shows the picture.
#include <unistd.h>

#include <QCloseEvent>
#include <QImage>
#include <QLibrary>
#include <QPainter>

#include "capture_state.h"
#include "drivers.h"
#include "fingerprint/capfingerdlg.h"
#include "log/writelog.h"
#include "ui_capfingerdlg.h"

CapFingerDlg *g_FprDlg = nullptr;
void *g_FprHandle = nullptr;
int g_nFprCannel = -1;
QImage *Fprimg = nullptr;
std::mutex g_FprImgLock;
int g_nImgWidth = 0;
int g_nImgHeight = 0;
unsigned char *g_pFPBmpData = nullptr;
unsigned char *g_pFPRawData = nullptr;

CapFingerDlg::CapFingerDlg(QWidget *parent) : QDialog(parent), m_pParent(parent), ui(new Ui_CapFingerDlg)
{
    ui->setupUi(this);  // also connects the slots by name
    g_FprDlg = this;
}

CapFingerDlg::~CapFingerDlg()
{
    EndCapture();
    // The worker may still be inside a scanner call of the libraries that are
    // unloaded below, and its queued clean-up dies with this dialog: give it
    // the time of a frame or two to end, then free it (a thread still running
    // is left alone, since deleting it would end the process).
    if (m_pThread != nullptr && m_pThread->wait(2000)) {
        delete m_pThread;
        m_pThread = nullptr;
    }
    for (QLibrary *lib : {m_pCapLib, m_pQualityLib, m_pAraLib}) {
        if (lib == nullptr)
            continue;
        if (lib->isLoaded())
            lib->unload();
        delete lib;
    }
    // The entry points die with their libraries; a later dialog must not
    // find them still set.
    fprdrv::forgetEntryPoints();
    {
        std::lock_guard<std::mutex> lock(g_FprImgLock);
        delete Fprimg;
        Fprimg = nullptr;
    }
    delete ui;
}

int CapFingerDlg::StartCapture(int type)
{
    m_nFprType = type;
    int result;
    if (type == 0)
        result = loadHYFpr();
    else if (type > 0)
        result = loadAraFpr();
    else
        return 0;
    if (result <= 0)
        return result;

    {
        // A running worker may be filling the picture right now.
        std::lock_guard<std::mutex> lock(g_FprImgLock);
        if (Fprimg != nullptr) {
            delete Fprimg;
            Fprimg = nullptr;
            update();
        }
    }
    // A running worker goes on with the scanner the load has just set up
    // again under it.
    if (m_pThread != nullptr && m_pThread->isRunning())
        return 1;

    m_pThread = new FprThread;
    connect(m_pThread, &FprThread::sendFpr, this, &CapFingerDlg::receiveFpr, Qt::DirectConnection);
    connect(m_pThread, &QThread::finished, this, &CapFingerDlg::destroyth, Qt::AutoConnection);
    m_pThread->start(QThread::InheritPriority);
    return 1;
}

void CapFingerDlg::EndCapture()
{
    if (m_pThread == nullptr || !m_pThread->isRunning())
        return;
    WriteLog("EndCapture", 0);
    m_pThread->m_bStop = true;
    // At most three looks, 100 ms apart: the worker may still be ending
    // when this returns.
    for (int pass = 0; pass < 3; ++pass) {
        if (m_pThread == nullptr || !m_pThread->isRunning())
            break;
        usleep(100000);
    }
}

void CapFingerDlg::destroyth()
{
    // A worker that ended before a newer one started must not take the newer
    // one with it: deleting a running thread ends the process.
    QObject *ended = sender();
    if (ended != nullptr && ended != m_pThread) {
        ended->deleteLater();
        return;
    }
    if (m_pThread != nullptr) {
        m_pThread->deleteLater();
        m_pThread = nullptr;
    }
}

// Runs on the worker thread (direct connection); the image is complete. The
// rectangle and the repaint go to the dialog's own thread, queued by name with
// plain int arguments: the queued call is then made and freed inside Qt
// alone, not as a functor of ours that the worker might free after the
// dialog's thread has run it.
void CapFingerDlg::receiveFpr()
{
    QMetaObject::invokeMethod(this, "placePicture", Qt::QueuedConnection, Q_ARG(int, g_nImgWidth),
                              Q_ARG(int, g_nImgHeight));
}

void CapFingerDlg::placePicture(int w, int h)
{
    // Half size, centred horizontally, 50 pixels below the top.
    const int left = (width() - w / 2) / 2;
    m_rcImage = QRect(QPoint(left, 50), QPoint(left + w / 2 - 1, h / 2 + 49));
    update();
}

void CapFingerDlg::on_CapButton_clicked()
{
    StartCapture(m_nFprType);
}

void CapFingerDlg::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    {
        std::lock_guard<std::mutex> lock(g_FprImgLock);
        if (Fprimg != nullptr)
            painter.drawImage(m_rcImage, *Fprimg, QRect(0, 0, g_nImgWidth, g_nImgHeight));
    }
    painter.end();
}

void CapFingerDlg::closeEvent(QCloseEvent *event)
{
    EndCapture();
    event->accept();
}
