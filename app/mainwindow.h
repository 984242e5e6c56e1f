// The operator's console: opens the tablet, shows its identity, runs the test
// that fits it (a signature pad inside this window, a display tablet in
// SignExtendDlg on its own screen) and the fingerprint test. Every step
// leaves a line in the list.
#pragma once

#include <QImage>
#include <QMainWindow>
#include <QStandardItemModel>
#include <QTimer>
#include <atomic>
#include <deque>
#include <mutex>

#include "pen_handle.h"
#include "drawwidget.h"
#include "tablet/pxtablet.h"

QT_BEGIN_NAMESPACE
namespace Ui {
class MainWindow;
}
QT_END_NAMESPACE

class CapFingerDlg;
class SignExtendDlg;

Q_DECLARE_METATYPE(TOUCH_INFO)

class MainWindow : public QMainWindow
{
    Q_OBJECT

public:
    // flags: the window's flags from the start; setting them after the
    // form is built would polish all its widgets a second time.
    explicit MainWindow(QWidget *parent = nullptr, Qt::WindowFlags flags = Qt::WindowFlags());
    ~MainWindow() override;

    // Appends one UTF-8 line to the list, selects it and scrolls to it.
    void AddListTxt(char *text);
    void AddListTxt(const char *text) { AddListTxt(const_cast<char *>(text)); }
    // One tablet event, from any thread (see mainwindow_events.cpp).
    void receiveMsg(const TOUCH_INFO &info);

signals:
    void sendMsg(TOUCH_INFO info);

private slots:
    void onTimeOut();
    void on_button_Open_clicked();
    void on_button_Close_clicked();
    void on_button_CapFinger_clicked();
    void takeTabletEvent();

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    friend class WindowProbe;  // the window tests look at the members

    void padEvent(const TOUCH_INFO &info);
    void retireImage(QImage *image);
    void informationBox(const QString &text);
    void errorBox(int code);

    QPoint m_ptOrigin;
    QRect m_rcClient;
    QRect m_rcWindow;
    QSize m_szMin;
    int m_nReserved = 1;
    PXPenHandle m_hPen{};
    uchar *m_pImgBits = nullptr;
    unsigned int *m_pSurface = nullptr;
    DEVICE_INFO m_devInfo;
    QRect m_rcSign;
    QImage *m_pImage = nullptr;
    // An earlier Open's image that drawWidget still paints; it goes when the
    // first pen event hands drawWidget the current one.
    QImage *m_pFormerImage = nullptr;
    int m_nLastState = 0;
    // Set when something other than a stroke changed what the window shows
    // (a list line; the re-sign key's white fill, after which the next copy
    // of the engine's faint background changes every pixel): the next pad
    // event repaints the whole window, as every pad event once did.
    bool m_bRepaintAll = false;
    int m_nImgWidth = 400;
    int m_nImgHeight = 250;
    QRect m_rcImage;
    unsigned int m_nBkColor = 0xFFFFFF;
    QTimer *m_pTimer = nullptr;
    drawWidget *m_pDrawWidget = nullptr;
    CapFingerDlg *m_pCapDlg = nullptr;
    SignExtendDlg *m_pSignDlg = nullptr;
    QStandardItemModel m_model;
    Ui::MainWindow *ui = nullptr;
    // Counts Closes; pad events queued before a Close are dropped after it.
    std::atomic<int> m_nCloseCount{0};
    // Events from the reader waiting for the interface thread, each with the
    // Close count at its arrival. Guarded by a lock of ours rather than by
    // Qt's event queue alone, so the thread checker sees the hand-over.
    struct QueuedTouch {
        TOUCH_INFO info;
        int closes;
    };
    std::mutex m_eventsLock;
    std::deque<QueuedTouch> m_events;
};

// The one window; set by its constructor, read by pen_event_listener.
extern MainWindow *g_signWnd;
// Dirty rectangle out-argument of the stroke calls; nobody reads it.
extern int g_rect[4];

// The touch callback registered at Open: hands the event to the window.
int pen_event_listener(TOUCH_INFO info);
