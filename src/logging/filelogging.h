#pragma once

#include <QString>
#include <QtGlobal>

// Appends the message to the log file as one line. Any thread may call it, through the debug
// stream. A message that cannot be written is lost without a word.
void serverMessageHandler(QtMsgType type,
                          const QMessageLogContext &context,
                          const QString &message);

namespace logging {

// Sends the debug stream of the whole process into the log file from now on. When that file cannot
// be opened, says so on the debug stream and leaves it where it goes. Called once, at start, before
// there is a second thread.
void startFileLogging();

} // namespace logging
