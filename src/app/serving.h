#pragma once

#include <QSettings>

namespace app {

// Both serve until the process is stopped from outside and return the exit status: that of the
// event loop, or -1 when serving could not begin. They need the application object.

// Host, port and tool path as given on the command line. The tool must exist.
[[nodiscard]] int serveAsGiven(const char *host, const char *port, const char *path);

// The same three from the settings. A missing tool only causes a warning: requests that need it
// fail.
[[nodiscard]] int serveAsStored(const QSettings &store);

} // namespace app
