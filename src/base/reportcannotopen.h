#pragma once

#include <QString>

// The operator's lines for a file that would not open, on stderr in the local 8-bit encoding.
namespace base {

void reportCannotOpenForReading(const QString &path, const QString &reason);
void reportCannotOpenForWriting(const QString &path, const QString &reason);

} // namespace base
