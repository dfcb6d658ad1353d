#pragma once

#include <QObject>

class QHttpServerRequest;
class QTcpSocket;

namespace http {
class Connection;
}

// Speaks HTTP/1.1 and 1.0 on sockets that it is handed, and subclasses produce the responses.
// All of it runs in the thread of the socket.
class QAbstractHttpServer : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    // Takes an open socket over, without owning or deleting it, and answers what already waits on
    // it before it returns. What a view throws leaves it, and std::bad_alloc when a request finds
    // no memory, now or later out of the event loop; the socket is closed by then.
    void newHttpConnection(QTcpSocket *socket);

    // Whether the last answer has been written on each socket that is still open: all that is left
    // is to read on until the client has closed its side, which the server does in the event loop
    // unless the socket is taken from it.
    [[nodiscard]] bool isLingering() const;

Q_SIGNALS:
    // No subclass handled the request. Unless the subclass says that it responds itself, a
    // connected slot must respond on the socket before it returns.
    void missingHandler(const QHttpServerRequest &request, QTcpSocket *socket);

protected:
    // Answers the request on the socket before it returns true; false when it has no answer.
    virtual bool handleRequest(const QHttpServerRequest &request, QTcpSocket *socket) = 0;

private:
    friend class http::Connection;
};
