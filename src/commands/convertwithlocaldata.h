#pragma once

#include <QByteArray>
#include <QString>

namespace commands {

// Converts the image in the body, a JSON object. Returns where the result is (a full path if the
// tool printed anything, otherwise a bare name), the tool's own message when it reports an error,
// or an empty text.
[[nodiscard]] QString convertWithLocalData(const QString &vondPath, const QByteArray &body);

} // namespace commands
