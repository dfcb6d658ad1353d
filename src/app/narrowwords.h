#pragma once

#include <string>
#include <vector>

// For the Windows entry point only; does not use Qt.
namespace app {

// The words of a command line in the ANSI code page. A character that the code page lacks becomes
// its default character, usually a question mark.
[[nodiscard]] std::vector<std::string> narrowWords(const wchar_t *const *words, int count);

// The same words as main() takes them, with a null pointer at the end. Valid as long as `words`.
[[nodiscard]] std::vector<char *> argumentVector(std::vector<std::string> &words);

} // namespace app
