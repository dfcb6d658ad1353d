#pragma once

namespace base {

// Throws std::bad_alloc unless the calling thread's heap has room for what opening the settings, or
// setting up a connection, takes. For just before that: where memory is refused in the middle of
// it, Qt ends the process or leaves a lock behind. It is no promise, as another thread that shares
// the heap may be quicker. Any thread.
void ensureRoom();

} // namespace base
