#pragma once

#include <QString>

// Where files go. Every call reads the settings store again, so the next request sees a changed
// folder. Any thread may call.
namespace settings {

// The folder for request files, stop files and tool outputs. Falls back silently to the system's
// temporary folder when none is set or the configured one does not exist.
[[nodiscard]] QString workFolder();

// The folder of the log file, with the same fallback.
[[nodiscard]] QString logFolder();

// The path of an input: folder and name joined with a forward slash, not normalised. Outputs and
// stop files are joined by plain concatenation, which is not the same (see the source).
[[nodiscard]] QString filePathIn(const QString &folder, const QString &name);

} // namespace settings
