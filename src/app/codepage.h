#pragma once

#include <QByteArray>

#include <optional>

// Texts in bytes: on Windows they are in the code page, which should be UTF-8 as elsewhere.
namespace app {

// The operator's line about a code page; nothing for UTF-8.
[[nodiscard]] std::optional<QByteArray> codePageWarning(unsigned codePage);

// Makes the log, the console and the debug stream UTF-8 on Windows, whatever the code page is. Call
// it before there are threads.
void useUtf8();

// On Windows, writes a line for the operator if the command line is not in UTF-8: on systems before
// Windows 10 1903, which cannot give the program that code page.
void warnOfCodePage();

} // namespace app
