#pragma once

namespace app {

// Makes the C library return freed memory to the system instead of keeping it for later requests.
// Call it at start, before there are threads.
void returnFreedMemory();

} // namespace app
