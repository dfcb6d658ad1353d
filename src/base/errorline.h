#pragma once

#include <QByteArray>

namespace base {

// One line for the operator on the standard error stream, flushed. Text and line end go out in one
// piece, so that lines of several connections do not run into each other.
void writeErrorLine(const QByteArray &line);

} // namespace base
