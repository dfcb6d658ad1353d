#pragma once

#include <QString>

namespace logging {

// The whole log file, as it is now. Empty, with a line on standard error, when it cannot be read.
[[nodiscard]] QString getLogFile();

} // namespace logging
