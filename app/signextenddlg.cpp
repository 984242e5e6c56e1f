#include "signextenddlg.h"

#include <QCloseEvent>
#include <QDesktopWidget>
#include <QApplication>
#include <QMessageLogger>
#include <QPainter>
#include <cstdlib>
#include <cstring>

#include "ink_probe.h"
#include "ink_rect.h"
#include "ui_signextenddlg.h"

extern int g_rect[4];

QRect chooseTabletScreen(const QVector<QRect> &screens, int primary)
{
    const int n = screens.size();
    QRect taken;
    if (n <= 1)
        return taken;
    for (int i = 0; i < n; ++i) {
        if (i == primary)
            continue;
        const QRect &r = screens[i];
        if ((r.right() - r.left() == 1279 && r.bottom() - r.top() == 799) || i == n - 1)
            taken = r;
    }
    return taken;
}

SignExtendDlg::SignExtendDlg(int maxX, int maxY, QWidget *parent)
    : QDialog(parent), m_nMaxX(maxX), m_nMaxY(maxY), ui(new Ui::SignExtendDlg)
{
    ui->setupUi(this);

    QT_WARNING_PUSH
    QT_WARNING_DISABLE_DEPRECATED
    QDesktopWidget *desktop = QApplication::desktop();
    QVector<QRect> screens;
    for (int i = 0; i < desktop->numScreens(); ++i)
        screens.append(desktop->screenGeometry(i));
    m_rcScreen = chooseTabletScreen(screens, desktop->primaryScreen());
    QT_WARNING_POP
    if (m_rcScreen.isNull()) {
        // Through Qt's message system, so that the message file keeps it.
        QMessageLogger(nullptr, 0, nullptr, "default").debug("手写屏未连接\n");
        m_rcScreen.setCoords(0, 0, 799, 599);
    }

    const int left = m_rcScreen.left(), top = m_rcScreen.top(), bottom = m_rcScreen.bottom();
    const int w = m_rcScreen.right() - left + 1, h = bottom - top + 1;
    resize(w, h);
    move(left, top);
    m_rcClear.setCoords(left + w / 2 - 50, bottom - 40, left + w / 2 - 50 + 99, bottom - 11);
    // The row at bottom - 40 is in both areas; the writing area is tested first.
    m_rcSign.setCoords(left, top, left + w - 1, bottom - 40);
    m_nImgWidth = (w + 3) / 4 * 4;
    m_nImgHeight = h - 50;  // ten rows short of the writing area; the engine gets them all the same
}

SignExtendDlg::~SignExtendDlg()
{
    delete m_pImage;
    free(m_pSurface);
    delete ui;  // the pen engine goes with CloseDevice
}

int SignExtendDlg::StartSign()
{
    if (m_pImage) {
        m_pImgBits = m_pImage->bits();
    } else {
        m_pImage = new QImage(m_nImgWidth, m_nImgHeight, QImage::Format_ARGB32);
        m_pImage->fill(0xFFFFFF);
        m_pImgBits = m_pImage->bits();
    }
    const size_t bytes = size_t(m_nImgWidth) * m_nImgHeight * 4;
    if (!m_pSurface)
        m_pSurface = static_cast<unsigned int *>(malloc(bytes));
    m_hPen = PXPenSet(m_nImgWidth, m_nImgHeight, m_pSurface, 0, 3, 3.0f);
    PXSetBkColor(m_hPen, 0xFFFFFF);
    memcpy(m_pImgBits, m_pSurface, bytes);
    m_bClearDown = false;
    m_nLastState = 0;
    m_bRepaintAll = true;
    return 1;
}

void SignExtendDlg::receiveMsg(const TOUCH_INFO &info)
{
    // Global desktop position from tablet units over the chosen screen (not
    // the dialog's current size), multiplication first.
    const int w = m_rcScreen.right() - m_rcScreen.left() + 1;
    const int h = m_rcScreen.bottom() - m_rcScreen.top() + 1;
    const QPoint global((m_nMaxX ? info.x * w / m_nMaxX : 0) + m_rcScreen.left(),
                        (m_nMaxY ? info.y * h / m_nMaxY : 0) + m_rcScreen.top());

    if (m_rcSign.contains(global)) {
        m_bClearDown = false;
        const QPoint local = mapFromGlobal(global);
        if (local.y() < 0)
            return;
        // Only a stroke call changes the surface, inside the rectangle it
        // gives back; only those rows are copied to the image and repainted.
        QRect changed;
        if (info.state == 1 && m_nLastState == 0) {
            PXBeginStroke(m_hPen);
        } else if (info.state == 1) {
            PXStrokePoint(m_hPen, g_rect, float(local.x()), float(local.y()), info.pressure);
            changed = inkRect(g_rect, m_nImgWidth, m_nImgHeight);
        } else if (info.state == 0 && m_nLastState == 1) {
            PXEndStroke(m_hPen, g_rect);
            changed = inkRect(g_rect, m_nImgWidth, m_nImgHeight);
        }
        SP_INK_MARK(kInkStrokeDone);
        // Either way the image then equals the whole surface. A copy of all
        // of it on every event (1.76 MB at 800 x 600, 4 MB at 1280 x 800)
        // held up the reports queued behind this one.
        const size_t rowBytes = size_t(m_nImgWidth) * 4;
        if (m_bRepaintAll) {
            memcpy(m_pImgBits, m_pSurface, rowBytes * m_nImgHeight);
        } else if (!changed.isEmpty()) {
            memcpy(m_pImgBits + rowBytes * changed.top(),
                   reinterpret_cast<const uchar *>(m_pSurface) + rowBytes * changed.top(),
                   rowBytes * changed.height());
        }
        m_nLastState = info.state;
        m_ptLast = local;
        if (m_bRepaintAll) {
            update();
            m_bRepaintAll = false;
        } else if (!changed.isEmpty()) {
            update(inkRows(changed, width()));
        }
        SP_INK_MARK(kInkCopyDone);
        return;
    }
    if (info.pressure > 0 && !m_bClearDown && m_rcClear.contains(global)) {
        m_pImage->fill(0xFFFFFF);
        PXClearSign();
        update();
        m_bRepaintAll = true;
        m_bClearDown = true;  // a held pen clears once
    } else if (m_bClearDown && info.pressure == 0) {
        m_bClearDown = false;
    }
    // m_nLastState stays: a pen that leaves the writing area and comes back
    // down continues its stroke across the gap.
}

void SignExtendDlg::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    if (m_pImage)
        painter.drawImage(0, 0, *m_pImage);
}

void SignExtendDlg::resizeEvent(QResizeEvent *)
{
    const int w = width(), h = height();
    QRect corner;
    corner.setCoords(w / 2 - 50, h - 1 - 39, w / 2 + 49, h - 1 - 10);
    ui->clearButton->setGeometry(corner);
}

void SignExtendDlg::closeEvent(QCloseEvent *event)
{
    close();  // re-entry is a no-op while the widget is closing
    event->accept();
}
