#include "logging/getlogfile.h"

#include "logging/logfilepath.h"
#include "settings/reportcannotopen.h"

#include <QByteArray>
#include <QFile>

#include <cstdio>

namespace logging {

QString getLogFile()
{
    // Deliberate: the folder configured now, whatever the run itself logs to and whether it logs at
    // all. The file is read without the writers' lock, so that a slow reader never stops them.
    const QString path = configuredLogFilePath();
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        settings::reportCannotOpenForReading(path, file.errorString());
        return {};
    }
    const QByteArray content = file.readAll();
    if (content.isEmpty() && file.size() > 0) {
        // Nothing ever shortens the file; one past what a byte array holds reads as nothing.
        (void)std::fprintf(stderr, "Could not read %s: too large\n", qPrintable(path));
    }
    // With the size: a zero byte, which a crash of the machine may leave, does not end the text.
    return QString::fromUtf8(content.constData(), content.size());
}

} // namespace logging
