// Shared pieces of the window tests: one QApplication for the process, a
// watcher that answers modal boxes, and a probe into the windows' members.
#pragma once

#include <gtest/gtest.h>

#include <QApplication>
#include <QMessageBox>
#include <QStandardItemModel>
#include <QTest>
#include <QTimer>
#include <QListView>

#include "mainwindow.h"
#include "signextenddlg.h"
#include "ui_mainwindow.h"

// The process's application object, made on first use (after the test bed,
// so that Qt's threads inherit its timer slack).
inline QApplication &app()
{
    static int argc = 1;
    static char name[] = "app_test";
    static char *argv[] = {name, nullptr};
    static QApplication *instance = new QApplication(argc, argv);
    return *instance;
}

// Presses Ok on every modal box that shows up while it lives and keeps its
// text. A dialog that is not a box is closed with reject() once `ready` says
// so, or after ten seconds, so that nothing can hang a test.
class ModalWatcher
{
public:
    ModalWatcher()
    {
        timer_.setInterval(10);
        QObject::connect(&timer_, &QTimer::timeout, [this] {
            QWidget *w = QApplication::activeModalWidget();
            if (!w)
                return;
            if (auto *box = qobject_cast<QMessageBox *>(w)) {
                texts.append(box->text());
                QTest::mouseClick(box->button(QMessageBox::Ok), Qt::LeftButton);
            } else if (auto *dialog = qobject_cast<QDialog *>(w)) {
                if (ready && !ready(dialog) && ++waited_ < 1000)
                    return;
                waited_ = 0;
                dialogs.append(dialog->objectName());
                dialog->reject();
            }
        });
        timer_.start();
    }
    QStringList texts;
    QStringList dialogs;
    // A dialog stays until this holds (ten seconds at most).
    std::function<bool(QDialog *)> ready;

private:
    QTimer timer_;
    int waited_ = 0;
};

// Friend of the windows: reads what the tests need.
class WindowProbe
{
public:
    explicit WindowProbe(MainWindow &w) : w_(w) {}
    Ui::MainWindow &ui() { return *w_.ui; }
    QImage *image() { return w_.m_pImage; }
    unsigned int *surface() { return w_.m_pSurface; }
    SignExtendDlg *signDlg() { return w_.m_pSignDlg; }
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
    static QRect screen(SignExtendDlg &d) { return d.m_rcScreen; }

private:
    MainWindow &w_;
};

// White in the window's image (ARGB32, alpha ignored).
inline bool white(const QImage &image, int x, int y)
{
    return (image.pixel(x, y) & 0xFFFFFF) == 0xFFFFFF;
}

// Every pixel white.
inline bool allWhite(const QImage &image)
{
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            if (!white(image, x, y))
                return false;
    return true;
}
