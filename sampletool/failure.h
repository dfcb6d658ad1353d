#pragma once

#include <string>

namespace sample {

// Why something was not done.
struct Failure
{
    std::string text; // for the user: a whole sentence
    std::string detail; // what a library or the system said; may be empty
};

} // namespace sample
