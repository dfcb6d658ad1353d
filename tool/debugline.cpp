#include "tool/debugline.h"

#include <QMessageLogger>

namespace tool {

void writeDebugLine(QString line)
{
    if (line.endsWith(QLatin1Char(' '))) { // the stream's, behind the last item
        line.chop(1);
    }
    QMessageLogger().debug("%s", line.toUtf8().constData());
}

} // namespace tool
