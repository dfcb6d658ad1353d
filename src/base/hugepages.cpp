#include "base/hugepages.h"

#ifdef Q_OS_LINUX
#include <sys/mman.h>
#endif

namespace base {

void preferHugePages(const void *data, qint64 size)
{
#ifdef Q_OS_LINUX
    constexpr quintptr pageBytes = 4096;
    constexpr qint64 leastBytes = qint64(4) * 1024 * 1024; // two huge pages
    if (size < leastBytes) {
        return;
    }
    // Whole pages, including the one with the block's header: a block of this size has its own
    // mapping, and a split mapping could not grow in place (mremap(2)).
    const auto begin = reinterpret_cast<quintptr>(data) / pageBytes * pageBytes;
    const auto end = (reinterpret_cast<quintptr>(data) + static_cast<quintptr>(size) + pageBytes)
        / pageBytes * pageBytes;
    // Fails where there are none; then the pages stay small.
    (void)::madvise(reinterpret_cast<void *>(begin), end - begin, MADV_HUGEPAGE); // NOLINT: a block
#else
    Q_UNUSED(data)
    Q_UNUSED(size)
#endif
}

} // namespace base
