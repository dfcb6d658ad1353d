#pragma once

#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace sample {

enum class Intent
{
    Perceptual,
    Relative,
    Saturation,
    Absolute
};

struct ShowHelp
{
};

struct ShowVersion
{
};

struct ListConfigurations
{
    bool json = false;
    std::optional<std::string> name; // nothing means every configuration
    std::vector<std::string> details;
};

// One picture and the files that its conversion is written to.
struct Task
{
    std::string input;
    std::vector<std::string> outputs;
};

struct SetOptions
{
    std::optional<std::string> profile; // file to use instead of the configuration's profile
    std::optional<Intent> intent;
    std::optional<int> quality; // of JPEG files
};

struct Convert
{
    bool progress = false;
    std::string stopFile; // empty: none
    bool translateError = false;
    bool increment = false; // number the output rather than overwrite
    std::string configuration;
    SetOptions options;
    std::vector<Task> tasks;
};

struct UsageError
{
    std::string text;
};

using Command = std::variant<ShowHelp, ShowVersion, ListConfigurations, Convert>;

// What the words after the program name request. Anything that is not fully understood is rejected.
[[nodiscard]] std::variant<Command, UsageError> parse(const std::vector<std::string> &words);

} // namespace sample
