#include "sampletool/configurations.h"

namespace sample {
namespace {

const char *colourSpaceName(ColourSpace space)
{
    switch (space) {
    case ColourSpace::Gray:
        return "Gray";
    case ColourSpace::Rgb:
        return "RGB";
    case ColourSpace::Cmyk:
        return "CMYK";
    }
    return "";
}

// Nothing if there is no such detail.
const char *detailValue(const Configuration &configuration, const std::string &detail)
{
    if (detail == "DocumentColorSpace") {
        return colourSpaceName(configuration.colourSpace);
    }
    if (detail == "DstProfile") {
        return configuration.profileDescription;
    }
    if (detail == "PSLayersOption") {
        return "Flatten"; // only the flattened image of a layered picture is read
    }
    return nullptr;
}

std::variant<std::string, Failure> jsonObject(const Configuration &configuration,
                                              const std::vector<std::string> &details)
{
    std::string text = std::string(R"({"Name": ")") + configuration.name + '"';
    for (const std::string &detail : details) {
        const char *const value = detailValue(configuration, detail);
        if (!value) {
            return Failure{"Configurations have no detail '" + detail + "'.", {}};
        }
        text += ", \"" + detail + "\": \"" + value + '"';
    }
    return text + '}';
}

std::variant<std::string, Failure> jsonArray(const std::vector<std::string> &details)
{
    std::string text;
    for (const Configuration &configuration : configurations()) {
        const auto object = jsonObject(configuration, details);
        if (const auto *const failure = std::get_if<Failure>(&object)) {
            return *failure;
        }
        text += (text.empty() ? "[" : ",\n ") + std::get<std::string>(object);
    }
    return text + ']';
}

std::string plainListing()
{
    std::string text;
    for (const Configuration &configuration : configurations()) {
        text += (text.empty() ? "" : "\n") + std::string(configuration.name);
    }
    return text;
}

} // namespace

const std::vector<Configuration> &configurations()
{
    static const std::vector<Configuration> table{
        {"sRGB", "srgb", "sRGB", ColourSpace::Rgb},
        {"DisplayP3", "p3", "Display P3", ColourSpace::Rgb},
        {"PressCMYK", "cmyk", "Chemical proof", ColourSpace::Cmyk},
    };
    return table;
}

const Configuration *findConfiguration(const std::string &name)
{
    for (const Configuration &configuration : configurations()) {
        if (name == configuration.name) {
            return &configuration;
        }
    }
    return nullptr;
}

std::variant<std::string, Failure> listing(const ListConfigurations &list)
{
    if (!list.json) {
        return plainListing();
    }
    if (!list.name) {
        return jsonArray(list.details);
    }
    const Configuration *const configuration = findConfiguration(*list.name);
    if (!configuration) {
        return Failure{"There is no configuration '" + *list.name + "'.", {}};
    }
    return jsonObject(*configuration, list.details);
}

} // namespace sample
