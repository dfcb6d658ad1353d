#include "app/backlog.h"

#include <QHostAddress>
#include <QTcpServer>
#include <QTcpSocket>

#include <winsock2.h>

namespace app {

namespace {

QString lastError()
{
    return qt_error_string(WSAGetLastError());
}

// A duplicate of the socket, which the original owner does not close. INVALID_SOCKET on failure.
SOCKET duplicate(qintptr descriptor)
{
    WSAPROTOCOL_INFOW info = {};
    if (WSADuplicateSocketW(static_cast<SOCKET>(descriptor), GetCurrentProcessId(), &info) != 0) {
        return INVALID_SOCKET;
    }
    return WSASocketW(FROM_PROTOCOL_INFO,
                      FROM_PROTOCOL_INFO,
                      FROM_PROTOCOL_INFO,
                      &info,
                      0,
                      WSA_FLAG_OVERLAPPED | WSA_FLAG_NO_HANDLE_INHERIT);
}

} // namespace

// The length cannot be changed once a socket listens, and the server class supports only one
// length. So the class for clients binds the socket, with the same error texts.
std::optional<QString>
listenWithLongBacklog(QTcpServer *server, const QHostAddress &address, quint16 port)
{
    QTcpSocket bound;
    if (!bound.bind(address, port)) {
        return bound.errorString();
    }
    const SOCKET socket = duplicate(bound.socketDescriptor());
    if (socket == INVALID_SOCKET) {
        return lastError();
    }
    if (::listen(socket, SOMAXCONN) != 0) {
        const QString reason = lastError();
        (void)closesocket(socket);
        return reason;
    }
    if (!server->setSocketDescriptor(static_cast<qintptr>(socket))) {
        (void)closesocket(socket);
        return server->errorString();
    }
    return std::nullopt;
}

} // namespace app
