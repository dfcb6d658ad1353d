#pragma once

#include <QByteArray>

class QTcpSocket;

// What Qt's socket classes do not offer. Everything here runs in the socket's thread.
namespace http {

// Writes head and body and returns when the system has accepted the last byte, or the connection is
// gone. Meanwhile the calling thread blocks, and the socket is not read. A large body is not
// copied.
void writeWhole(QTcpSocket *socket, const QByteArray &head, const QByteArray &body);

// Reads up to `size` bytes, bypassing the socket's buffer, which must be empty; going through it
// would copy them. Returns the number of bytes read; 0 if nothing is available, at end of input, or
// on error.
[[nodiscard]] qint64 receive(QTcpSocket *socket, char *data, qint64 size);

// Closes the sending side; input can still be read.
void shutdownWriting(QTcpSocket *socket);

// Whether input or the end of the connection arrives within the time. Blocks the calling thread.
[[nodiscard]] bool hasInputWithin(QTcpSocket *socket, int timeoutMs);

} // namespace http
