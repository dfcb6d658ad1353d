#pragma once

#include <QString>
#include <QtGlobal>

namespace base {

// The system whose rules for file names apply.
enum class NameRules
{
    Unix,
    Windows
};

#ifdef Q_OS_WIN
inline constexpr NameRules ownNameRules = NameRules::Windows;
#else
inline constexpr NameRules ownNameRules = NameRules::Unix;
#endif

// Whether a file can have this name, which may contain folders separated by slashes, as on Unix.
//
// On Windows, where more characters are special, this rejects names that would lead elsewhere: out
// of the folder (a backslash, a drive), to a device (NUL, also with a suffix), to another stream of
// a file (x:y), to a file with another name (without the dot or space at the end), to where a
// shortcut points (x.lnk, which a client could have uploaded before), or to what a program reads as
// a pattern. On Unix all names are accepted. Empty names, and those with a zero character, are left
// to whatever opens the file.
[[nodiscard]] bool isFileName(const QString &name, NameRules rules = ownNameRules);

// The reason in the operator's line, in place of the system's reason why a file cannot be opened.
[[nodiscard]] inline QString noFileName()
{
    return QStringLiteral("no name for a file");
}

} // namespace base
