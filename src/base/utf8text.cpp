#include "base/utf8text.h"

namespace base {

QString utf8Text(const QByteArray &bytes)
{
    return QString::fromUtf8(bytes.constData(), bytes.size());
}

} // namespace base
