#pragma once

#include <QByteArray>
#include <QString>

namespace base {

// The bytes that a base64 text stands for (RFC 4648 section 4), to the letter what Qt's own decoder
// makes of it: whatever is not of the alphabet is skipped, wherever it stands, and bits that make
// no whole byte are dropped. Qt's takes a copy of the text in bytes first, and twice as long.
[[nodiscard]] QByteArray decodedBase64(const QString &text);

} // namespace base
