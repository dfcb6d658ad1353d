#pragma once

#include <QByteArray>

class QTcpSocket;

// What the socket classes do not offer. Everything here runs in the socket's thread.
namespace http {

// Writes head and body and returns when the system has taken the last byte, or the connection is
// gone. The calling thread blocks meanwhile; the socket is not read. A large body is not copied.
void writeWhole(QTcpSocket *socket, const QByteArray &head, const QByteArray &body);

// Reads up to `size` bytes past the socket's buffer, which must be empty; reading through it would
// copy them. Returns how many; 0 if nothing is available, at end of input, or on error.
[[nodiscard]] qint64 receive(QTcpSocket *socket, char *data, qint64 size);

// Sends the end of the output; input can still be read.
void shutdownWriting(QTcpSocket *socket);

// Whether something can be read within the time, or the end of the connection be noticed. The
// calling thread blocks meanwhile.
[[nodiscard]] bool hasInputWithin(QTcpSocket *socket, int timeoutMs);

} // namespace http
