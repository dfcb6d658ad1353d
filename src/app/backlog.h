#pragma once

#include <QtGlobal>

namespace app {

// Lets as many connections wait to be accepted as the system allows. Takes the descriptor of a
// socket that listens already.
void raiseBacklog(qintptr descriptor);

} // namespace app
