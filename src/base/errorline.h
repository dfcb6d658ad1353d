#pragma once

#include <QByteArray>
#include <QString>

namespace base {

// One line for the operator on the standard error stream, flushed. Text and line end go out in one
// piece, so that lines of several connections do not run into each other.
void writeErrorLine(const QByteArray &line);

// A text as such a line has it: in the local 8-bit encoding, as far as its first zero character.
[[nodiscard]] QByteArray errorText(const QString &text);

} // namespace base
