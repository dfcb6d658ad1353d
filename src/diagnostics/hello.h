#pragma once

#include <QByteArray>
#include <QString>

// Routes that show that the service is alive.
namespace diagnostics {

[[nodiscard]] const char *hello();

// Returns the request body after a label. A body of more than 1 GiB, too long for a text, gives an
// empty response and a line for the operator.
[[nodiscard]] QString text(const QByteArray &body);

// The version that the build has put into the program.
[[nodiscard]] QString vondServerVersion();

} // namespace diagnostics
