#pragma once

namespace app {

// Settles what a process inherits from whoever starts it, so that the service behaves the same
// everywhere. Call it first of all, before there are threads or open files.
//
// A write to a reader that has gone, or beyond the size that files may have, fails instead of
// ending the process. Children are waited for. Standard streams that were left closed lead to
// nowhere; else the next file or client would take their numbers and get what is printed. The tool
// inherits none of it but the streams.
void settleInheritedState();

} // namespace app
