#pragma once

#include "tool/claimedpaths.h"

#include <QString>

#include <functional>

namespace tool {

// Whether anything has this name: a file, a folder, a link, even a dangling one, a pipe, a device.
// Does not open it.
[[nodiscard]] bool isNameTaken(const QString &path);

// The path itself if it is free, otherwise the first free one of "name_1.suffix", "name_2.suffix"
// and so on. Free means that it neither exists nor is claimed by another request. The returned path
// is claimed.
[[nodiscard]] QString uniqueFilePath(const QString &path, ClaimedPaths *claims);

// The same, with a callback that receives each free candidate, already claimed, and returns whether
// to use it. If not, because another process was quicker, the search goes on.
[[nodiscard]] QString uniqueFilePath(const QString &path,
                                     ClaimedPaths *claims,
                                     const std::function<bool(const QString &)> &accept);

} // namespace tool
