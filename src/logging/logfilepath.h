#pragma once

#include <QString>

namespace logging {

// The path of the log file according to the current settings. A service that has started logging
// keeps the path it had then.
[[nodiscard]] QString configuredLogFilePath();

} // namespace logging
