#pragma once

#include <QtGlobal>

// What every folder may use, and what knows nothing about the service.
namespace base {

// Asks the system to back a large block with huge pages from its next page fault on: one page fault
// per 2 MiB instead of 512. `data` must point into a block from the C library with more than `size`
// bytes after it. Has no effect on smaller blocks, or without huge pages. Any thread.
void preferHugePages(const void *data, qint64 size);

} // namespace base
