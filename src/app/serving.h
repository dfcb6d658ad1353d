#pragma once

#include <QSettings>

namespace app {

// Both serve until the process is stopped from outside and return the exit status: the event
// loop's, or -1 when serving could not begin. They need the application object.

// Host, port and tool path as they stand on the command line. The tool must be there.
[[nodiscard]] int serveAsTold(const char *host, const char *port, const char *path);

// The same three from the settings. A missing tool is only warned of: requests that need it fail.
[[nodiscard]] int serveAsStored(const QSettings &store);

} // namespace app
