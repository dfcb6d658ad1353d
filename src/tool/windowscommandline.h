#pragma once

#include <QString>
#include <QStringList>

// Windows hands a program one text, which the program takes apart by the rules of its C library
// (CommandLineToArgvW). Plain functions on texts, so that they are tested on every system.
namespace tool {

// The text from which a program reads exactly these arguments. The program's own path stands in
// front, in quotes, so that a blank in it ends nothing.
[[nodiscard]] QString windowsCommandLine(const QString &program, const QStringList &arguments);

// Whether Windows would hand this program to its shell, which reads the arguments by rules of its
// own: "&" in one of them would start another program.
[[nodiscard]] bool isBatchFile(const QString &program);

} // namespace tool
