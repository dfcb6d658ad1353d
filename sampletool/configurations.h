#pragma once

#include "sampletool/commandline.h"
#include "sampletool/failure.h"
#include "sampletool/iccprofile.h"

#include <string>
#include <variant>
#include <vector>

namespace sample {

// A named way to convert. All texts are plain: nothing in them needs escaping in JSON.
struct Configuration
{
    const char *name;
    const char *profile; // name of a profile built into libvips
    const char *profileDescription;
    ColourSpace colourSpace;
};

[[nodiscard]] const std::vector<Configuration> &configurations();

// Nothing if no configuration has exactly this name.
[[nodiscard]] const Configuration *findConfiguration(const std::string &name);

// The text of the listing, without the last line end.
[[nodiscard]] std::variant<std::string, Failure> listing(const ListConfigurations &list);

} // namespace sample
