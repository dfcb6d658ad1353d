#pragma once

namespace base {

// Throws std::bad_alloc unless the calling thread's heap has room for opening the settings, or
// setting up a connection. Call it just before those: if memory runs out in the middle of them, Qt
// ends the process or leaves a lock behind. It is no guarantee, because another thread that shares
// the heap may take the memory first. Any thread.
void ensureRoom();

} // namespace base
