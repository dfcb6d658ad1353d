#pragma once

#include <QtGlobal>

namespace app {

// Raises the backlog of a listening socket to the most that the system allows.
void raiseBacklog(qintptr descriptor);

} // namespace app
