#include "logging/getlogfile.h"

#include "base/errorline.h"
#include "base/reportcannotopen.h"
#include "base/utf8text.h"
#include "logging/logfilepath.h"

#include <QFile>

namespace logging {

QString getLogFile()
{
    // Deliberate: the folder configured now, whatever the run itself logs to and whether it logs at
    // all. The file is read without the writers' lock, so that a slow reader never stops them.
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
    return base::utf8Text(file.readAll()); // a crash of the machine may leave zero bytes
}

} // namespace logging
