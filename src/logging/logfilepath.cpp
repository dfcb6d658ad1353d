#include "logging/logfilepath.h"

#include "settings/folders.h"

namespace logging {

QString configuredLogFilePath()
{
    const QString logFileName = QStringLiteral("vondServer.log");
    return settings::filePathIn(settings::logFolder(), logFileName);
}

} // namespace logging
