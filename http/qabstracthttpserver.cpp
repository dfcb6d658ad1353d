#include "http/qabstracthttpserver.h"

#include "http/connection.h"

void QAbstractHttpServer::newHttpConnection(QTcpSocket *socket)
{
    auto *connection = new http::Connection(this, socket); // child of the server
    connection->handleReadyRead();
}
