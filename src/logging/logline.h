#pragma once

#include <QDateTime>
#include <QString>

namespace logging {

// One line of the log file, without its line end. The type of a message is not told.
[[nodiscard]] QString logLine(const QDateTime &time, quint32 thread, const QString &message);

// The number by which the calling thread is told apart in the log file.
[[nodiscard]] quint32 currentThreadNumber();

} // namespace logging
