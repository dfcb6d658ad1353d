#include "app/freedmemory.h"

#include <QtGlobal> // brings the C library's own macros along

#ifdef __GLIBC__
#include <QThread>

#include <algorithm>
#include <malloc.h>
#endif

namespace app {

void giveFreedMemoryBack()
{
#ifdef __GLIBC__
    // Blocks from this size on are mapped one by one and leave the process when they are freed.
    // Setting the size keeps the library from raising it, to 32 MiB in the end, as it sees large
    // blocks freed: bodies would then lie in the heaps of their threads, which hold on to
    // hundreds of megabytes after a burst of large requests.
    constexpr int ownMappingBytes = 128 * 1024;
    (void)mallopt(M_MMAP_THRESHOLD, ownMappingBytes); // a sanitizer's allocator has no such option
    // Of its own accord the library makes eight heaps for each core. Where memory is short, the
    // next thread then finds none for another heap although the others have room.
    constexpr int leastHeaps = 2;
    (void)mallopt(M_ARENA_MAX, std::max(QThread::idealThreadCount(), leastHeaps));
#endif
}

} // namespace app
