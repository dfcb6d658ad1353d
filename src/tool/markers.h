#pragma once

#include <QLatin1String>

// The prefixes by which the tool marks what a piece of its output is.
namespace tool {

inline constexpr QLatin1String progressMarker("Progress:", 9);
inline constexpr QLatin1String outputFileMarker("Output file:", 12);
inline constexpr QLatin1String errorMarker("Error:", 6);

} // namespace tool
