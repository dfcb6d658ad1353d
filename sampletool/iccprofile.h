#pragma once

#include "sampletool/failure.h"

#include <string>
#include <variant>

namespace sample {

enum class ColourSpace
{
    Gray,
    Rgb,
    Cmyk
};

// The colour space of a profile, from its first bytes. The name is for the error message.
[[nodiscard]] std::variant<ColourSpace, Failure> colourSpaceOf(const std::string &bytes,
                                                               const std::string &name);

// The same for a file, of which only the beginning is read.
[[nodiscard]] std::variant<ColourSpace, Failure> colourSpaceOfFile(const std::string &path);

} // namespace sample
