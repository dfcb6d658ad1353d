#pragma once

#include <string>
#include <vector>

// For the Windows entry only, and free of Qt.
namespace app {

// The words of a command line in the ANSI code page. A character that it lacks becomes its default
// character, usually a question mark.
[[nodiscard]] std::vector<std::string> narrowWords(const wchar_t *const *words, int count);

// The same words as main() takes them, ended by a null pointer. Valid as long as they are.
[[nodiscard]] std::vector<char *> argumentVector(std::vector<std::string> &words);

} // namespace app
