#pragma once

#include <QString>

namespace logging {

// The whole log file, as it is now. Empty, and told on standard error, when it cannot be read.
[[nodiscard]] QString getLogFile();

} // namespace logging
