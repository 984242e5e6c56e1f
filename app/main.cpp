// slateprobe: the handwriting tablet test tool. No command-line options;
// argc and argv go to Qt alone.
#include <QApplication>
#include <QDateTime>
#include <QString>

#include "log/msglog.h"
#include "log/writelog.h"
#include "mainwindow.h"

QString timePoint;  // start time, kept and never read
QString g_appPath;  // application directory, kept and never read

int main(int argc, char *argv[])
{
    timePoint = QDateTime::currentDateTime().toString("yyyyMMddHHmmss");
    // Before the application object, so that Qt's start-up messages go to
    // the message file too.
    qInstallMessageHandler(LogMsgOutput);
    QApplication app(argc, argv);
    ReSetLog();

    QString path = QString::fromLocal8Bit(QCoreApplication::applicationDirPath().toLocal8Bit());
    // The test looks at the global, still empty here, not at the local path:
    // it never finds "bin" and the directory is kept whole.
    if (g_appPath.indexOf("bin", 0, Qt::CaseSensitive) >= 0)
        g_appPath = path.left(path.lastIndexOf("/bin", -1, Qt::CaseSensitive));
    else
        g_appPath = path;

    // A dialog-type window, given at construction: set on the finished
    // window, the flags give every widget of the form a new style and
    // polish it again.
    MainWindow window(nullptr, Qt::Dialog);
    window.show();
    return app.exec();
}
