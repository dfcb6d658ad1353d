#include "diagnostics/hello.h"

#include <QCoreApplication>

namespace diagnostics {

const char *hello()
{
    return "vondServer: Hello world";
}

QString text(const QByteArray &body)
{
    // With the size: a zero byte does not end the text.
    return QStringLiteral("vondServer:") + QString::fromUtf8(body.constData(), body.size());
}

QString vondServerVersion()
{
    return QStringLiteral("vondServer:") + QCoreApplication::applicationVersion();
}

} // namespace diagnostics
