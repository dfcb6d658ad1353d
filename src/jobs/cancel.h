#pragma once

#include <QString>

namespace jobs {

// Creates the stop file that a conversion with this cancel ID watches for, whether or not there is
// such a conversion. Returns the ID, or an empty text when the file could not be created. The file
// is never deleted.
[[nodiscard]] QString cancelConversion(const QString &vondPath, const QString &cancelId);

} // namespace jobs
