#pragma once

#include <QString>

#include <optional>

namespace tool {

// The check that stands before everything else in each route that uses the tool. Nothing when the
// path may be used; otherwise the operator has been told, and this is the route's answer.
[[nodiscard]] std::optional<QString> rejectBadPath(const QString &vondPath);

} // namespace tool
