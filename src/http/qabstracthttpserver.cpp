#include "http/qabstracthttpserver.h"

#include "http/connection.h"

#include <QTcpSocket>

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
