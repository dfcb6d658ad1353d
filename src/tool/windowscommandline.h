#pragma once

#include <QString>
#include <QStringList>

// Windows passes a program one text, which the program splits by the rules of its C library
// (CommandLineToArgvW). Plain functions on texts, so that they are tested on every system.
namespace tool {

// The text from which a program parses exactly these arguments. The program's own path comes first,
// in quotes, so that a space in it does not end it.
[[nodiscard]] QString windowsCommandLine(const QString &program, const QStringList &arguments);

// Whether Windows would run this program through its shell, which parses the arguments by its own
// rules: "&" in one of them would start another program.
[[nodiscard]] bool isBatchFile(const QString &program);

} // namespace tool
