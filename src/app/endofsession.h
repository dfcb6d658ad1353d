#pragma once

#include <QtGlobal>

namespace app {

// Lets the process end when Windows asks it to: at the end of the session, or when somebody closes
// it from outside. It ends at once, as with a signal elsewhere. Call it in the thread of the event
// loop, which has to run.
#ifdef Q_OS_WIN
void endWithTheSession();
#else
inline void endWithTheSession() { }
#endif

} // namespace app
