#include "tool/run.h"

#include "base/debugline.h"
#include "base/descriptorreservation.h"
#include "base/errorline.h"
#include "tool/childprocess.h"
#include "tool/markers.h"

#include <QSemaphore>
#include <QThread>

#include <algorithm>

namespace tool {

namespace {

bool holdsZero(const QString &argument)
{
    return argument.contains(QChar(QChar::Null));
}

// Only as many tools start at the same time as there are cores; the others wait for their turn. So
// when a thousand conversions arrive at once, polls do not have to wait for all of them.
void startInTurn(ChildProcess *process, const QString &vondPath, const QStringList &arguments)
{
    static QSemaphore turns(QThread::idealThreadCount());
    turns.acquire();
    const QSemaphoreReleaser turn(turns);
    process->start(vondPath, arguments);
}

} // namespace

bool startAndWait(ChildProcess *process,
                  const QString &vondPath,
                  const QStringList &arguments,
                  int timeoutMs)
{
    if (std::any_of(arguments.cbegin(), arguments.cend(), holdsZero)) {
        base::writeErrorLine("error: zero character in an argument, the tool is not started");
        return false;
    }
    base::DescriptorReservation reservation(descriptorsOfAStart, base::lowestFreeDescriptor());
    if (!reservation.isGranted()) {
        base::writeErrorLine("error: too few descriptors are left, the tool is not started");
        return false;
    }
    startInTurn(process, vondPath, arguments);
    reservation.reduceTo(descriptorsOfARun);
    return process->waitForFinished(timeoutMs);
}

QByteArray shortQuery(const QString &vondPath, const QStringList &arguments, int timeoutMs)
{
    ChildProcess process; // its destructor kills a tool that is still running
    // Deliberate: ignores how the wait ended; what was printed until then is the response.
    static_cast<void>(startAndWait(&process, vondPath, arguments, timeoutMs));
    return process.readAllStandardOutput();
}

std::optional<Output> runToEnd(const QString &vondPath, const QStringList &arguments)
{
    ChildProcess process;
    if (!startAndWait(&process, vondPath, arguments, withoutLimit)) {
        return std::nullopt;
    }
    return takeOutput(&process);
}

Output takeOutput(ChildProcess *process)
{
    Output output{process->readAllStandardOutput(), process->readAllStandardError()};
    base::debugLine("fromVond-StdOut:", output.stdOut);
    base::debugLine("fromVondErr:", output.stdErr);
    return output;
}

void reportFailedConversionWait(const QString &inputPath)
{
    base::writeErrorLine("vond process timeout converting: " + base::errorText(inputPath));
}

bool reportsError(const QByteArray &stdErr)
{
    return stdErr.startsWith(errorMarker.latin1());
}

} // namespace tool
