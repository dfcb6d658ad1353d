#include "base/withoutpart.h"

namespace base {

QString withoutPart(const QString &text, const QString &part)
{
    QString rest;
    rest.reserve(text.size());
    int begin = 0;
    for (int at = text.indexOf(part); at >= 0; at = text.indexOf(part, begin)) {
        rest += text.midRef(begin, at - begin);
        begin = at + part.size();
    }
    return rest + text.midRef(begin);
}

} // namespace base
