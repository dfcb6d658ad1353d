#include "tests/support/residentmemory.h"

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
