#pragma once

#include <QString>

// What the tool reports about itself, passed through as text. Empty if it prints nothing.
namespace commands {

[[nodiscard]] QString version(const QString &vondPath);
[[nodiscard]] QString listconfigurations(const QString &vondPath);

// The name becomes part of one argument, whatever it contains.
[[nodiscard]] QString configDetails(const QString &vondPath, const QString &name);

} // namespace commands
