#pragma once

#include <QString>

namespace base {

// The text without any occurrence of the part. The same as QString::remove(), which moves the rest
// of the text for every occurrence, in time proportional to the text.
[[nodiscard]] QString withoutPart(const QString &text, const QString &part);

} // namespace base
