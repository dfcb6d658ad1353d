#pragma once

#include <QString>

#include <optional>

namespace tool {

// The first check in every route that uses the tool. Returns nothing when the path may be used;
// otherwise writes a line for the operator and returns the route's response.
[[nodiscard]] std::optional<QString> rejectBadPath(const QString &vondPath);

} // namespace tool
