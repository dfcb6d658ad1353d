// A server on Qt 6's HTTP server as in its own documentation: routes on one event loop.
#include <QCoreApplication>
#include <QHostAddress>
#include <QHttpServer>

#include <cstdlib>

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    QHttpServer server;
    server.route(QStringLiteral("/"), [] { return "vondServer: Hello world"; });
    const quint16 port = QCoreApplication::arguments().value(1).toUShort();
    if (server.listen(QHostAddress::LocalHost, port) == 0) {
        return EXIT_FAILURE;
    }
    return QCoreApplication::exec();
}
