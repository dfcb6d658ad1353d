#include "toolrun.h"

#include <QProcess>
#include <QThread>

namespace {

constexpr int longestRunMs = 60000;

}

QString toolPath()
{
    return QStringLiteral(VOND_SAMPLE);
}

ToolRun runTool(const QStringList &arguments, unsigned long readerPauseMs)
{
    ToolRun run;
    QProcess process;
    QObject::connect(&process, &QProcess::readyReadStandardOutput, &process, [&] {
        run.chunks.append(process.readAllStandardOutput());
        QThread::msleep(readerPauseMs);
    });
    process.start(toolPath(), arguments);
    if (process.waitForFinished(longestRunMs) && process.exitStatus() == QProcess::NormalExit) {
        run.exitCode = process.exitCode();
    }
    for (const QByteArray &chunk : qAsConst(run.chunks)) {
        run.out += chunk;
    }
    run.err = process.readAllStandardError();
    return run;
}
