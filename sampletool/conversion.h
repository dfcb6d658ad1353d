#pragma once

#include "sampletool/commandline.h"
#include "sampletool/failure.h"
#include "sampletool/iccprofile.h"
#include "sampletool/outputfile.h"

#include <functional>
#include <optional>
#include <string>

namespace sample {

// How a picture is converted, whatever its input and output files.
struct Recipe
{
    std::string profile; // destination: a file's full path or a name that libvips knows
    ColourSpace colourSpace; // of that profile
    Intent intent;
    int quality; // of JPEG files
};

// Receives the percentage done; returns false to stop the conversion.
using ProgressListener = std::function<bool(int percent)>;

// Initialises and shuts down libvips. Create one, before the first conversion.
class Imaging
{
public:
    Imaging();
    ~Imaging();
    Imaging(const Imaging &) = delete;
    Imaging &operator=(const Imaging &) = delete;
};

[[nodiscard]] std::string imagingVersion();

// Converts into an existing file, which is overwritten. Returns nothing on success.
[[nodiscard]] std::optional<Failure> convertPicture(const std::string &input,
                                                    const std::string &outputFile,
                                                    Format format,
                                                    const Recipe &recipe,
                                                    const ProgressListener &listener);

} // namespace sample
