#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace tool {

// Makes the file, or empties the one that is there, and writes the bytes. Nothing when it could be
// opened (how many bytes arrived is not looked at), otherwise the reason.
[[nodiscard]] std::optional<QString> writeFile(const QString &path, const QByteArray &bytes);

} // namespace tool
