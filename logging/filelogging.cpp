#include "logging/filelogging.h"

#include "logging/logfilepath.h"
#include "logging/logline.h"

#include <QDateTime>
#include <QDebug>
#include <QFile>
#include <QMutex>
#include <QMutexLocker>
#include <QTextStream>

#include <iostream>

namespace {

QString logFilePath; // set before the message handler is installed, only read afterwards
QMutex logFileMutex; // held from the opening of the log file to its closing

} // namespace

void serverMessageHandler(QtMsgType /*type*/,
                          const QMessageLogContext & /*context*/,
                          const QString &message)
{
    const QString line =
        logging::logLine(QDateTime::currentDateTime(), logging::currentThreadNumber(), message);
    QFile file(logFilePath);

    const QMutexLocker locker(&logFileMutex);
    // Deliberate: opened and closed for every message, so that the file can be moved or deleted
    // while the service runs.
    if (!file.open(QIODevice::WriteOnly | QIODevice::Append)) {
        // Writing on would make Qt complain on standard error.
        return;
    }
    QTextStream(&file) << line << Qt::endl;
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
