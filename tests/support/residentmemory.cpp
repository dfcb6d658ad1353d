#include "tests/support/residentmemory.h"

#ifdef Q_OS_WIN
#include <windows.h>
// Behind the one that it needs.
#include <psapi.h>

int residentMiB(qint64 processId)
{
    constexpr SIZE_T mebibyte = 1048576;
    const HANDLE process =
        OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, static_cast<DWORD>(processId));
    PROCESS_MEMORY_COUNTERS counters = {};
    const bool isKnown =
        process != nullptr && GetProcessMemoryInfo(process, &counters, sizeof counters) != 0;
    CloseHandle(process);
    return isKnown ? static_cast<int>(counters.WorkingSetSize / mebibyte) : 0;
}
#else
#include <QFile>

int residentMiB(qint64 processId)
{
    QFile status(QStringLiteral("/proc/%1/status").arg(processId));
    if (!status.open(QIODevice::ReadOnly)) {
        return 0;
    }
    const QList<QByteArray> lines = status.readAll().split('\n');
    for (const QByteArray &line : lines) {
        if (line.startsWith("VmRSS:")) { // "VmRSS:     12345 kB"
            return line.simplified().split(' ').value(1).toInt() / 1024;
        }
    }
    return 0;
}
#endif
