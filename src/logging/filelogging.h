#pragma once

#include <QString>
#include <QtGlobal>

// Appends the message to the log file as one line. Any thread may call it, through the debug
// stream. A message that cannot be written is silently lost.
void serverMessageHandler(QtMsgType type,
                          const QMessageLogContext &context,
                          const QString &message);

namespace logging {

// Redirects the debug stream of the whole process to the log file. If that file cannot be opened,
// says so on the debug stream and leaves it unchanged. To be called once, at start, before there is
// a second thread.
void startFileLogging();

} // namespace logging
