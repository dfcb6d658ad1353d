#include "logging/logline.h"

#include <QThread>

namespace logging {

QString logLine(const QDateTime &time, quint32 thread, const QString &message)
{
    const QString timeStamp = time.toString(QStringLiteral("dd-MM-yyyy HH:mm:ss:zzz"));
    const QString threadTag = QStringLiteral("[T]:%1").arg(thread);
    // One arg() for all three: a message may contain anything, even placeholders like "%1".
    return QStringLiteral("%1 %2: %3").arg(timeStamp, threadTag, message);
}

quint32 currentThreadNumber()
{
    // Deliberate: the low 32 bits only. On some platforms the identifier is an address and longer;
    // the line shows at most ten digits everywhere.
    return static_cast<quint32>(reinterpret_cast<quintptr>(QThread::currentThreadId()));
}

} // namespace logging
