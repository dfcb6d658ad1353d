#pragma once

namespace app {

// The uses of the program that end at once. Each returns the exit status, and takes its value as it
// stands on the command line.

// Prints what is stored, also when there is no such folder.
[[nodiscard]] int getTempFolder();

[[nodiscard]] int setTempFolder(const char *value);
[[nodiscard]] int setLogFolder(const char *value);

// Takes "0" and "1"; stores nothing for any other value.
[[nodiscard]] int setLogging(const char *value);

[[nodiscard]] int rejectCommand(const char *word);

} // namespace app
