#include "sampletool/commandline.h"

#include <array>
#include <charconv>
#include <utility>

namespace sample {
namespace {

constexpr int smallestQuality = 1;
constexpr int largestQuality = 100;

// The words that have not been parsed yet.
class Words
{
public:
    explicit Words(const std::vector<std::string> &words)
        : m_words(words)
    {
    }

    [[nodiscard]] bool atEnd() const
    {
        return m_next == m_words.size();
    }

    [[nodiscard]] const std::string &peek() const
    {
        return m_words[m_next];
    }

    const std::string &take()
    {
        return m_words[m_next++];
    }

private:
    const std::vector<std::string> &m_words;
    std::size_t m_next = 0;
};

using Problem = std::optional<std::string>;

bool startsWith(const std::string &text, const std::string &start)
{
    return text.compare(0, start.size(), start) == 0;
}

std::optional<std::string> valueAfter(const std::string &word, const std::string &start)
{
    if (!startsWith(word, start)) {
        return std::nullopt;
    }
    return word.substr(start.size());
}

std::optional<Intent> intentFrom(const std::string &text)
{
    static const std::array<std::pair<const char *, Intent>, 4> names{
        {{"perceptual", Intent::Perceptual},
         {"relative", Intent::Relative},
         {"saturation", Intent::Saturation},
         {"absolute", Intent::Absolute}}};
    for (const auto &[name, intent] : names) {
        if (text == name) {
            return intent;
        }
    }
    return std::nullopt;
}

std::optional<int> qualityFrom(const std::string &text)
{
    int quality = 0;
    const char *const end = text.data() + text.size();
    const auto [stop, problem] = std::from_chars(text.data(), end, quality);
    if (problem != std::errc() || stop != end || quality < smallestQuality
        || quality > largestQuality) {
        return std::nullopt;
    }
    return quality;
}

Problem setOption(const std::string &key, const std::string &value, SetOptions &options)
{
    if (key == "--profile") {
        if (options.profile) {
            return "--profile is set twice";
        }
        options.profile = value;
        return std::nullopt;
    }
    if (key == "--intent") {
        if (options.intent) {
            return "--intent is set twice";
        }
        options.intent = intentFrom(value);
        return options.intent ? Problem() : "'" + value + "' is no rendering intent";
    }
    if (key == "--quality") {
        if (options.quality) {
            return "--quality is set twice";
        }
        options.quality = qualityFrom(value);
        return options.quality ? Problem() : "'" + value + "' is no quality from 1 to 100";
    }
    return "'" + key + "' cannot be set";
}

// The pairs after "setoption" end at the first word in a key's place that does not begin with "--".
Problem readSetOptions(Words &words, SetOptions &options)
{
    if (words.atEnd() || !startsWith(words.peek(), "--")) {
        return "setoption needs a key and a value";
    }
    while (!words.atEnd() && startsWith(words.peek(), "--")) {
        const std::string &key = words.take();
        if (words.atEnd()) {
            return "'" + key + "' needs a value";
        }
        if (const Problem problem = setOption(key, words.take(), options)) {
            return problem;
        }
    }
    return std::nullopt;
}

Problem readConfiguration(Words &words, Convert &convert, bool &hasConfiguration)
{
    if (words.atEnd()) {
        return "-c needs the name of a configuration";
    }
    if (hasConfiguration) {
        return "-c is given twice";
    }
    hasConfiguration = true;
    convert.configuration = words.take();
    return std::nullopt;
}

Problem readOutput(Words &words, Convert &convert)
{
    if (convert.tasks.empty()) {
        return "-o stands before any input";
    }
    if (words.atEnd() || words.peek().empty()) {
        return "-o needs the name of a file";
    }
    convert.tasks.back().outputs.push_back(words.take());
    return std::nullopt;
}

Problem readInput(const std::string &word, Convert &convert)
{
    if (word.empty()) {
        return "an input has no name";
    }
    if (startsWith(word, "-")) {
        return "'" + word + "' is not known here";
    }
    convert.tasks.push_back({word, {}});
    return std::nullopt;
}

Problem readStopFile(const std::string &path, Convert &convert)
{
    if (path.empty()) {
        return "--stopfile= needs the name of a file";
    }
    if (!convert.stopFile.empty()) {
        return "--stopfile is given twice";
    }
    convert.stopFile = path;
    return std::nullopt;
}

Problem readConvertWord(Words &words, Convert &convert, bool &hasConfiguration)
{
    const std::string &word = words.take();
    if (word == "--progress") {
        convert.progress = true;
        return std::nullopt;
    }
    if (word == "--translateerror") {
        convert.translateError = true;
        return std::nullopt;
    }
    if (word == "--overwriteoutput=increment") {
        convert.increment = true;
        return std::nullopt;
    }
    if (const auto path = valueAfter(word, "--stopfile=")) {
        return readStopFile(*path, convert);
    }
    if (word == "-c") {
        return readConfiguration(words, convert, hasConfiguration);
    }
    if (word == "-o") {
        return readOutput(words, convert);
    }
    if (word == "setoption") {
        return readSetOptions(words, convert.options);
    }
    return readInput(word, convert);
}

std::variant<Command, UsageError> parseConvert(Words words)
{
    Convert convert;
    bool hasConfiguration = false;
    while (!words.atEnd()) {
        if (const Problem problem = readConvertWord(words, convert, hasConfiguration)) {
            return UsageError{*problem};
        }
    }
    if (!hasConfiguration) {
        return UsageError{"no configuration is named with -c"};
    }
    if (convert.tasks.empty()) {
        return UsageError{"no input is named"};
    }
    for (const Task &task : convert.tasks) {
        if (task.outputs.empty()) {
            return UsageError{"no output is named with -o for '" + task.input + "'"};
        }
    }
    return convert;
}

std::vector<std::string> splitAtCommas(const std::string &text)
{
    std::vector<std::string> parts(1);
    for (const char c : text) {
        if (c == ',') {
            parts.emplace_back();
        } else {
            parts.back() += c;
        }
    }
    return parts;
}

std::variant<Command, UsageError> parseListConfigurations(Words words)
{
    ListConfigurations list;
    while (!words.atEnd()) {
        const std::string &word = words.take();
        if (word == "--format=json") {
            list.json = true;
        } else if (const auto name = valueAfter(word, "--name=")) {
            list.name = *name;
        } else if (const auto details = valueAfter(word, "--details=")) {
            list.details = splitAtCommas(*details);
        } else {
            return UsageError{"'" + word + "' is not known to listconfigurations"};
        }
    }
    if (!list.json && (list.name || !list.details.empty())) {
        return UsageError{"--name and --details need --format=json"};
    }
    return list;
}

} // namespace

std::variant<Command, UsageError> parse(const std::vector<std::string> &words)
{
    if (words.empty()) {
        return UsageError{"nothing to do"};
    }
    const std::string &first = words.front();
    if (first == "--help" || first == "version") {
        if (words.size() > 1) {
            return UsageError{"'" + first + "' stands alone"};
        }
        return first == "version" ? Command(ShowVersion()) : Command(ShowHelp());
    }
    if (first == "listconfigurations") {
        Words rest(words);
        (void)rest.take(); // the command itself
        return parseListConfigurations(rest);
    }
    return parseConvert(Words(words));
}

} // namespace sample
