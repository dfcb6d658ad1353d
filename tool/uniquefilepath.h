#pragma once

#include <QString>

namespace tool {

// The path itself when nothing is there, otherwise the first of "name_1.suffix", "name_2.suffix"
// and so on that is free. Free now: nobody else is kept from taking it.
[[nodiscard]] QString uniqueFilePath(const QString &path);

} // namespace tool
