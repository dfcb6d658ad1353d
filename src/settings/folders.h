#pragma once

#include <QString>

// Where files go. Every call reads the settings store anew, so a changed folder is seen by the next
// request. Any thread may call.
namespace settings {

// Folder of request files, stop files and tool outputs. The system's temporary folder when none is
// set or the one that is set does not exist; no message tells of that.
[[nodiscard]] QString workFolder();

// Folder of the log file, with the same fallback.
[[nodiscard]] QString logFolder();

// The path of an input: folder and name joined with a forward slash, nothing cleaned up. Outputs
// and stop files are joined by plain concatenation, which is not the same (see the source).
[[nodiscard]] QString filePathIn(const QString &folder, const QString &name);

} // namespace settings
