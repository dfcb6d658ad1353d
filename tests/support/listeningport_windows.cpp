#include "tests/support/listeningport.h"

#include <QtEndian>

#include <vector>
#include <winsock2.h>
// Behind the one that it needs.
#include <iphlpapi.h>

quint16 listeningPort(qint64 processId)
{
    constexpr DWORD enough = 1048576;
    std::vector<char> table(enough);
    DWORD size = enough;
    if (GetExtendedTcpTable(table.data(), &size, FALSE, AF_INET, TCP_TABLE_OWNER_PID_LISTENER, 0)
        != NO_ERROR) {
        return 0;
    }
    const auto *const rows = reinterpret_cast<const MIB_TCPTABLE_OWNER_PID *>(table.data());
    for (DWORD i = 0; i < rows->dwNumEntries; ++i) {
        if (rows->table[i].dwOwningPid == static_cast<DWORD>(processId)) {
            return qFromBigEndian(static_cast<quint16>(rows->table[i].dwLocalPort));
        }
    }
    return 0;
}
