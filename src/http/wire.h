#pragma once

#include <QByteArray>

class QTcpSocket;

// What the socket classes do not offer. Everything here runs in the socket's thread.
namespace http {

// Writes head and body and returns when the system has taken the last byte, or the connection is
// gone. The calling thread blocks meanwhile; the socket is not read. A large body is not copied.
void writeWhole(QTcpSocket *socket, const QByteArray &head, const QByteArray &body);

// Takes up to `size` bytes that have come in, past the socket's buffer, which must be empty: it
// would copy them. Returns how many; 0 when there are none now, or no more will come, or an error
// tells so.
[[nodiscard]] qint64 receive(QTcpSocket *socket, char *data, qint64 size);

// Tells the client that no more will come; its bytes can still be read.
void shutdownWriting(QTcpSocket *socket);

// Whether the client ends the connection within the time. What it sends until then is thrown away.
// The calling thread blocks meanwhile.
[[nodiscard]] bool endsWithin(QTcpSocket *socket, int timeoutMs);

} // namespace http
