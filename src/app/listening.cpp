#include "app/listening.h"

#include "app/backlog.h"

#include <QCoreApplication>
#include <QLatin1String>

namespace app {

QHostAddress listenAddress(const QString &host)
{
    // Qt parses addresses only; a name becomes a null address.
    if (host == QLatin1String("localhost")) {
        return QHostAddress::LocalHost;
    }
    return QHostAddress(host);
}

quint16 listenPort(int typed)
{
    // Deliberate: wraps around, so 70000 is 4464 and -1 is 65535. There is no range check.
    return static_cast<quint16>(typed);
}

std::optional<QString> startListening(QTcpServer &server, const QHostAddress &address, quint16 port)
{
    if (address.isNull()) {
        // Qt would open the port on every interface. This is its text for an unavailable address.
        return QStringLiteral("The address is not available");
    }
    return listenWithLongBacklog(&server, address, port);
}

QString announcement(const QHostAddress &address, int typedPort)
{
    // Deliberate: the port as typed, not the one listened on. One arg() for both: the scope of an
    // address ("fe80::1%1") may look like a placeholder.
    return QCoreApplication::translate("QHttpServer",
                                       "Running on http://%1:%2/ (Press CTRL+C to quit)")
        .arg(address.toString(), QString::number(typedPort));
}

} // namespace app
