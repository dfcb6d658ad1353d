#pragma once

namespace app {

// Makes freed memory go back to the system soon, instead of being kept for later requests. Call it
// at start, before there are threads.
void giveFreedMemoryBack();

} // namespace app
