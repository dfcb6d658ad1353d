#include "app/freedmemory.h"

#include <QtGlobal> // defines the C library's macros

#ifdef __GLIBC__
#include <QThread>

#include <algorithm>
#include <malloc.h>
#endif

namespace app {

void returnFreedMemory()
{
#ifdef __GLIBC__
    // Blocks of at least this size are mapped individually and returned when they are freed.
    // Setting the threshold keeps the library from raising it, up to 32 MiB, as large blocks are
    // freed: bodies would then be allocated in per-thread heaps, which keep hundreds of megabytes
    // after a burst of large requests.
    constexpr int ownMappingBytes = 128 * 1024;
    (void)mallopt(M_MMAP_THRESHOLD, ownMappingBytes); // a sanitizer's allocator has no such option
    // By default the library creates up to eight heaps per core. When memory is short, a new thread
    // may then fail to get another heap although the others have room.
    constexpr int leastHeaps = 2;
    (void)mallopt(M_ARENA_MAX, std::max(QThread::idealThreadCount(), leastHeaps));
#endif
}

} // namespace app
