#pragma once

#include "sampletool/commandline.h"
#include "sampletool/failure.h"
#include "sampletool/iccprofile.h"
#include "sampletool/outputfile.h"

#include <functional>
#include <optional>
#include <string>

namespace sample {

// What is made of a picture, whatever file it comes from and goes to.
struct Recipe
{
    std::string profile; // destination: a file's full path or a name that libvips knows
    ColourSpace colourSpace; // of that profile
    Intent intent;
    int quality; // of JPEG files
};

// Is told the percentage done; answers false to stop the conversion.
using ProgressListener = std::function<bool(int percent)>;

// Libvips from its start to its end. One of these, made before the first conversion.
class Imaging
{
public:
    Imaging();
    ~Imaging();
    Imaging(const Imaging &) = delete;
    Imaging &operator=(const Imaging &) = delete;
};

[[nodiscard]] std::string imagingVersion();

// Converts into a file that exists already and is overwritten. Nothing means that it worked.
[[nodiscard]] std::optional<Failure> convertPicture(const std::string &input,
                                                    const std::string &outputFile,
                                                    Format format,
                                                    const Recipe &recipe,
                                                    const ProgressListener &listener);

} // namespace sample
