#pragma once

// Texts in bytes: on Windows they are in the code page, which should be UTF-8 as elsewhere.
namespace app {

// The code page of the command line's words; always UTF-8 outside of Windows.
[[nodiscard]] unsigned codePage();

// Makes the log, the console and the debug stream UTF-8 on Windows, whatever the code page is. Call
// it before there are threads.
void useUtf8();

// Writes a line for the operator unless the code page is UTF-8: on systems before Windows 10 1903,
// which cannot give the program that code page.
void warnOfCodePage(unsigned page);

} // namespace app
