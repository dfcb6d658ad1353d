#pragma once

#include <QString>
#include <QtGlobal>

#include <optional>

class QHostAddress;
class QTcpServer;

namespace app {

// Listens, and lets as many connections wait to be accepted as the system allows. Returns why that
// failed, or nothing.
//
// Qt listens with a backlog of 50. A larger burst overflows it; the system then drops connection
// requests, and each of those clients waits a full second before it retries.
[[nodiscard]] std::optional<QString>
listenWithLongBacklog(QTcpServer *server, const QHostAddress &address, quint16 port);

} // namespace app
