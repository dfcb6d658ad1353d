#include "http/wire.h"

#include <QTcpSocket>

#ifdef Q_OS_WIN
#include <winsock2.h>
#else
#include <cerrno>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#endif

namespace http {
namespace {

// Up to here head and body go out as one piece; above, copying costs more than a second call.
constexpr int largestCopiedBody = 64 * 1024;

// Waits for room in the system's send buffer, or for the end of the connection.
void waitForRoom(QTcpSocket *socket)
{
#ifdef Q_OS_WIN
    WSAPOLLFD descriptor = {static_cast<SOCKET>(socket->socketDescriptor()), POLLOUT, 0};
    (void)WSAPoll(&descriptor, 1, -1); // the next write tells what came of it
#else
    pollfd descriptor = {static_cast<int>(socket->socketDescriptor()), POLLOUT, 0};
    (void)::poll(&descriptor, 1, -1); // the next write tells what came of it
#endif
}

// Writes out what stands in the socket's buffer. Not left to the event loop: there the socket would
// also be read, and the end of a client's input (which may half-close once it has asked) is taken
// for the end of the connection, with what is unsent thrown away.
void drain(QTcpSocket *socket)
{
    socket->flush();
    while (socket->state() == QAbstractSocket::ConnectedState && socket->bytesToWrite() > 0) {
        waitForRoom(socket);
        socket->flush();
    }
}

enum class Sending
{
    Some, // so many bytes were taken
    NoRoom,
    Failed, // the client has gone
};

// Hands bytes to the system, past the socket's buffer, which must be empty: it would copy them.
Sending sendSome(QTcpSocket *socket, const char *data, int size, int *taken)
{
#ifdef Q_OS_WIN
    *taken = ::send(static_cast<SOCKET>(socket->socketDescriptor()), data, size, 0);
    if (*taken < 0) {
        return WSAGetLastError() == WSAEWOULDBLOCK ? Sending::NoRoom : Sending::Failed;
    }
#else
    const ssize_t result = ::send(static_cast<int>(socket->socketDescriptor()),
                                  data,
                                  static_cast<std::size_t>(size),
                                  MSG_NOSIGNAL);
    if (result < 0) {
        const bool later = errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
        return later ? Sending::NoRoom : Sending::Failed;
    }
    *taken = static_cast<int>(result);
#endif
    return Sending::Some;
}

void sendLarge(QTcpSocket *socket, const QByteArray &body)
{
    int done = 0;
    while (done < body.size() && socket->state() == QAbstractSocket::ConnectedState) {
        int taken = 0;
        switch (sendSome(socket, body.constData() + done, body.size() - done, &taken)) {
        case Sending::Some:
            done += taken;
            break;
        case Sending::NoRoom:
            waitForRoom(socket);
            break;
        case Sending::Failed:
            socket->abort();
            break;
        }
    }
}

} // namespace

void writeWhole(QTcpSocket *socket, const QByteArray &head, const QByteArray &body)
{
    if (body.size() <= largestCopiedBody) {
        socket->write(head + body);
        drain(socket);
    } else {
        socket->write(head);
        drain(socket);
        sendLarge(socket, body);
    }
}

void shutdownWriting(QTcpSocket *socket)
{
#ifdef Q_OS_WIN
    (void)::shutdown(static_cast<SOCKET>(socket->socketDescriptor()), SD_SEND);
#else
    (void)::shutdown(static_cast<int>(socket->socketDescriptor()), SHUT_WR);
#endif
}

bool hasUnreadBytes(QTcpSocket *socket)
{
    if (socket->bytesAvailable() > 0) {
        return true;
    }
#ifdef Q_OS_WIN
    u_long waiting = 0;
    return ::ioctlsocket(static_cast<SOCKET>(socket->socketDescriptor()), FIONREAD, &waiting) == 0
        && waiting > 0;
#else
    int waiting = 0;
    return ::ioctl(static_cast<int>(socket->socketDescriptor()), FIONREAD, &waiting) == 0
        && waiting > 0;
#endif
}

} // namespace http
