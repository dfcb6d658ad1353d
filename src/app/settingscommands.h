#pragma once

namespace app {

// The commands that finish at once. Each returns the exit status and takes its value as given on
// the command line.

// Prints what is stored, even if there is no such folder.
[[nodiscard]] int getTempFolder();

[[nodiscard]] int setTempFolder(const char *value);
[[nodiscard]] int setLogFolder(const char *value);

// Takes "0" and "1"; stores nothing for any other value.
[[nodiscard]] int setLogging(const char *value);

[[nodiscard]] int rejectCommand(const char *word);

} // namespace app
