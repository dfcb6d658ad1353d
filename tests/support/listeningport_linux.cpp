#include "tests/support/listeningport.h"

#include <QDir>
#include <QFile>
#include <QSet>

#include <unistd.h>

namespace {

// The sockets that a process holds, as the system numbers them.
QSet<QByteArray> socketsOf(qint64 processId)
{
    QSet<QByteArray> sockets;
    const QDir descriptors(QStringLiteral("/proc/%1/fd").arg(processId));
    const QStringList names = descriptors.entryList(QDir::Files | QDir::System);
    for (const QString &name : names) {
        // Read as it stands: "socket:[12345]" is no file that a link could lead to.
        QByteArray target(64, '\0');
        const ssize_t length = ::readlink(QFile::encodeName(descriptors.filePath(name)).constData(),
                                          target.data(),
                                          static_cast<size_t>(target.size()));
        target.truncate(static_cast<int>(qMax<ssize_t>(length, 0)));
        if (target.startsWith("socket:[")) {
            sockets.insert(target.mid(8).chopped(1));
        }
    }
    return sockets;
}

// The port in one of the system's tables that one of the sockets listens on, or 0.
quint16 listeningPort(const QString &table, const QSet<QByteArray> &sockets)
{
    QFile file(table);
    if (!file.open(QIODevice::ReadOnly)) {
        return 0; // no IPv6 here, or the process is gone
    }
    const QList<QByteArray> lines = file.readAll().split('\n');
    for (const QByteArray &line : lines) {
        // sl, local address:port, remote address:port, state, ... the tenth is the socket's number
        const QList<QByteArray> fields = line.simplified().split(' ');
        const bool listens = fields.size() > 9 && fields.at(3) == "0A";
        if (listens && sockets.contains(fields.at(9))) {
            return fields.at(1).split(':').at(1).toUShort(nullptr, 16);
        }
    }
    return 0;
}

} // namespace

quint16 listeningPort(qint64 processId)
{
    const QSet<QByteArray> sockets = socketsOf(processId);
    const QString tables = QStringLiteral("/proc/%1/net/").arg(processId);
    const quint16 port = listeningPort(tables + QStringLiteral("tcp"), sockets);
    return port != 0 ? port : listeningPort(tables + QStringLiteral("tcp6"), sockets);
}
