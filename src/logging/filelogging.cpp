#include "logging/filelogging.h"

#include "logging/logfilepath.h"
#include "logging/logline.h"

#include <QDateTime>
#include <QDebug>
#include <QFile>
#include <QMutex>
#include <QMutexLocker>

#include <iostream>

namespace {

QString logFilePath; // set before the message handler is installed, then only read
QMutex logFileMutex; // held from opening the log file to closing it

} // namespace

void serverMessageHandler(QtMsgType /*type*/,
                          const QMessageLogContext & /*context*/,
                          const QString &message)
{
    const QString line =
        logging::logLine(QDateTime::currentDateTime(), logging::currentThreadNumber(), message);
    const QByteArray bytes = (line + QLatin1Char('\n')).toLocal8Bit();
    QFile file(logFilePath);

    const QMutexLocker locker(&logFileMutex);
    // Deliberate: opened and closed for every message, so that the file can be moved or deleted
    // while the service runs.
    if (!file.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Unbuffered)) {
        // Writing now would make Qt complain on standard error.
        return;
    }
    // Not through a text stream, which would write the same bytes but ends the process when it runs
    // out of memory.
    static_cast<void>(file.write(bytes));
    file.close();
}

namespace logging {

void startFileLogging()
{
    logFilePath = configuredLogFilePath();

    QFile file(logFilePath);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Append)) {
        qDebug() << "Log file not opened";
        return;
    }
    std::cout << "logging to:" << logFilePath.toStdString() << std::endl;
    qInstallMessageHandler(serverMessageHandler);
    qDebug() << "Server starting ...";
}

} // namespace logging
