#pragma once

#include "sampletool/commandline.h"
#include "sampletool/conversion.h"
#include "sampletool/failure.h"
#include "sampletool/outputfile.h"

#include <string>
#include <variant>
#include <vector>

namespace sample {

struct PlannedOutput
{
    std::string input;
    std::string path; // as requested, but see nameThatHolds(); a number may be added
    Format format;
};

// Everything about a conversion that can be known before a picture is opened.
struct Plan
{
    Recipe recipe;
    std::vector<PlannedOutput> outputs; // in the order of the command line
};

[[nodiscard]] std::variant<Plan, Failure> planFor(const Convert &convert);

// The text after "Error:". Names every output, so that callers see which ones will not come.
[[nodiscard]] std::string errorText(const Failure &failure, const Convert &convert);

} // namespace sample
