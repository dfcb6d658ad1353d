#include "tool/run.h"

#include "tool/errorline.h"

#include <QDebug>
#include <QProcess>

#include <algorithm>
#include <cstdio>

namespace tool {

namespace {

constexpr int withoutLimit = -1;

bool holdsZero(const QString &argument)
{
    return argument.contains(QChar(QChar::Null));
}

} // namespace

void start(QProcess *process, const QString &vondPath, const QStringList &arguments)
{
    if (std::any_of(arguments.cbegin(), arguments.cend(), holdsZero)) {
        writeErrorLine("error: zero character in an argument, the tool is not started");
        return;
    }
    process->start(vondPath, arguments, QIODevice::ReadWrite);
}

QByteArray shortQuery(const QString &vondPath, const QStringList &arguments, int timeoutMs)
{
    QProcess process; // at the end of the block a tool that still runs is killed
    start(&process, vondPath, arguments);
    // Deliberate: how the wait ended is not looked at, what was printed until then is the answer.
    static_cast<void>(process.waitForFinished(timeoutMs));
    return process.readAllStandardOutput();
}

std::optional<Output> runToEnd(const QString &vondPath, const QStringList &arguments)
{
    QProcess process;
    start(&process, vondPath, arguments);
    if (!process.waitForFinished(withoutLimit)) {
        return std::nullopt;
    }
    return takeOutput(&process);
}

Output takeOutput(QProcess *process)
{
    Output output{process->readAllStandardOutput(), process->readAllStandardError()};
    qDebug() << "fromVond-StdOut:" << output.stdOut;
    qDebug() << "fromVondErr:" << output.stdErr;
    return output;
}

void reportFailedConversionWait(const QString &inputPath)
{
    static_cast<void>(std::fprintf(
        stderr, "vond process timeout converting: %s\n", inputPath.toLocal8Bit().constData()));
}

bool reportsError(const QByteArray &stdErr)
{
    return stdErr.startsWith("Error:");
}

} // namespace tool
