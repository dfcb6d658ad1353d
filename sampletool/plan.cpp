#include "sampletool/plan.h"

#include "sampletool/configurations.h"

#include <filesystem>

namespace sample {
namespace {

constexpr int defaultQuality = 90;

std::variant<Recipe, Failure> recipeFor(const Convert &convert)
{
    const Configuration *const configuration = findConfiguration(convert.configuration);
    if (!configuration) {
        return Failure{"There is no configuration '" + convert.configuration + "'.", {}};
    }
    Recipe recipe{configuration->profile,
                  configuration->colourSpace,
                  convert.options.intent.value_or(Intent::Relative),
                  convert.options.quality.value_or(defaultQuality)};
    if (convert.options.profile) {
        const auto space = colourSpaceOfFile(*convert.options.profile);
        if (const auto *const failure = std::get_if<Failure>(&space)) {
            return *failure;
        }
        recipe.colourSpace = std::get<ColourSpace>(space);
        // A full path, so that no file is mistaken for a profile that libvips knows by name.
        recipe.profile = std::filesystem::absolute(*convert.options.profile).string();
    }
    return recipe;
}

} // namespace

std::variant<Plan, Failure> planFor(const Convert &convert)
{
    const auto recipe = recipeFor(convert);
    if (const auto *const failure = std::get_if<Failure>(&recipe)) {
        return *failure;
    }
    Plan plan{std::get<Recipe>(recipe), {}};
    for (const Task &task : convert.tasks) {
        for (const std::string &asked : task.outputs) {
            // A caller that has names numbered reads the name from the tool's output. Otherwise the
            // file is expected under the requested name, and must have that format.
            const std::string path =
                convert.increment ? nameThatHolds(asked, plan.recipe.colourSpace) : asked;
            const auto format = formatFor(path, plan.recipe.colourSpace);
            if (const auto *const failure = std::get_if<Failure>(&format)) {
                return *failure;
            }
            plan.outputs.push_back({task.input, path, std::get<Format>(format)});
        }
    }
    return plan;
}

std::string errorText(const Failure &failure, const Convert &convert)
{
    std::string text = failure.text;
    if (!failure.detail.empty()) {
        text += ' ' + failure.detail;
    }
    text += " Not written:";
    for (const Task &task : convert.tasks) {
        for (const std::string &path : task.outputs) {
            text += " '" + path + '\'';
        }
    }
    return text;
}

} // namespace sample
