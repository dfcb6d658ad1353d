#pragma once

#include <vector>

namespace app {

// The command line after the program name, as the process received it.
using Words = std::vector<const char *>;

enum class Command
{
    GetTempFolder,
    SetTempFolder,
    SetLogging,
    SetLogFolder,
    ServeAsGiven, // host, port and tool path on the command line
    ServeAsStored, // the same from the settings
    Unknown // at least one word
};

[[nodiscard]] Words wordsAfterProgramName(int argc, char **argv);

// The number of words decides first, then the first word, which must match entirely.
[[nodiscard]] Command commandFor(const Words &words);

} // namespace app
