#include "tool/childprocess.h"

#include "base/errorline.h"

#include <QDeadlineTimer>
#include <QScopeGuard>

#include <utility>

namespace tool {

ChildProcess::ChildProcess(QObject *parent)
    : QObject(parent)
{
}

ChildProcess::~ChildProcess() = default;

void ChildProcess::start(const QString &program, const QStringList &arguments)
{
    Q_ASSERT_X(state() == QProcess::NotRunning,
               "ChildProcess::start",
               "wait for the end of the program before");
    m_output.clear();
    m_errors.clear();
    m_unannounced = 0;
    m_isFlooding = false;
    m_errorString = begin(program, arguments);
}

bool ChildProcess::waitForFinished(int msecs)
{
    if (state() == QProcess::NotRunning) {
        return false;
    }
    const QDeadlineTimer deadline(msecs);
    auto endRun = qScopeGuard([this] { m_run.reset(); });
    for (;;) {
        Ready ready;
        if (!poll(deadline, &ready)) {
            return false;
        }
        if (hasEnded(ready)) {
            readRest();
            return true;
        }
        readWrites(ready);
        if (ready.errors) {
            readErrors();
        }
        if (deadline.hasExpired()) {
            m_errorString = QStringLiteral("Process operation timed out");
            endRun.dismiss();
            return false;
        }
    }
}

QByteArray ChildProcess::readAllStandardOutput()
{
    return std::exchange(m_output, QByteArray());
}

QByteArray ChildProcess::readAllStandardError()
{
    return std::exchange(m_errors, QByteArray());
}

QProcess::ProcessState ChildProcess::state() const
{
    return m_run ? QProcess::Running : QProcess::NotRunning;
}

QString ChildProcess::errorString() const
{
    return m_errorString;
}

void ChildProcess::announce()
{
    if (std::exchange(m_unannounced, 0) > 0 && !m_isFlooding) {
        Q_EMIT readyReadStandardOutput();
    }
}

void ChildProcess::keep(QByteArray *channel, const char *data, qint64 size)
{
    if (m_isFlooding) {
        return;
    }
    channel->append(data, static_cast<int>(size));
    if (channel->size() > largestOutput) {
        m_isFlooding = true;
        kill();
        base::writeErrorLine("error: the tool printed more than "
                             + QByteArray::number(largestOutput) + " bytes, it is killed");
    }
}

} // namespace tool
