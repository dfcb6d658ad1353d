#include "tests/support/messagecatcher.h"

#include <mutex>

namespace {

// A handler is a plain function, so what it writes to is process-wide. A standard mutex, because
// the thread sanitizer understands it.
std::mutex caughtMutex;
QStringList caught;

void keepMessage(QtMsgType, const QMessageLogContext &, const QString &message)
{
    const std::lock_guard lock(caughtMutex);
    caught.append(message);
}

} // namespace

MessageCatcher::MessageCatcher()
    : m_before(qInstallMessageHandler(keepMessage))
{
    clear();
}

MessageCatcher::~MessageCatcher()
{
    qInstallMessageHandler(m_before);
}

QStringList MessageCatcher::messages() const
{
    const std::lock_guard lock(caughtMutex);
    return caught;
}

void MessageCatcher::clear()
{
    const std::lock_guard lock(caughtMutex);
    caught.clear();
}
