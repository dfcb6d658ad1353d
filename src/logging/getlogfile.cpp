#include "logging/getlogfile.h"

#include "logging/logfilepath.h"
#include "settings/reportcannotopen.h"

#include <QByteArray>
#include <QFile>

#include <cstdio>

namespace logging {
namespace {

// Of how many bytes Qt can always make a text: its block has to stay within 2147483647 bytes, with
// two for each character, the zero at the end and the header.
constexpr int longestText = (2147483647 - static_cast<int>(sizeof(QStringData))) / 2 - 1;

} // namespace

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
    if (file.size() > longestText) {
        (void)std::fprintf(stderr, "Could not read %s: too large\n", qPrintable(path));
        return {};
    }
    const QByteArray content = file.readAll();
    // With the size: a zero byte, which a crash of the machine may leave, does not end the text.
    return QString::fromUtf8(content.constData(), content.size());
}

} // namespace logging
