#pragma once

#include <QHostAddress>
#include <QString>
#include <QTcpServer>

#include <optional>

namespace app {

// The address for a host text. Null when it is not an address.
[[nodiscard]] QHostAddress listenAddress(const QString &host);

// The port to listen on for a typed number: its low 16 bits.
[[nodiscard]] quint16 listenPort(int typed);

// Starts listening. Returns nothing on success, otherwise the error text.
[[nodiscard]] std::optional<QString>
startListening(QTcpServer &server, const QHostAddress &address, quint16 port);

// The log line for a server that listens, with the port as typed.
[[nodiscard]] QString announcement(const QHostAddress &address, int typedPort);

} // namespace app
