// The writing test of a display tablet: fills the tablet's own screen, draws
// the signature under the pen and clears it when the pen presses the clear
// area along the bottom edge.
#pragma once

#include <QDialog>
#include <QImage>
#include <QRect>
#include <QVector>

#include "pen_handle.h"
#include "tablet/pxtablet.h"

QT_BEGIN_NAMESPACE
namespace Ui {
class SignExtendDlg;
}
QT_END_NAMESPACE

// The tablet's screen among the desktop's screens: walks every index but the
// primary one; an exactly 1280x800 screen is taken, and so is the last index
// whatever its size, each take replacing the one before. A null rectangle
// when nothing was taken (one screen, or the primary is the last index and
// no other screen is 1280x800).
QRect chooseTabletScreen(const QVector<QRect> &screens, int primary);

class SignExtendDlg : public QDialog
{
    Q_OBJECT

public:
    SignExtendDlg(int maxX, int maxY, QWidget *parent = nullptr);
    ~SignExtendDlg() override;

    // Prepares the image and the pen engine; always 1.
    int StartSign();

public slots:
    void receiveMsg(const TOUCH_INFO &info);

protected:
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void closeEvent(QCloseEvent *event) override;

private:
    friend class WindowProbe;  // the window tests look at the members

    QRect m_rcScreen;
    QImage *m_pImage = nullptr;
    PXPenHandle m_hPen{};
    uchar *m_pImgBits = nullptr;
    unsigned int *m_pSurface = nullptr;
    int m_nImgWidth = 0;
    int m_nImgHeight = 0;
    QRect m_rcSign;
    QRect m_rcClear;
    int m_nMaxX;
    int m_nMaxY;
    int m_nLastState = 0;
    QPoint m_ptLast;  // stored, never read
    bool m_bClearDown = false;
    // Set where the image may differ from the surface, or the screen from
    // the image, outside the rows of the next stroke call: by StartSign,
    // which refills the image without a repaint, and by the clear area,
    // which fills the image white while the engine fills its surface with
    // the background (alpha 0x1F), or fills another engine's surface when
    // this dialog's handle has gone stale. The next pen event in the writing
    // area then copies the whole surface and repaints the whole dialog, as
    // each one did before copies and repaints were cut to the rows drawn
    // into.
    bool m_bRepaintAll = true;
    Ui::SignExtendDlg *ui;
};
