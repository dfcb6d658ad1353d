#include "http/socketio.h"

#include <QTcpSocket>

#include <algorithm>
#include <array>
#include <limits>

#ifdef Q_OS_WIN
#include <winsock2.h>
#else
#include <cerrno>
#include <poll.h>
#include <sys/socket.h>
#include <sys/uio.h>
#endif

namespace http {
namespace {

constexpr int withoutLimit = -1;

// Waits until there is room in the system's send buffer, something to receive, or the connection
// has ended. The next call on the socket shows which. False on timeout.
bool waitFor(short events, QTcpSocket *socket, int timeoutMs)
{
#ifdef Q_OS_WIN
    WSAPOLLFD descriptor = {static_cast<SOCKET>(socket->socketDescriptor()), events, 0};
    return WSAPoll(&descriptor, 1, timeoutMs) > 0;
#else
    pollfd descriptor = {static_cast<int>(socket->socketDescriptor()), events, 0};
    return ::poll(&descriptor, 1, timeoutMs) > 0;
#endif
}

// Bytes that are consecutive on the wire but not in memory.
struct Pieces
{
    const QByteArray &first;
    const QByteArray &second;

    [[nodiscard]] qint64 size() const
    {
        return qint64(first.size()) + second.size();
    }
};

// Whether the call that has just failed is worth repeating.
bool isForLater()
{
#ifdef Q_OS_WIN
    return WSAGetLastError() == WSAEWOULDBLOCK;
#else
    return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
#endif
}

// The number of bytes received; 0 at end of input; negative on error, with the system's error code
// set.
qint64 receiveSome(QTcpSocket *socket, char *data, qint64 size)
{
    constexpr qint64 most = std::numeric_limits<int>::max(); // that one call accepts on Windows
    const int wanted = static_cast<int>(std::min(size, most));
#ifdef Q_OS_WIN
    return ::recv(static_cast<SOCKET>(socket->socketDescriptor()), data, wanted, 0);
#else
    return ::recv(static_cast<int>(socket->socketDescriptor()),
                  data,
                  static_cast<std::size_t>(wanted),
                  MSG_DONTWAIT);
#endif
}

enum class Sending
{
    Some, // `*taken` bytes were accepted
    NoRoom,
    Failed, // the client has gone
};

// Passes the bytes from `done` onwards to the system.
Sending sendSome(QTcpSocket *socket, const Pieces &pieces, qint64 done, qint64 *taken)
{
    const qint64 ofFirst = std::min(done, qint64(pieces.first.size()));
    const qint64 ofSecond = done - ofFirst;
#ifdef Q_OS_WIN
    constexpr qint64 most = 1048576; // the system may take what it is given, whatever the size
    std::array<WSABUF, 2> parts = {
        {{static_cast<ULONG>(pieces.first.size() - ofFirst),
          const_cast<char *>(pieces.first.constData()) + ofFirst}, // NOLINT: only read
         {static_cast<ULONG>(std::min(pieces.second.size() - ofSecond, most)),
          const_cast<char *>(pieces.second.constData()) + ofSecond}}}; // NOLINT: only read
    DWORD count = 0;
    if (WSASend(static_cast<SOCKET>(socket->socketDescriptor()),
                parts.data(),
                static_cast<DWORD>(parts.size()),
                &count,
                0,
                nullptr,
                nullptr)
        != 0) {
        return isForLater() ? Sending::NoRoom : Sending::Failed;
    }
    *taken = count;
#else
    std::array<iovec, 2> parts = {
        {{const_cast<char *>(pieces.first.constData()) + ofFirst, // NOLINT: only read
          static_cast<std::size_t>(pieces.first.size() - ofFirst)},
         {const_cast<char *>(pieces.second.constData()) + ofSecond, // NOLINT: only read
          static_cast<std::size_t>(pieces.second.size() - ofSecond)}}};
    msghdr message = {};
    message.msg_iov = parts.data();
    message.msg_iovlen = parts.size();
    const ssize_t count =
        ::sendmsg(static_cast<int>(socket->socketDescriptor()), &message, MSG_NOSIGNAL);
    if (count < 0) {
        return isForLater() ? Sending::NoRoom : Sending::Failed;
    }
    *taken = count;
#endif
    return Sending::Some;
}

} // namespace

// Bypasses the socket's buffer, which would copy the bytes and stay allocated until the connection
// ends.
//
// Does not leave writing to the event loop: that would also read the socket and take the end of the
// input (a client may half-close after its request) for the end of the connection, discarding what
// is unsent.
void writeWhole(QTcpSocket *socket, const QByteArray &head, const QByteArray &body)
{
    const Pieces pieces{head, body};
    qint64 done = 0;
    while (done < pieces.size() && socket->state() == QAbstractSocket::ConnectedState) {
        qint64 taken = 0;
        switch (sendSome(socket, pieces, done, &taken)) {
        case Sending::Some:
            done += taken;
            break;
        case Sending::NoRoom:
            (void)waitFor(POLLOUT, socket, withoutLimit);
            break;
        case Sending::Failed:
            socket->abort();
            break;
        }
    }
}

qint64 receive(QTcpSocket *socket, char *data, qint64 size)
{
    return std::max(receiveSome(socket, data, size), qint64(0));
}

bool hasInputWithin(QTcpSocket *socket, int timeoutMs)
{
    return waitFor(POLLIN, socket, timeoutMs);
}

void shutdownWriting(QTcpSocket *socket)
{
#ifdef Q_OS_WIN
    (void)::shutdown(static_cast<SOCKET>(socket->socketDescriptor()), SD_SEND);
#else
    (void)::shutdown(static_cast<int>(socket->socketDescriptor()), SHUT_WR);
#endif
}

} // namespace http
