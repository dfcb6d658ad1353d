#include "app/codepage.h"

#include <QDebug>

#include <iostream>

#ifdef Q_OS_WIN
#include <QTextCodec>

#include <windows.h>
#endif

namespace app {

namespace {

constexpr unsigned utf8 = 65001;

} // namespace

#ifdef Q_OS_WIN

unsigned codePage()
{
    return GetACP();
}

void useUtf8()
{
    // Qt asks the system to convert and to report unknown characters, which the system rejects when
    // the code page is UTF-8.
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
}

#else

unsigned codePage()
{
    return utf8;
}

void useUtf8() { }

#endif

void warnOfCodePage(unsigned page)
{
    if (page == utf8) {
        return;
    }
    const char *const text =
        "warning: letters outside of this code page are lost on the command line:";
    std::cerr << text << page << std::endl;
    qDebug() << text << page;
}

} // namespace app
