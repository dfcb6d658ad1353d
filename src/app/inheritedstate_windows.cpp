#include "app/inheritedstate.h"

#include <windows.h>

namespace app {

// A dialog about a crash, or a missing disk, would wait for somebody to close it, and so would the
// conversion: nobody sits in front of a service. The tool inherits this.
void settleInheritedState()
{
    (void)SetErrorMode(GetErrorMode() | SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
}

} // namespace app
