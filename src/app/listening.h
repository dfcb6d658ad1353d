#pragma once

#include <QHostAddress>
#include <QString>
#include <QTcpServer>

#include <optional>

namespace app {

// The address that a host text names. Null when it names none.
[[nodiscard]] QHostAddress listenAddress(const QString &host);

// The port that is listened on for a number typed: its low 16 bits.
[[nodiscard]] quint16 listenPort(int typed);

// Listens. Nothing when that went well, otherwise the words for what went wrong.
[[nodiscard]] std::optional<QString>
startListening(QTcpServer &server, const QHostAddress &address, quint16 port);

// What the log says once we listen, with the port as it was typed.
[[nodiscard]] QString announcement(const QHostAddress &address, int typedPort);

} // namespace app
