#include "http/qabstracthttpserver.h"

#include "http/connection.h"

#include <QTcpSocket>

#include <algorithm>

void QAbstractHttpServer::newHttpConnection(QTcpSocket *socket)
{
    http::Connection *connection = nullptr;
    try {
        connection = new http::Connection(this, socket); // child of the server
    } catch (...) {
        socket->abort();
        throw;
    }
    connection->handleSocketReadable();
}

bool QAbstractHttpServer::isLingering() const
{
    const auto connections =
        findChildren<http::Connection *>(QString(), Qt::FindDirectChildrenOnly);
    return std::all_of(connections.cbegin(), connections.cend(), [](const auto *connection) {
        return connection->isLingering();
    });
}
