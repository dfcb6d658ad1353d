#include "app/commandline.h"

#include <string_view>

namespace app {

namespace {

Command commandWithoutValue(std::string_view word)
{
    return word == "getTempFolder" ? Command::GetTempFolder : Command::Unknown;
}

Command commandWithValue(std::string_view word)
{
    if (word == "setTempFolder") {
        return Command::SetTempFolder;
    }
    if (word == "setLogging") {
        return Command::SetLogging;
    }
    if (word == "setLogFolder") {
        return Command::SetLogFolder;
    }
    return Command::Unknown;
}

} // namespace

Words wordsAfterProgramName(int argc, char **argv)
{
    // A caller may omit even the program name.
    return argc > 1 ? Words(argv + 1, argv + argc) : Words();
}

Command commandFor(const Words &words)
{
    switch (words.size()) {
    case 1:
        return commandWithoutValue(words.at(0));
    case 2:
        return commandWithValue(words.at(0));
    case 3:
        return Command::ServeAsGiven;
    default:
        // Deliberate: four or more words are ignored; the stored settings apply.
        return Command::ServeAsStored;
    }
}

} // namespace app
