// Tablet events in the main window: the callback, the hop to the interface
// thread, and a signature pad's pen and keys.
#include "mainwindow.h"

#include <QThread>
#include <cstring>

#include "ink_probe.h"
#include "ink_rect.h"
#include "ui_mainwindow.h"

int pen_event_listener(TOUCH_INFO info)
{
    g_signWnd->receiveMsg(info);
    return 1;  // the one touch callback: nothing comes after it
}

void MainWindow::receiveMsg(const TOUCH_INFO &info)
{
    // The callback runs on the tablet reader thread. The image, the list,
    // the repaints and Close (the OK key) belong to the interface thread, so
    // the event is queued there with its own copy and handled in arrival
    // order. What the operator sees stays the same; only the thread differs.
    // Events still queued when a Close stops the reader are dropped, as the
    // stopped reader would not have delivered them.
    if (QThread::currentThread() != thread()) {
        {
            std::lock_guard<std::mutex> lock(m_eventsLock);
            m_events.push_back({info, m_nCloseCount.load()});
        }
        // One queued call per event: each takes the oldest, so events keep
        // their order among the interface thread's other work.
        QMetaObject::invokeMethod(this, "takeTabletEvent", Qt::QueuedConnection);
        return;
    }
    if (m_devInfo.isPad == 0) {
        TOUCH_INFO copy = info;
        emit sendMsg(copy);
    } else if (m_devInfo.isPad == 1) {
        padEvent(info);
    }
}

void MainWindow::takeTabletEvent()
{
    QueuedTouch e;
    {
        std::lock_guard<std::mutex> lock(m_eventsLock);
        if (m_events.empty())
            return;
        e = m_events.front();
        m_events.pop_front();
    }
    if (e.closes == m_nCloseCount.load())
        receiveMsg(e.info);
}

namespace {
// Tablet units to image pixels, multiplication first. The minimum narrows
// the range but is not taken off the position (the pads report from 0).
float mapAxis(int pixels, int value, int min, int max)
{
    const int range = max - min;
    return float(range == 0 ? 0 : pixels * value / range);
}
}  // namespace

void MainWindow::padEvent(const TOUCH_INFO &info)
{
    if (info.key == kKeyResign) {
        PXClearSign();
        m_pImage->fill(0xFFFFFF);
        update();
        AddListTxt("点击签名板【重签】按键");
        return;
    }
    if (info.key == kKeyOk) {
        AddListTxt("点击签名板【确定】按键");
        on_button_Close_clicked();
        return;
    }
    if (info.key != 0)
        return;  // 48 (both keys) and the like

    // The stroke calls change the surface only inside the rectangle they
    // give back, and nothing else changes it between pen events (the
    // re-sign key aside, see m_bRepaintAll).
    QRect changed;
    if (info.state == 1 && m_nLastState == 0) {
        PXBeginStroke(m_hPen);  // the first point only opens the stroke
    } else if (info.state == 1) {
        const float px = mapAxis(m_nImgWidth, info.x, m_devInfo.minX, m_devInfo.maxX);
        const float py = mapAxis(m_nImgHeight, info.y, m_devInfo.minY, m_devInfo.maxY);
        PXStrokePoint(m_hPen, g_rect, px, py, info.pressure);
        changed = inkRect(g_rect, m_nImgWidth, m_nImgHeight);
    } else if (info.state == 0 && m_nLastState == 1) {
        PXEndStroke(m_hPen, g_rect);
        changed = inkRect(g_rect, m_nImgWidth, m_nImgHeight);
    }
    m_nLastState = info.state;
    SP_INK_MARK(kInkStrokeDone);

    memcpy(m_pImgBits, m_pSurface, size_t(m_nImgWidth) * m_nImgHeight * 4);
    // The picture box repaints what changed, or all of it when it gets the
    // image first. Unless something else changed since the last pad event
    // (m_bRepaintAll), the window around it paints nothing of its own and
    // none of its other widgets changed, so repainting the whole window (the
    // buttons' scaled artwork, the list, the line edits: about 2 ms an
    // event) or the whole box would only put the same pixels back.
    if (m_bRepaintAll) {
        m_pDrawWidget->SetBackImg(m_pImage);
        update();
        m_bRepaintAll = false;
    } else {
        m_pDrawWidget->SetBackImg(m_pImage, changed);
    }
    // drawWidget has let go of an earlier Open's image now.
    delete m_pFormerImage;
    m_pFormerImage = nullptr;
    SP_INK_MARK(kInkCopyDone);
}
