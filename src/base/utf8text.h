#pragma once

#include <QByteArray>
#include <QString>

namespace base {

// All the bytes as text. Invalid sequences become replacement characters; a zero byte does not end
// the text, as it would with QString::fromUtf8(QByteArray).
[[nodiscard]] QString utf8Text(const QByteArray &bytes);

// The longest text that Qt can hold, in characters: its block must not exceed 2147483647 bytes,
// with two for each character, the terminating zero and the header. As many bytes of UTF-8 always
// fit.
constexpr int longestText = (2147483647 - static_cast<int>(sizeof(QStringData))) / 2 - 1;

} // namespace base
