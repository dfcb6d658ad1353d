#pragma once

#include <QString>

// What the tool says about itself, passed through as text. Empty when it says nothing.
namespace commands {

[[nodiscard]] QString version(const QString &vondPath);
[[nodiscard]] QString listconfigurations(const QString &vondPath);

// The name becomes part of one argument, whatever it holds.
[[nodiscard]] QString configDetails(const QString &vondPath, const QString &name);

} // namespace commands
