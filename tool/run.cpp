#include "tool/run.h"

#include "tool/debugline.h"
#include "tool/descriptorclaim.h"
#include "tool/errorline.h"

#include <QProcess>

#include <algorithm>
#include <cstdio>

namespace tool {

namespace {

bool holdsZero(const QString &argument)
{
    return argument.contains(QChar(QChar::Null));
}

// Where the system allows no more processes or has no memory for one, Qt 5.15 on Linux overlooks
// the refusal: it goes on with the process id -1, and with whatever number it finds in memory in
// place of the descriptor that would tell of the end.
bool isRefusalTakenForAProcess(const QProcess &process)
{
    return process.state() != QProcess::NotRunning && process.processId() < 0;
}

// Waiting for such a process may last for ever, and destroying it kills the id -1, which is every
// process of the user. So Qt is told, by the slot that it has for that, that the process has died.
void letGoOfRefusal(QProcess *process)
{
    QMetaObject::invokeMethod(process, "_q_processDied", Qt::DirectConnection);
    if (process->state() != QProcess::NotRunning) {
        qFatal("a process that never was cannot be let go");
    }
}

} // namespace

bool startAndWait(QProcess *process,
                  const QString &vondPath,
                  const QStringList &arguments,
                  int timeoutMs)
{
    if (std::any_of(arguments.cbegin(), arguments.cend(), holdsZero)) {
        writeErrorLine("error: zero character in an argument, the tool is not started");
        return false;
    }
    const DescriptorClaim claim(descriptorsOfARun);
    if (!claim.isGranted()) {
        writeErrorLine("error: too few descriptors are left, the tool is not started");
        return false;
    }
    process->start(vondPath, arguments, QIODevice::ReadWrite);
    if (isRefusalTakenForAProcess(*process)) {
        letGoOfRefusal(process);
        return false;
    }
    return process->waitForFinished(timeoutMs);
}

QByteArray shortQuery(const QString &vondPath, const QStringList &arguments, int timeoutMs)
{
    QProcess process; // at the end of the block a tool that still runs is killed
    // Deliberate: how the wait ended is not looked at, what was printed until then is the answer.
    static_cast<void>(startAndWait(&process, vondPath, arguments, timeoutMs));
    return process.readAllStandardOutput();
}

std::optional<Output> runToEnd(const QString &vondPath, const QStringList &arguments)
{
    QProcess process;
    if (!startAndWait(&process, vondPath, arguments, withoutLimit)) {
        return std::nullopt;
    }
    return takeOutput(&process);
}

Output takeOutput(QProcess *process)
{
    Output output{process->readAllStandardOutput(), process->readAllStandardError()};
    debugLine("fromVond-StdOut:", output.stdOut);
    debugLine("fromVondErr:", output.stdErr);
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
