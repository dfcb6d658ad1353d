#pragma once

#include <QLatin1String>

#include <cstddef>

// The keys of the settings store, all at top level. Nothing is cached: whoever needs a value reads
// it from a fresh default-constructed QSettings.
namespace settings {

// Not every compiler computes the length of a literal for QLatin1String at compile time; this
// passes it.
constexpr QLatin1String operator""_key(const char *text, std::size_t length)
{
    return QLatin1String(text, static_cast<int>(length));
}

inline constexpr QLatin1String tempFolderKey = "TempFolder"_key; // uploads, stop files, outputs
inline constexpr QLatin1String logFolderKey = "LogFolder"_key; // where the log file is
inline constexpr QLatin1String serverLoggingKey = "ServerLogging"_key; // bool, absent means off

// For serving without arguments; stored by others, the program only reads them.
inline constexpr QLatin1String hostIpKey = "hostIP"_key;
inline constexpr QLatin1String portNumberKey = "portNumber"_key;
inline constexpr QLatin1String vondPathKey = "vondPath"_key;

inline constexpr QLatin1String probeKey = "test1"_key; // written at every start, never read

} // namespace settings
