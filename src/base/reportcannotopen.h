#pragma once

#include <QString>

// Lines for the operator about a file that could not be opened, on stderr in the local 8-bit
// encoding.
namespace base {

void reportCannotOpenForReading(const QString &path, const QString &reason);
void reportCannotOpenForWriting(const QString &path, const QString &reason);

} // namespace base
