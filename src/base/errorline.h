#pragma once

#include <QByteArray>
#include <QString>

namespace base {

// Writes one line for the operator to standard error and flushes it. Text and line end are written
// together, so that lines of several connections do not mix.
void writeErrorLine(const QByteArray &line);

// A text as it appears in such a line: in the local 8-bit encoding, up to its first zero character.
[[nodiscard]] QByteArray errorText(const QString &text);

} // namespace base
