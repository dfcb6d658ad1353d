#pragma once

#include "tool/childprocess.h"

#include <QProcess>
#include <QString>

#include <vector>

// Runs of a program for the tests of ChildProcess, and the same with QProcess to compare.
namespace childrun {

constexpr int forEver = -1;
constexpr int shortMs = 300;

// Everything that can be observed of one run.
struct Run
{
    bool hasStarted = false;
    bool hasEnded = false;
    bool isRunningAfterwards = false;
    QByteArray output;
    QByteArray errors;
    QString errorString;
    bool wasAnnounced = false;

    bool operator==(const Run &other) const
    {
        return hasStarted == other.hasStarted && hasEnded == other.hasEnded
            && isRunningAfterwards == other.isRunningAfterwards && output == other.output
            && errors == other.errors && errorString == other.errorString
            && wasAnnounced == other.wasAnnounced;
    }
};

inline char *toString(const Run &run)
{
    return qstrdup(QStringLiteral("started %1, ended %2, running %3, announced %4, %5 and %6 bytes "
                                  "that begin with %7, error %8")
                       .arg(run.hasStarted)
                       .arg(run.hasEnded)
                       .arg(run.isRunningAfterwards)
                       .arg(run.wasAnnounced)
                       .arg(run.output.size())
                       .arg(run.errors.size())
                       .arg(QString::fromLatin1(run.output.left(100)), run.errorString)
                       .toUtf8()
                       .constData());
}

template <typename Process>
Run runWith(const QString &program, const QStringList &arguments, int msecs = forEver)
{
    Run run;
    Process process;
    QByteArray read;
    QObject::connect(&process, &Process::readyReadStandardOutput, &process, [&] {
        run.wasAnnounced = true;
        read += process.readAllStandardOutput();
    });
    process.start(program, arguments);
    run.hasStarted = process.state() != QProcess::NotRunning;
    run.hasEnded = process.waitForFinished(msecs);
    run.isRunningAfterwards = process.state() == QProcess::Running;
    run.output = read + process.readAllStandardOutput();
    run.errors = process.readAllStandardError();
    if (!run.hasEnded) {
        run.errorString = process.errorString();
        run.errorString.remove(QLatin1String("execvp: ")); // by which call, says QProcess
    }
    return run;
}

// The announced chunks, in order.
inline std::vector<QByteArray> chunksOf(tool::ChildProcess &process)
{
    std::vector<QByteArray> chunks;
    QObject::connect(&process, &tool::ChildProcess::readyReadStandardOutput, &process, [&] {
        chunks.push_back(process.readAllStandardOutput());
    });
    if (!process.waitForFinished(forEver)) {
        qFatal("the fake tool did not run to completion");
    }
    return chunks;
}

inline std::vector<qint64> sizes(const std::vector<QByteArray> &chunks)
{
    std::vector<qint64> found;
    found.reserve(chunks.size());
    for (const QByteArray &chunk : chunks) {
        found.push_back(chunk.size());
    }
    return found;
}

} // namespace childrun
