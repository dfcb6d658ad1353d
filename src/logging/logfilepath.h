#pragma once

#include <QString>

namespace logging {

// Where the log file lies by the settings of this moment. A run that has begun to log stays with
// the path it had then.
[[nodiscard]] QString configuredLogFilePath();

} // namespace logging
