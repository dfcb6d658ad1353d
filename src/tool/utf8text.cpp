#include "tool/utf8text.h"

namespace tool {

QString utf8Text(const QByteArray &bytes)
{
    return QString::fromUtf8(bytes.constData(), bytes.size());
}

} // namespace tool
