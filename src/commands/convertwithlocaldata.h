#pragma once

#include <QByteArray>
#include <QString>

namespace commands {

// Converts the image that the body, a JSON object, carries. Where the result lies (a full path when
// the tool printed anything, else a bare name), the tool's own words when it reports an error, or
// an empty text.
[[nodiscard]] QString convertWithLocalData(const QString &vondPath, const QByteArray &body);

} // namespace commands
