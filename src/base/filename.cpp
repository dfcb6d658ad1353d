#include "base/filename.h"

#include <QLatin1String>
#include <QStringList>

#include <algorithm>
#include <array>

namespace base {

namespace {

bool isForbidden(QChar letter)
{
    const QLatin1String marks(R"(\:*?"<>|)");
    return (letter < QLatin1Char(' ') && !letter.isNull())
        || std::any_of(marks.begin(), marks.end(), [letter](char mark) {
               return letter == QLatin1Char(mark);
           });
}

// COM1 to COM9 and LPT1 to LPT9; the superscript digits of Latin-1 count as digits.
bool isNumberedDevice(const QString &name)
{
    if (name.size() != 4
        || (!name.startsWith(QLatin1String("COM")) && !name.startsWith(QLatin1String("LPT")))) {
        return false;
    }
    const QChar digit = name.at(3);
    return (digit >= QLatin1Char('1') && digit <= QLatin1Char('9')) || digit == QChar(0xb9)
        || digit == QChar(0xb2) || digit == QChar(0xb3);
}

// Devices exist in every folder, and with every suffix.
bool isDevice(const QString &part)
{
    constexpr std::array<QLatin1String, 6> devices{
        QLatin1String("CON", 3),
        QLatin1String("PRN", 3),
        QLatin1String("AUX", 3),
        QLatin1String("NUL", 3),
        QLatin1String("CONIN$", 6),
        QLatin1String("CONOUT$", 7),
    };
    const int dot = part.indexOf(QLatin1Char('.'));
    QString name = part.left(dot).toUpper();
    while (name.endsWith(QLatin1Char(' '))) {
        name.chop(1);
    }
    return std::find(devices.begin(), devices.end(), name) != devices.end()
        || isNumberedDevice(name);
}

// A shortcut, which Qt follows when it writes a file or looks at its size.
bool isShortcut(const QString &part)
{
    return part.endsWith(QLatin1String(".lnk"), Qt::CaseInsensitive);
}

bool isWindowsName(const QString &part)
{
    if (part == QLatin1String(".") || part == QLatin1String("..")) {
        return true; // folders, as on Unix
    }
    return !part.endsWith(QLatin1Char('.')) && !part.endsWith(QLatin1Char(' '))
        && std::none_of(part.begin(), part.end(), isForbidden) && !isDevice(part)
        && !isShortcut(part);
}

} // namespace

bool isFileName(const QString &name, NameRules rules)
{
    if (rules == NameRules::Unix) {
        return true;
    }
    const QStringList parts = name.split(QLatin1Char('/'));
    return std::all_of(parts.begin(), parts.end(), isWindowsName);
}

} // namespace base
