// The Qt message file "pxtest.log" in the current working directory, written
// by the process-wide Qt message handler.
#pragma once

#include <QMutex>
#include <QString>
#include <QtGlobal>

// Serialises LogMsgOutput (WriteLog does not take it). A failed open of the
// message file leaves it locked.
extern QMutex mutexlog;

// The handler given to qInstallMessageHandler: echoes the message to standard
// output, then appends "\n\r" and one formatted record to "pxtest.log".
// A fatal message aborts before anything reaches the file.
void LogMsgOutput(QtMsgType type, const QMessageLogContext &context, const QString &msg);
