#pragma once

#include <QtGlobal>

// What every folder may use and that knows nothing of the service.
namespace base {

// Asks the system to back a large block with huge pages, from its next page fault on: a page fault
// for each 2 MiB instead of 512. `data` lies in a block of the C library that holds more than
// `size` bytes behind it; smaller blocks, and systems without huge pages, stay as they are. Any
// thread.
void preferHugePages(const void *data, qint64 size);

} // namespace base
