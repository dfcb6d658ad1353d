#include "logging/getlogfile.h"

#include "base/errorline.h"
#include "base/reportcannotopen.h"
#include "base/utf8text.h"
#include "logging/logfilepath.h"

#include <QFile>

namespace logging {

QString getLogFile()
{
    // Deliberate: the folder configured now, wherever this process logs to, if it logs at all.
    // Reads the file without the writers' lock, so that a slow reader never blocks them.
    const QString path = configuredLogFilePath();
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        base::reportCannotOpenForReading(path, file.errorString());
        return {};
    }
    if (file.size() > base::longestText) {
        base::writeErrorLine("Could not read " + base::errorText(path) + ": too large");
        return {};
    }
    return base::utf8Text(file.readAll()); // a system crash may leave zero bytes
}

} // namespace logging
