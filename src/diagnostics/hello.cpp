#include "diagnostics/hello.h"

#include "base/errorline.h"
#include "base/utf8text.h"

#include <QCoreApplication>

namespace diagnostics {

const char *hello()
{
    return "vondServer: Hello world";
}

QString text(const QByteArray &body)
{
    const QString label = QStringLiteral("vondServer:");
    if (body.size() > base::longestText - label.size()) {
        base::writeErrorLine("error: the body is too large to be answered as a text");
        return {};
    }
    QString answer = base::utf8Text(body);
    answer.prepend(label); // in place: the text may be gigabytes long
    return answer;
}

QString vondServerVersion()
{
    return QStringLiteral("vondServer:") + QCoreApplication::applicationVersion();
}

} // namespace diagnostics
