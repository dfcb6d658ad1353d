#pragma once

#include <string>
#include <vector>

namespace sample {

// Does what the words after the program name request. Returns the exit status.
[[nodiscard]] int run(const std::vector<std::string> &words);

} // namespace sample
