#include "base/debugline.h"

#include <QMessageLogger>

namespace base {

void writeDebugLine(QString line)
{
    if (line.endsWith(QLatin1Char(' '))) { // QDebug appends it
        line.chop(1);
    }
    // What QMessageLogger::debug() calls in the end, for a line of the category "default"; it would
    // convert to UTF-8 and back.
    const QMessageLogContext context(nullptr, 0, nullptr, "default");
    qt_message_output(QtDebugMsg, context, line);
}

} // namespace base
