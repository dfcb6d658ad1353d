#pragma once

#include <QString>

namespace tool {

// Decodes the text and writes the bytes under the uniqueFilePath() of the path. The path really
// written; empty when the file could not be made, and then the operator has been told. Characters
// outside the base64 alphabet are skipped without a word.
[[nodiscard]] QString writeBase64File(const QString &path, const QString &base64Text);

} // namespace tool
