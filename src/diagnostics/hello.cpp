#include "diagnostics/hello.h"

#include <QCoreApplication>

#include <cstdio>

namespace diagnostics {
namespace {

// The longest text that Qt can hold: its block has to stay within 2147483647 bytes, with two for
// each character, the zero at the end and the header.
constexpr int longestText = (2147483647 - static_cast<int>(sizeof(QStringData))) / 2 - 1;

} // namespace

const char *hello()
{
    return "vondServer: Hello world";
}

QString text(const QByteArray &body)
{
    const QString label = QStringLiteral("vondServer:");
    if (body.size() > longestText - label.size()) {
        (void)std::fprintf(stderr, "error: the body is too large to be answered as a text\n");
        return {};
    }
    // With the size: a zero byte does not end the text.
    QString answer = QString::fromUtf8(body.constData(), body.size());
    answer.prepend(label); // in place: the text may have gigabytes
    return answer;
}

QString vondServerVersion()
{
    return QStringLiteral("vondServer:") + QCoreApplication::applicationVersion();
}

} // namespace diagnostics
