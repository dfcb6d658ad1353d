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
    std::string path; // as asked for, but see nameThatHolds(); a number may be added to it
    Format format;
};

// Everything about a conversion that can be known before a picture is opened.
struct Plan
{
    Recipe recipe;
    std::vector<PlannedOutput> outputs; // in the order of the command line
};

[[nodiscard]] std::variant<Plan, Failure> planFor(const Convert &convert);

// The text after "Error:". Names every output, so that whoever waits for one of them sees that it
// is not coming.
[[nodiscard]] std::string errorText(const Failure &failure, const Convert &convert);

} // namespace sample
