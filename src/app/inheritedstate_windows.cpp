#include "app/inheritedstate.h"

#include <windows.h>

namespace app {

// A window that tells of a crash, or of a missing disk, would wait for somebody to close it, and
// the conversion with it: nobody sits before a service. The tool inherits this.
void settleInheritedState()
{
    (void)SetErrorMode(GetErrorMode() | SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
}

} // namespace app
