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

// The one place that joins a folder and a name: always a forward slash, nothing is cleaned up.
[[nodiscard]] QString filePathIn(const QString &folder, const QString &name);

} // namespace settings
