#pragma once

#include <QtGlobal>

// Whether freed memory can be seen to leave a process. A sanitizer keeps it, to find late uses.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool freedMemoryLeaves = false;
#else
constexpr bool freedMemoryLeaves = true;
#endif

// What a process holds in memory now, in MiB; 0 when there is no such process.
[[nodiscard]] int residentMiB(qint64 processId);
