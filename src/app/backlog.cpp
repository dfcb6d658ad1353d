#include "app/backlog.h"

#ifdef Q_OS_UNIX
#include <sys/socket.h>
#endif

namespace app {

// Qt listens with a backlog of 50. A larger burst overflows it; the system then drops connection
// requests, and each of those clients waits a full second before it retries. Calling listen() again
// on the same socket only changes the length. If that fails, the shorter backlog remains, which is
// no reason not to serve.
void raiseBacklog([[maybe_unused]] qintptr descriptor)
{
#ifdef Q_OS_UNIX
    (void)::listen(static_cast<int>(descriptor), SOMAXCONN);
#endif
}

} // namespace app
