#pragma once

#include <QString>

namespace jobs {

// The name of the file that tells the tool of this cancellation ID to stop.
[[nodiscard]] inline QString stopFileName(const QString &cancelId)
{
    return cancelId + QStringLiteral(".txt");
}

} // namespace jobs
