#pragma once

#include "tool/claimedpaths.h"

#include <QString>

namespace commands {

// Decodes the text and writes the bytes to a new file at the uniqueFilePath() of the path. Returns
// the actual path; empty, with a line for the operator, when the file could not be created.
// Silently skips characters outside the base64 alphabet. On a full disk there is no file at the
// returned path, and only the claim keeps others from it.
//
// The second form takes a client's name for a file in the folder, and rejects one that no file can
// have (base::isFileName()).
[[nodiscard]] QString
writeBase64File(const QString &path, const QString &base64Text, tool::ClaimedPaths *claims);
[[nodiscard]] QString writeBase64File(const QString &folder,
                                      const QString &name,
                                      const QString &base64Text,
                                      tool::ClaimedPaths *claims);

} // namespace commands
