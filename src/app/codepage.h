#pragma once

#include <QByteArray>

#include <optional>

// Texts in bytes: on Windows they are in the code page, which is to be UTF-8 as elsewhere.
namespace app {

// What the operator is told of a code page; nothing of UTF-8.
[[nodiscard]] std::optional<QByteArray> codePageWarning(unsigned codePage);

// Makes the log, the console and the debug stream UTF-8 on Windows, whatever the code page is. Call
// it before there are threads.
void useUtf8();

// On Windows, tells the operator when the words of the command line are not in UTF-8: on systems
// before Windows 10 1903, which cannot give the program that code page.
void warnOfCodePage();

} // namespace app
