#pragma once

#include <QString>
#include <QtGlobal>

namespace base {

// Whose rules say what a file may be called.
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

// Whether a file can bear this name, which may lead through folders with slashes, as on Unix.
//
// On Windows, where more characters have a meaning, names are refused that would lead elsewhere
// than a slash does: out of the folder (a backslash, a drive), to a device (NUL, with a suffix,
// too), to another stream of a file (x:y), to a file of another name (one without the dot or blank
// at the end), or to what a program reads as a pattern. On Unix all are taken. An empty name, and
// one with a zero character, are left to whoever opens the file.
[[nodiscard]] bool isFileName(const QString &name, NameRules rules = ownNameRules);

// What the operator is told where the system would give the reason that a file cannot be opened.
[[nodiscard]] inline QString noFileName()
{
    return QStringLiteral("no name for a file");
}

} // namespace base
