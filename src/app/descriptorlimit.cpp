#include "app/descriptorlimit.h"

#include <algorithm>

#ifdef Q_OS_UNIX
#include <sys/resource.h>
#endif

namespace app {

quint64 raisedDescriptorLimit(quint64 soft, quint64 hard)
{
    return std::min(std::max(soft, mostDescriptors), hard);
}

// A connection takes two descriptors, its socket and its thread's wake-up descriptor. Some 500
// clients reach the usual soft limit of 1024, and Qt ends the whole process when it cannot create a
// thread's wake-up descriptor. The soft limit is that low for programs that use select(), which Qt
// does not. The tool inherits the raised limit. If raising fails, the limit stays and fewer clients
// fit.
void raiseDescriptorLimit()
{
#ifdef Q_OS_UNIX
    rlimit limit = {};
    if (::getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        limit.rlim_cur = raisedDescriptorLimit(limit.rlim_cur, limit.rlim_max);
        (void)::setrlimit(RLIMIT_NOFILE, &limit);
    }
#endif
}

} // namespace app
