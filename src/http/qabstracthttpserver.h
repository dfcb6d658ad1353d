#pragma once

#include <QObject>

class QHttpServerRequest;
class QTcpSocket;

namespace http {
class Connection;
}

// Speaks HTTP/1.1 and 1.0 on sockets handed to it; subclasses produce the responses. Everything
// runs in the socket's thread.
class QAbstractHttpServer : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    // Starts serving an open socket, without owning or deleting it, and answers what has already
    // arrived on it before returning. Exceptions from views propagate, as does std::bad_alloc when
    // there is no memory for a request, from here or later from the event loop; by then the socket
    // is closed.
    void newHttpConnection(QTcpSocket *socket);

    // Whether the last response has been written on every socket that is still open: all that
    // remains is to read until the client closes its side, which the server does in the event loop
    // unless the socket is taken from it.
    [[nodiscard]] bool isLingering() const;

Q_SIGNALS:
    // No subclass handled the request. Unless the subclass says that it responds itself, a
    // connected slot must respond on the socket before it returns.
    void missingHandler(const QHttpServerRequest &request, QTcpSocket *socket);

protected:
    // Answers the request on the socket and returns true, or returns false without answering.
    virtual bool handleRequest(const QHttpServerRequest &request, QTcpSocket *socket) = 0;

private:
    friend class http::Connection;
};
