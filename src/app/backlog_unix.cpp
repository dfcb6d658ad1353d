#include "app/backlog.h"

#include <QHostAddress>
#include <QTcpServer>

#include <sys/socket.h>

namespace app {

std::optional<QString>
listenWithLongBacklog(QTcpServer *server, const QHostAddress &address, quint16 port)
{
    if (!server->listen(address, port)) {
        return server->errorString();
    }
    // Calling listen() again on the same socket only changes the length. If that fails, the shorter
    // backlog remains, which is no reason not to serve.
    (void)::listen(static_cast<int>(server->socketDescriptor()), SOMAXCONN);
    return std::nullopt;
}

} // namespace app
