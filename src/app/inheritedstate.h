#pragma once

namespace app {

// Resets what the process inherits from whoever starts it, so that the service behaves the same
// everywhere. Call it first, before there are threads or open files.
//
// On Unix, a write to a closed pipe, or beyond the file size limit, fails instead of ending the
// process. Children can be waited for. Standard streams that were closed are opened on /dev/null;
// otherwise the next file or client would get their numbers and receive what is printed. The tool
// inherits only the streams. On Windows, neither the service nor the tool shows a window when it
// crashes.
void settleInheritedState();

} // namespace app
