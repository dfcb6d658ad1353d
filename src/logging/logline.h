#pragma once

#include <QDateTime>
#include <QString>

namespace logging {

// One line of the log file, without its line end. Does not show the type of the message.
[[nodiscard]] QString logLine(const QDateTime &time, quint32 thread, const QString &message);

// The number that identifies the calling thread in the log file.
[[nodiscard]] quint32 currentThreadNumber();

} // namespace logging
