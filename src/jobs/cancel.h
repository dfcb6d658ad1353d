#pragma once

#include <QString>

namespace jobs {

// Makes the stop file that a conversion with this cancel ID watches for, whether there is one or
// not. Answers the ID, or an empty text when the file could not be made. Nobody deletes the file.
[[nodiscard]] QString cancelConversion(const QString &vondPath, const QString &cancelId);

} // namespace jobs
