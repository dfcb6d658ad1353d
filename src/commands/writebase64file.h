#pragma once

#include "tool/claimedpaths.h"

#include <QString>

namespace commands {

// Decodes the text and writes the bytes as a new file under the uniqueFilePath() of the path. The
// path really written; empty when the file could not be made, and then the operator has been told.
// Characters outside the base64 alphabet are skipped without a word. On a full disk there is no
// file under the path that is told, and the claim alone keeps others from it.
[[nodiscard]] QString
writeBase64File(const QString &path, const QString &base64Text, tool::ClaimedPaths *claims);

} // namespace commands
