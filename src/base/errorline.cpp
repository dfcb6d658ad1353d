#include "base/errorline.h"

#include <iostream>

namespace base {

void writeErrorLine(const QByteArray &line)
{
    const QByteArray whole = line + '\n';
    std::cerr.clear(); // a line that could not be written must not silence those that follow
    std::cerr.write(whole.constData(), whole.size()).flush();
}

QByteArray errorText(const QString &text)
{
    return {text.toLocal8Bit().constData()};
}

} // namespace base
