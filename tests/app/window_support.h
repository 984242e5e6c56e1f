// Shared pieces of the window tests: a probe into the windows' members and
// pixel checks of their images and of what the screen shows.
#pragma once

#include <gtest/gtest.h>

#include <QScreen>

#include "../support/qt_app.h"

#include "mainwindow.h"
#include "signextenddlg.h"
#include "ui_mainwindow.h"

// Friend of the windows: reads what the tests need.
class WindowProbe
{
public:
    explicit WindowProbe(MainWindow &w) : w_(w) {}
    Ui::MainWindow &ui() { return *w_.ui; }
    QImage *image() { return w_.m_pImage; }
    SignExtendDlg *signDlg() { return w_.m_pSignDlg; }
    QWidget *box() { return w_.m_pDrawWidget; }
    int lastState() { return w_.m_nLastState; }
    QStringList list()
    {
        QStringList lines;
        for (int r = 0; r < w_.m_model.rowCount(); ++r)
            lines << w_.m_model.item(r, 0)->text();
        return lines;
    }
    void open() { QTest::mouseClick(w_.ui->button_Open, Qt::LeftButton); }
    void close() { QTest::mouseClick(w_.ui->button_Close, Qt::LeftButton); }
    void fingerprint() { QTest::mouseClick(w_.ui->button_CapFinger, Qt::LeftButton); }

    // The dialog's side.
    static QImage *image(SignExtendDlg &d) { return d.m_pImage; }
    static unsigned int *surface(SignExtendDlg &d) { return d.m_pSurface; }
    static int lastState(SignExtendDlg &d) { return d.m_nLastState; }

private:
    MainWindow &w_;
};

// White in the window's image (ARGB32, alpha ignored).
inline bool white(const QImage &image, int x, int y)
{
    return (image.pixel(x, y) & 0xFFFFFF) == 0xFFFFFF;
}

inline bool allWhite(const QImage &image)
{
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            if (!white(image, x, y))
                return false;
    return true;
}

// The part `area` (all of it when empty) of a window as the screen shows it
// (the offscreen screen's copy of its backing store) and as a repaint from
// scratch draws it: equal unless some ink was never repainted.
inline bool shownAsWholeRepaint(QWidget &window, QRect area = QRect())
{
    QTest::qWait(100);  // the last repaint
    QCoreApplication::processEvents();
    const QImage shown = QGuiApplication::primaryScreen()->grabWindow(window.winId()).toImage();
    const QImage whole = window.grab().toImage();
    if (area.isEmpty())
        area = whole.rect();
    return shown.convertToFormat(QImage::Format_RGB32).copy(area) == whole.convertToFormat(QImage::Format_RGB32).copy(area);
}
