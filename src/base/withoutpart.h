#pragma once

#include <QString>

namespace base {

// The text with every occurrence of the part removed, in linear time. The result is the same as
// that of QString::remove(), which moves the rest of the text for every occurrence.
[[nodiscard]] QString withoutPart(const QString &text, const QString &part);

} // namespace base
