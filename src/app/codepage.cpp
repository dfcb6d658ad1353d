#include "app/codepage.h"

#ifdef Q_OS_WIN
#include "base/debugline.h"
#include "base/errorline.h"

#include <QTextCodec>

#include <windows.h>
#endif

namespace app {

namespace {

constexpr unsigned utf8 = 65001;

} // namespace

std::optional<QByteArray> codePageWarning(unsigned codePage)
{
    if (codePage == utf8) {
        return std::nullopt;
    }
    const char *const text =
        "warning: letters outside of this code page are lost on the command line: ";
    return text + QByteArray::number(codePage);
}

#ifdef Q_OS_WIN

void useUtf8()
{
    // Qt asks the system to convert and to report unknown characters, which the system rejects when
    // the code page is UTF-8.
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
}

void warnOfCodePage()
{
    if (const auto warning = codePageWarning(GetACP())) {
        base::writeErrorLine(*warning);
        base::writeDebugLine(QString::fromLatin1(*warning));
    }
}

#else

void useUtf8() { }

void warnOfCodePage() { }

#endif

} // namespace app
