#include "app/narrowwords.h"

#include <cstddef>
#include <windows.h>

namespace app {

namespace {

std::string narrowWord(const wchar_t *word)
{
    constexpr int upToItsEnd = -1; // the terminator is converted and counted, too
    const int size = WideCharToMultiByte(CP_ACP, 0, word, upToItsEnd, nullptr, 0, nullptr, nullptr);
    if (size <= 1) {
        return {};
    }
    std::string narrow(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(CP_ACP, 0, word, upToItsEnd, narrow.data(), size, nullptr, nullptr);
    narrow.pop_back();
    return narrow;
}

} // namespace

std::vector<std::string> narrowWords(const wchar_t *const *words, int count)
{
    std::vector<std::string> narrow;
    narrow.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        narrow.push_back(narrowWord(words[i]));
    }
    return narrow;
}

std::vector<char *> argumentVector(std::vector<std::string> &words)
{
    std::vector<char *> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string &word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    return arguments;
}

} // namespace app
