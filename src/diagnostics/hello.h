#pragma once

#include <QByteArray>
#include <QString>

// Signs of life.
namespace diagnostics {

[[nodiscard]] const char *hello();

// The request's body comes back as it went. One of which no text can be made, because it has more
// than 1 GiB, is answered with nothing, which the operator is told.
[[nodiscard]] QString text(const QByteArray &body);

// The version that the build has stamped into the program.
[[nodiscard]] QString vondServerVersion();

} // namespace diagnostics
