#include "app/inheritedstate.h"

#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace app {

void settleInheritedState()
{
    (void)std::signal(SIGPIPE, SIG_IGN);
    (void)std::signal(SIGXFSZ, SIG_IGN);
    // If it is ignored, the system reaps children itself and may reuse their process IDs.
    (void)std::signal(SIGCHLD, SIG_DFL);

    int descriptor = 0;
    do {
        descriptor = ::open("/dev/null", O_RDWR); // the lowest free number
    } while (descriptor >= 0 && descriptor <= STDERR_FILENO);
    if (descriptor >= 0) {
        (void)::close(descriptor);
    }
}

} // namespace app
