#pragma once

#include <QtGlobal>

// Whether a process visibly returns freed memory. A sanitizer keeps it, to find uses after free.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool freedMemoryLeaves = false;
#else
constexpr bool freedMemoryLeaves = true;
#endif

// The resident memory of a process, in MiB; 0 when there is no such process.
[[nodiscard]] int residentMiB(qint64 processId);
