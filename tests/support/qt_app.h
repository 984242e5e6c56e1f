// Shared pieces of the tests that drive real Qt windows: one QApplication
// for the process and a watcher that answers the modal boxes and dialogs.
#pragma once

#include <QAbstractButton>
#include <QApplication>
#include <QDialog>
#include <QMessageBox>
#include <QStringList>
#include <QTest>
#include <QTimer>
#include <functional>

// The process's application object, made on first use (after any test bed,
// so that Qt's threads inherit its timer slack).
inline QApplication &app()
{
    static int argc = 1;
    static char name[] = "sp_test";
    static char *argv[] = {name, nullptr};
    static QApplication *instance = new QApplication(argc, argv);
    return *instance;
}

// Presses Ok on every modal box that shows up while it lives and keeps its
// title and text. A dialog that is not a box is closed with reject() once
// `ready` says so, or after ten seconds, so that nothing can hang a test.
class ModalWatcher
{
public:
    ModalWatcher()
    {
        timer_.setInterval(10);
        QObject::connect(&timer_, &QTimer::timeout, [this] {
            QWidget *w = QApplication::activeModalWidget();
            if (auto *box = qobject_cast<QMessageBox *>(w)) {
                titles.append(box->windowTitle());
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
    QStringList titles, texts, dialogs;
    // A dialog stays until this holds (ten seconds at most).
    std::function<bool(QDialog *)> ready;

private:
    QTimer timer_;
    int waited_ = 0;
};
