#pragma once

#include <QByteArray>
#include <QString>

namespace tool {

// All the bytes as text. Invalid sequences become replacement characters; a zero byte does not end
// the text, as it would with QString::fromUtf8(QByteArray).
[[nodiscard]] QString utf8Text(const QByteArray &bytes);

} // namespace tool
