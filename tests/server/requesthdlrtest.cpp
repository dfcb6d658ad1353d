#include "http/qhttpserver.h"
#include "tests/server/connectionprobe.h"
#include "tests/support/messagecatcher.h"
#include "tests/support/ownfolders.h"
#include "tests/support/rawclient.h"
#include "tests/support/testmain.h"

#include <QHostAddress>
#include <QTcpServer>
#include <QTest>

#include <memory>

namespace {

QByteArray get(const QByteArray &target)
{
    return "GET " + target + " HTTP/1.1\r\nHost: a\r\n\r\n";
}

// A client, the accepted socket of its connection, and a handler for it, all in one thread.
struct HandledConnection
{
    HandledConnection()
    {
        listener.listen(QHostAddress::LocalHost);
        client = std::make_unique<RawClient>(listener.serverPort());
        listener.waitForNewConnection(5000);
        socket = listener.nextPendingConnection();
        handler = std::make_unique<RequestHdlr>(socket, &registry, QString());
    }

    QTcpServer listener;
    std::unique_ptr<RawClient> client;
    QTcpSocket *socket = nullptr;
    jobs::Registry registry;
    std::unique_ptr<RequestHdlr> handler;
};

} // namespace

class RequestHdlrTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void initTestCase()
    {
        useOwnSettings();
    }

    void theOkAnswerIsItsNinetyFiveBytesAndLeavesTheSocketOpen()
    {
        HandledConnection connection;
        QVERIFY(QMetaObject::invokeMethod(connection.handler.get(),
                                          "sendServerOkAnswer",
                                          Qt::DirectConnection,
                                          Q_ARG(QTcpSocket *, connection.socket)));
        QCOMPARE(connection.socket->bytesToWrite(), 0); // flushed
        const QByteArray expected = "HTTP/1.1 200 OK\r\n"
                                    "Content-Length: 12\r\n"
                                    "Connection: close\r\n"
                                    "Content-Type: text/html\r\n"
                                    "\r\n"
                                    "Hello world!";
        QCOMPARE(expected.size(), 95);
        QCOMPARE(connection.client->take(95), expected);
        QCOMPARE(connection.socket->state(), QAbstractSocket::ConnectedState);

        // Open in both directions, and nothing followed the response.
        connection.client->send("x");
        QTRY_COMPARE(connection.socket->bytesAvailable(), 1);
        QVERIFY(connection.client->received().isEmpty());
    }

    void theFirstBytesHandTheSocketOverOnce()
    {
        const MessageCatcher messages;
        HandledConnection connection;
        connect(connection.socket,
                SIGNAL(readyRead()),
                connection.handler.get(),
                SLOT(handleReadyRead()),
                Qt::DirectConnection);
        const QByteArray request = get("/");
        connection.client->send(request.left(3));
        QTRY_COMPARE(messages.messages().size(), 2);
        QCOMPARE(messages.messages().at(0),
                 QStringLiteral("handling request from client: QHostAddress(\"127.0.0.1\")"));
        QCOMPARE(messages.messages().at(1),
                 QStringLiteral("descr: %1").arg(connection.socket->socketDescriptor()));
        const QHttpServer *const routeServer =
            ConnectionProbe::routeServer(connection.handler.get());

        connection.client->send(request.mid(3));
        QVERIFY(connection.client->takeResponse());
        connection.client->send(get("/vondServerVersion") + get("/text"));
        QVERIFY(connection.client->takeResponse());
        QVERIFY(connection.client->takeResponse());

        // Neither the rest of the request nor later ones went through the handler again.
        QCOMPARE(messages.messages().size(), 2);
        QCOMPARE(ConnectionProbe::routeServer(connection.handler.get()), routeServer);
        QVERIFY(!disconnect(connection.socket,
                            SIGNAL(readyRead()),
                            connection.handler.get(),
                            SLOT(handleReadyRead())));
        QVERIFY(routeServer->parent() == nullptr);
        delete routeServer;
    }

    void twoConnectionsHaveTwoServersWithTheSameTable()
    {
        HandledConnection first;
        HandledConnection second;
        for (HandledConnection *connection : {&first, &second}) {
            connection->client->send(get("/progressInf/abc") + get("/nothing/here"));
            QVERIFY(connection->socket->waitForReadyRead(5000));
            QVERIFY(QMetaObject::invokeMethod(connection->handler.get(), "handleReadyRead"));
            QCOMPARE(connection->client->takeBody(), QByteArray("/progressInf: abc"));
            const auto response = connection->client->takeResponse();
            QVERIFY(response);
            QCOMPARE(response->status(), 404);
        }
        QHttpServer *const one = ConnectionProbe::routeServer(first.handler.get());
        QHttpServer *const other = ConnectionProbe::routeServer(second.handler.get());
        QVERIFY(one != other);
        delete one;
        delete other;
    }
};

VOND_TEST(RequestHdlrTest);
#include "requesthdlrtest.moc"
