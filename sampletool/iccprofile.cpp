#include "sampletool/iccprofile.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace sample {
namespace {

// Fixed offsets in the header of an ICC profile.
constexpr std::size_t headerSize = 128;
constexpr std::size_t colourSpaceOffset = 16;
constexpr std::size_t signatureOffset = 36;
constexpr std::size_t signatureSize = 4;

} // namespace

std::variant<ColourSpace, Failure> colourSpaceOf(const std::string &bytes, const std::string &name)
{
    if (bytes.size() < headerSize || bytes.compare(signatureOffset, signatureSize, "acsp") != 0) {
        return Failure{"'" + name + "' is not an ICC profile.", {}};
    }
    const std::string space = bytes.substr(colourSpaceOffset, signatureSize);
    if (space == "RGB ") {
        return ColourSpace::Rgb;
    }
    if (space == "CMYK") {
        return ColourSpace::Cmyk;
    }
    if (space == "GRAY") {
        return ColourSpace::Gray;
    }
    return Failure{"The profile '" + name + "' is for other colours than RGB, CMYK or gray.", {}};
}

std::variant<ColourSpace, Failure> colourSpaceOfFile(const std::string &path)
{
    std::error_code problem;
    if (!std::filesystem::is_regular_file(path, problem)) {
        return Failure{"The profile '" + path + "' does not exist or is not a file.", {}};
    }
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        return Failure{"The profile '" + path + "' cannot be read.", std::strerror(errno)};
    }
    std::string header(headerSize, '\0');
    file.read(header.data(), static_cast<std::streamsize>(header.size()));
    header.resize(static_cast<std::size_t>(file.gcount()));
    return colourSpaceOf(header, path);
}

} // namespace sample
