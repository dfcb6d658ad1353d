#pragma once

#include "tool/claimedpaths.h"

#include <QString>

#include <functional>

namespace tool {

// Whether anything bears this name: a file, a folder, a link wherever it leads, a pipe, a device.
// It is not opened.
[[nodiscard]] bool isNameTaken(const QString &path);

// The path itself when nothing is there, otherwise the first of "name_1.suffix", "name_2.suffix"
// and so on that is free: neither there nor claimed by another request. It is claimed.
[[nodiscard]] QString uniqueFilePath(const QString &path, ClaimedPaths *claims);

// The same with a step of the caller's, which is given a free candidate that has been claimed and
// answers whether it is the one. It is not when somebody outside this process was quicker; then the
// next is looked for.
[[nodiscard]] QString uniqueFilePath(const QString &path,
                                     ClaimedPaths *claims,
                                     const std::function<bool(const QString &)> &accept);

} // namespace tool
