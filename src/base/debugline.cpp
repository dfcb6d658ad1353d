#include "base/debugline.h"

#include <QMessageLogger>

namespace base {

void writeDebugLine(QString line)
{
    if (line.endsWith(QLatin1Char(' '))) { // QDebug appends it
        line.chop(1);
    }
    // With three arguments, the line is of the category "default", as the stream's own are.
    QMessageLogger(nullptr, 0, nullptr).debug("%s", line.toUtf8().constData());
}

} // namespace base
