#include "app/backlog.h"

#ifdef Q_OS_UNIX
#include <sys/socket.h>
#endif

namespace app {

// Qt listens with a backlog of 50. A burst of more connections than that overflows it; the system
// then drops what comes, and each of those clients waits a full second before it tries again.
// Listening once more on the same socket only changes the length. Should that ever fail, the
// shorter backlog stays, which is no reason not to serve.
void raiseBacklog([[maybe_unused]] qintptr descriptor)
{
#ifdef Q_OS_UNIX
    (void)::listen(static_cast<int>(descriptor), SOMAXCONN);
#endif
}

} // namespace app
