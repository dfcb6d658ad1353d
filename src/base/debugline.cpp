#include "base/debugline.h"

#include <QMessageLogger>

namespace base {

void writeDebugLine(QString line)
{
    if (line.endsWith(QLatin1Char(' '))) { // QDebug appends it
        line.chop(1);
    }
    // QMessageLogger::debug() ends here, too, after a conversion to UTF-8 and back. The line has
    // the category "default", like those of the stream.
    const QMessageLogContext context(nullptr, 0, nullptr, "default");
    qt_message_output(QtDebugMsg, context, line);
}

} // namespace base
