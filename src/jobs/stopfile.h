#pragma once

#include <QString>

namespace jobs {

// The name of the stop file for this cancel ID.
[[nodiscard]] inline QString stopFileName(const QString &cancelId)
{
    return cancelId + QStringLiteral(".txt");
}

} // namespace jobs
