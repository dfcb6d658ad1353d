#include "http/connection.h"

#include "http/qhttpserver.h"
#include "http/requestparser.h"
#include "tests/support/messagecatcher.h"
#include "tests/support/rawclient.h"
#include "tests/support/testmain.h"

#include <QElapsedTimer>
#include <QJsonObject>
#include <QTcpServer>
#include <QTest>
#include <QThread>

#include <atomic>
#include <iterator>
#include <memory>
#include <new>

namespace {

constexpr int largeSize = 8 * 1024 * 1024;

QByteArray largeBody()
{
    QByteArray body(largeSize, 'x');
    for (int i = 0; i < body.size(); i += 1000) {
        body[i] = static_cast<char>('a' + i % 26);
    }
    return body;
}

// Serves connections with only the HTTP layer, in a separate thread: the test's thread is the
// client.
class Server : public QThread
{
public:
    Server()
    {
        start();
        while (m_port == 0) {
            yieldCurrentThread();
        }
    }

    ~Server() override
    {
        quit();
        wait();
    }

    Server(const Server &) = delete;
    Server &operator=(const Server &) = delete;

    [[nodiscard]] quint16 port() const
    {
        return m_port;
    }

    std::atomic<int> views{0}; // how many requests reached a view
    std::atomic<int> sockets{0}; // how many sockets are open
    std::atomic<int> missing{0}; // how many requests matched no route
    std::atomic<int> thrown{0}; // how many exceptions left the layer

protected:
    void run() override
    {
        QHttpServer http;
        http.route(QStringLiteral("/"), [this] {
            ++views;
            return "hello";
        });
        http.route(QStringLiteral("/echo"), [this](const QHttpServerRequest &request) {
            ++views;
            return QString::fromUtf8(request.body());
        });
        http.route(QStringLiteral("/bytes/<arg>"),
                   QHttpServerRequest::Method::Post,
                   [this](const QString &name) {
                       ++views;
                       return name.toUtf8();
                   });
        http.route(QStringLiteral("/peer"), [](const QHttpServerRequest &request) {
            return request.remoteAddress().toString();
        });
        http.route(QStringLiteral("/large"), [] { return largeBody(); });
        http.route(QStringLiteral("/throw"), []() -> QString { throw std::bad_alloc(); });
        http.route(QStringLiteral("/object"), [] { return QJsonObject{{QStringLiteral("a"), 1}}; });
        QObject::connect(&http, &QAbstractHttpServer::missingHandler, [this] { ++missing; });

        QTcpServer tcp;
        QObject::connect(&tcp, &QTcpServer::newConnection, [&] {
            QTcpSocket *socket = tcp.nextPendingConnection();
            ++sockets;
            QObject::connect(socket, &QTcpSocket::disconnected, [this] { --sockets; });
            http.newHttpConnection(socket);
        });
        tcp.listen(QHostAddress::LocalHost);
        m_port = tcp.serverPort();
        for (bool ended = false; !ended;) {
            try {
                exec();
                ended = true;
            } catch (const std::bad_alloc &) {
                ++thrown;
            }
        }
    }

private:
    std::atomic<quint16> m_port{0};
};

QByteArray request(const QByteArray &target, const QByteArray &more = QByteArray())
{
    return "GET " + target + " HTTP/1.1\r\nHost: a\r\n" + more + "\r\n";
}

} // namespace

class ConnectionTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void initTestCase()
    {
        m_catcher = std::make_unique<MessageCatcher>();
        m_server = std::make_unique<Server>();
    }

    // The debug stream contains only the service's own lines, whatever clients did above. Qt adds
    // its message about an exception.
    void cleanupTestCase()
    {
        QTRY_COMPARE(m_server->sockets.load(), 0);
        m_server.reset();
        QStringList messages = m_catcher->messages();
        for (auto at = messages.begin(); at != messages.end();) {
            const bool ofQt =
                at->startsWith(QLatin1String("Qt has caught an exception thrown from an event"));
            at = ofQt ? messages.erase(at) : std::next(at);
        }
        QCOMPARE(messages, QStringList());
        m_catcher.reset();
    }

    void answersOfEachKindHaveTheirType()
    {
        RawClient client(m_server->port());
        client.send(request("/"));
        auto text = client.takeResponse();
        QVERIFY(text);
        QCOMPARE(text->status(), 200);
        QCOMPARE(text->body, QByteArray("hello"));
        QCOMPARE(text->value("Content-Type"), QByteArray("text/plain; charset=utf-8"));
        QVERIFY(!text->value("Date").isEmpty());
        QCOMPARE(text->value("X-Content-Type-Options"), QByteArray("nosniff"));
        QVERIFY(text->value("Connection").isNull());

        client.send(request("/object"));
        auto object = client.takeResponse();
        QVERIFY(object);
        QCOMPARE(object->value("Content-Type"), QByteArray("application/json"));
        QCOMPARE(object->body, QByteArray("{\"a\":1}"));

        client.send("POST /bytes/abc HTTP/1.1\r\nHost: a\r\nContent-Length: 0\r\n\r\n");
        auto bytes = client.takeResponse();
        QVERIFY(bytes);
        QCOMPARE(bytes->value("Content-Type"), QByteArray("text/plain"));
        QCOMPARE(bytes->body, QByteArray("abc"));
    }

    void whatNoRouteTakesIs404AndTheConnectionGoesOn()
    {
        const int before = m_server->missing;
        RawClient client(m_server->port());
        client.send(request("/nowhere") + request("/bytes/abc") + request("/"));
        for (int i = 0; i < 2; ++i) {
            auto response = client.takeResponse();
            QVERIFY(response);
            QCOMPARE(response->status(), 404);
            QCOMPARE(response->value("Content-Type"), QByteArray("application/x-empty"));
            QCOMPARE(response->value("Content-Length"), QByteArray("0"));
        }
        QCOMPARE(client.takeBody(), QByteArray("hello"));
        QCOMPARE(m_server->missing.load(), before + 2);
    }

    void pipelinedRequestsAreAnsweredInOrder()
    {
        QByteArray bytes;
        QByteArray expected;
        for (int i = 0; i < 500; ++i) {
            const QByteArray body = QByteArray::number(i);
            bytes += "POST /echo HTTP/1.1\r\nHost: a\r\nContent-Length: "
                + QByteArray::number(body.size()) + "\r\n\r\n" + body;
            expected += body;
        }
        RawClient client(m_server->port());
        client.send(bytes);
        QByteArray got;
        for (int i = 0; i < 500; ++i) {
            auto response = client.takeResponse();
            QVERIFY(response);
            got += response->body;
        }
        QCOMPARE(got, expected);
    }

    void bytesThatComeOneByOneMakeOneRequest()
    {
        RawClient client(m_server->port());
        const QByteArray bytes =
            "POST /echo HTTP/1.1\r\nHost: a\r\nTransfer-Encoding: chunked\r\n\r\n"
            "3\r\nabc\r\n0\r\n\r\n";
        client.socket().setSocketOption(QAbstractSocket::LowDelayOption, 1);
        for (const char byte : bytes) {
            client.send(QByteArray(1, byte));
        }
        auto response = client.takeResponse();
        QVERIFY(response);
        QCOMPARE(response->body, QByteArray("abc"));
    }

    void askedToCloseTheAnswerSaysSoAndTheSocketCloses()
    {
        RawClient client(m_server->port());
        client.send(request("/", "Connection: close\r\n"));
        auto response = client.takeResponse();
        QVERIFY(response);
        QCOMPARE(response->value("Connection"), QByteArray("close"));
        QVERIFY(client.waitForClose());
        QVERIFY(client.received().isEmpty());
    }

    void whatComesBehindTheLastRequestIsNotAnswered()
    {
        RawClient client(m_server->port());
        client.send(request("/", "Connection: close\r\n") + request("/echo"));
        QVERIFY(client.takeResponse());
        QVERIFY(client.waitForClose());
        QVERIFY(client.received().isEmpty());
    }

    void http10ClosesUnlessAskedNotTo()
    {
        RawClient closing(m_server->port());
        closing.send("GET / HTTP/1.0\r\n\r\n");
        auto last = closing.takeResponse();
        QVERIFY(last);
        QCOMPARE(last->value("Connection"), QByteArray("close"));
        QVERIFY(closing.waitForClose());

        RawClient keeping(m_server->port());
        for (int i = 0; i < 2; ++i) {
            keeping.send("GET / HTTP/1.0\r\nConnection: keep-alive\r\n\r\n");
            auto response = keeping.takeResponse();
            QVERIFY(response);
            QCOMPARE(response->value("Connection"), QByteArray("keep-alive"));
        }
    }

    void headRunsTheViewAndLeavesTheBodyOut()
    {
        const int before = m_server->views;
        RawClient client(m_server->port());
        client.send("HEAD / HTTP/1.1\r\nHost: a\r\n\r\n" + request("/object"));
        auto head = client.takeResponse(true);
        QVERIFY(head);
        QCOMPARE(head->value("Content-Length"), QByteArray("5"));
        QCOMPARE(client.takeBody(), QByteArray("{\"a\":1}"));
        QCOMPARE(m_server->views.load(), before + 1);
    }

    void aClientThatExpectsToContinueGetsTheInterimResponse()
    {
        RawClient client(m_server->port());
        client.send("POST /echo HTTP/1.1\r\nHost: a\r\nExpect: 100-continue\r\n"
                    "Content-Length: 3\r\n\r\n");
        QCOMPARE(client.take(25), QByteArray("HTTP/1.1 100 Continue\r\n\r\n"));
        client.send("abc");
        auto response = client.takeResponse();
        QVERIFY(response);
        QCOMPARE(response->status(), 200);
        QCOMPARE(response->body, QByteArray("abc"));
    }

    void refusals_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("text");

        QTest::newRow("malformed")
            << QByteArray("nonsense\r\n\r\n") << 400 << QByteArray("Malformed request");
        QTest::newRow("no Host") << QByteArray("GET / HTTP/1.1\r\n\r\n") << 400
                                 << QByteArray("Malformed request");
        QTest::newRow("head too large")
            << "GET / HTTP/1.1\r\nHost: a\r\nX: " + QByteArray(1024 * 1024, 'x') + "\r\n\r\n"
            << 431 << QByteArray("Request head too large");
        QTest::newRow("method") << QByteArray("BREW / HTTP/1.1\r\nHost: a\r\n\r\n") << 501
                                << QByteArray("Method not supported");
        QTest::newRow("coding") << QByteArray(
            "POST / HTTP/1.1\r\nHost: a\r\nTransfer-Encoding: gzip, chunked\r\n\r\n")
                                << 501 << QByteArray("Transfer coding not supported");
        QTest::newRow("version") << QByteArray("GET / HTTP/3.0\r\nHost: a\r\n\r\n") << 505
                                 << QByteArray("HTTP version not supported");
        QTest::newRow("expectation")
            << request("/", "Expect: coffee\r\n") << 417 << QByteArray("Expectation not supported");
        QTest::newRow("length that no byte array holds")
            << QByteArray("POST / HTTP/1.1\r\nHost: a\r\nContent-Length: 4294967296\r\n\r\n") << 413
            << QByteArray("Request body too large");
        QTest::newRow("chunk that no byte array holds")
            << QByteArray("POST / HTTP/1.1\r\nHost: a\r\nTransfer-Encoding: chunked\r\n\r\n"
                          "ffffffff\r\n")
            << 413 << QByteArray("Request body too large");
        QTest::newRow("chunks that together no byte array holds")
            << QByteArray("POST / HTTP/1.1\r\nHost: a\r\nTransfer-Encoding: chunked\r\n\r\n"
                          "3\r\nabc\r\n7fffffff\r\n")
            << 413 << QByteArray("Request body too large");
    }

    void refusals()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(int, status);
        QFETCH(QByteArray, text);

        const int before = m_server->views;
        RawClient client(m_server->port());
        // What is sent afterwards is never executed, and does not keep the response from arriving.
        client.send(bytes + request("/"));
        auto response = client.takeResponse();
        QVERIFY(response);
        QCOMPARE(response->status(), status);
        QCOMPARE(response->body, text);
        QCOMPARE(response->value("Connection"), QByteArray("close"));
        QCOMPARE(response->value("Content-Type"), QByteArray("text/plain; charset=utf-8"));
        QVERIFY(!response->value("Date").isEmpty());
        QCOMPARE(response->value("X-Content-Type-Options"), QByteArray("nosniff"));
        QVERIFY(client.waitForClose());
        QVERIFY(client.received().isEmpty());
        QCOMPARE(m_server->views.load(), before);
    }

    void aRejectedHeadRequestGetsNoBody_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<int>("status");

        const QByteArray host = "Host: a\r\n\r\n";
        QTest::newRow("for its fields") << QByteArray("HEAD / HTTP/1.1\r\n\r\n") << 400;
        QTest::newRow("for a byte in its fields")
            << QByteArray("HEAD / HTTP/1.1\r\nX: \x01\r\n") + host << 400;
        QTest::newRow("for its target") << QByteArray("HEAD x HTTP/1.1\r\n") + host << 400;
        QTest::newRow("for a byte in its target")
            << QByteArray("HEAD /\x01 HTTP/1.1\r\n") + host << 400;
        QTest::newRow("for its version") << QByteArray("HEAD / HTTP/2.0\r\n") + host << 505;
        QTest::newRow("for a version that is none")
            << QByteArray("HEAD / HTTP/x\r\n") + host << 400;
        QTest::newRow("for a version cut short") << QByteArray("HEAD / x\r\n\r\n") << 400;
        QTest::newRow("for the length of its target")
            << "HEAD /" + QByteArray(http::largestHead, 'x') + " HTTP/1.1\r\n" + host << 431;
        QTest::newRow("behind another request")
            << request("/") + "HEAD / HTTP/2.0\r\n" + host << 505;
    }

    void aRejectedHeadRequestGetsNoBody()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(int, status);
        RawClient client(m_server->port());
        client.send(bytes);
        auto response = client.takeResponse(bytes.startsWith("HEAD"));
        QVERIFY(response);
        if (response->status() == 200) {
            response = client.takeResponse(true);
            QVERIFY(response);
        }
        QCOMPARE(response->status(), status);
        QVERIFY(client.waitForClose());
        QVERIFY(client.received().isEmpty());
    }

    void whatFollowsAHeadRequestIsRejectedWithABody()
    {
        RawClient client(m_server->port());
        client.send("HEAD / HTTP/1.1\r\nHost: a\r\n\r\nGET / HTTP/2.0\r\n\r\n");
        auto response = client.takeResponse(true);
        QVERIFY(response);
        QCOMPARE(response->status(), 200);
        response = client.takeResponse();
        QVERIFY(response);
        QCOMPARE(response->status(), 505);
        QVERIFY(!response->body.isEmpty());
    }

    void aRejectionReachesAClientThatIsStillSending()
    {
        RawClient client(m_server->port());
        client.send("POST /echo HTTP/1.1\r\nHost: a\r\nContent-Length: x\r\n\r\n");
        for (int i = 0; i < 64; ++i) {
            client.send(QByteArray(64 * 1024, 'x'));
        }
        auto response = client.takeResponse();
        QVERIFY(response);
        QCOMPARE(response->status(), 400);
    }

    // More input must arrive after the last response, while most of the response still waits for
    // room at the client: closing the socket would destroy it.
    void whatComesAfterTheLastAnswerDoesNotTakeItBack()
    {
        RawClient client(m_server->port());
        client.socket().setReadBufferSize(1);
        const QByteArray body(1024 * 1024, 'x');
        const int views = m_server->views;
        client.send("POST /echo HTTP/1.1\r\nHost: a\r\nConnection: close\r\nContent-Length: "
                    + QByteArray::number(body.size()) + "\r\n\r\n" + body);
        QTRY_COMPARE(m_server->views.load(), views + 1);
        RawClient other(m_server->port()); // there is only one thread, so the response is done now
        other.send(request("/"));
        QVERIFY(other.takeResponse());

        client.send("late");
        other.send(request("/"));
        QVERIFY(other.takeResponse());

        client.socket().setReadBufferSize(0);
        const auto response = client.takeResponse();
        QVERIFY(response);
        QCOMPARE(response->body.size(), body.size());
        QVERIFY(client.waitForClose());
    }

    // The layer does not wait for what the client has already done.
    void aClientThatClosesAfterItsLastAnswerIsLetGoAtOnce()
    {
        QElapsedTimer time;
        time.start();
        for (int i = 0; i < 20; ++i) {
            RawClient client(m_server->port());
            client.send(request("/", "Connection: close\r\n"));
            QVERIFY(client.takeResponse());
            QVERIFY(client.waitForClose());
            QTRY_COMPARE(m_server->sockets.load(), 0);
        }
        QVERIFY(time.elapsed() < http::lingerMs);
    }

    void whatAViewThrowsClosesTheConnectionAndLeavesTheLayer_data()
    {
        QTest::addColumn<bool>("later");
        QTest::newRow("on the first request") << false;
        QTest::newRow("out of the event loop, on a later one") << true;
    }

    void whatAViewThrowsClosesTheConnectionAndLeavesTheLayer()
    {
        QFETCH(bool, later);
        const int before = m_server->thrown;
        RawClient client(m_server->port());
        if (later) {
            client.send(request("/"));
            QVERIFY(client.takeResponse());
        }
        client.send(request("/throw") + request("/"));
        QVERIFY(client.waitForClose());
        QVERIFY(client.received().isEmpty());
        QTRY_COMPARE(m_server->sockets.load(), 0);
        QCOMPARE(m_server->thrown.load(), before + 1);
        RawClient other(m_server->port());
        other.send(request("/"));
        QVERIFY(other.takeResponse());
    }

    void aLargeAnswerComesWhole()
    {
        RawClient client(m_server->port());
        client.send(request("/large") + request("/"));
        auto response = client.takeResponse(false, 20000);
        QVERIFY(response);
        QVERIFY(response->body == largeBody());
        QCOMPARE(client.takeBody(), QByteArray("hello"));
    }

    void aClientThatHalfClosesGetsItsAnswerWhole_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<int>("size");
        QTest::newRow("small") << request("/") << 5;
        QTest::newRow("large") << request("/large") << largeSize;
        QTest::newRow("last of several") << request("/") + request("/large") << 5;
    }

    void aClientThatHalfClosesGetsItsAnswerWhole()
    {
#ifdef Q_OS_WIN
        QSKIP("wine tells a socket that has closed one side of nothing more; windowstest "
              "half-closes");
#endif
        QFETCH(QByteArray, bytes);
        QFETCH(int, size);
        for (int i = 0; i < 10; ++i) {
            RawClient client(m_server->port());
            client.send(bytes);
            client.halfClose();
            auto response = client.takeResponse(false, 20000);
            QVERIFY(response);
            QCOMPARE(response->body.size(), size);
            if (bytes.count("GET") > 1) {
                auto second = client.takeResponse(false, 20000);
                QVERIFY(second);
                QCOMPARE(second->body.size(), largeSize);
            }
            QVERIFY(client.waitForClose());
        }
    }

    void aClientThatVanishesInTheMiddleHarmsNobody()
    {
#ifdef Q_OS_WIN
        QSKIP("under wine, the service never hears of a reset that comes right after a part of a "
              "request");
#endif
        const int views = m_server->views;
        for (const QByteArray &bytes :
             {QByteArray("GET / HT"),
              QByteArray("POST /echo HTTP/1.1\r\nHost: a\r\nContent-Length: 100\r\n\r\nabc"),
              QByteArray(
                  "POST /echo HTTP/1.1\r\nHost: a\r\nTransfer-Encoding: chunked\r\n\r\n5")}) {
            RawClient polite(m_server->port());
            polite.send(bytes);
            polite.halfClose();
            QVERIFY(polite.waitForClose()); // no response to half a request
            QVERIFY(polite.received().isEmpty());

            RawClient rude(m_server->port());
            rude.send(bytes);
            rude.reset();
        }
        RawClient unread(m_server->port());
        unread.send(request("/large"));
        QVERIFY(!unread.take(1).isEmpty());
        unread.reset();
        QTRY_COMPARE(m_server->sockets.load(), 0);
        QCOMPARE(m_server->views.load(), views);
        RawClient other(m_server->port());
        other.send(request("/"));
        QVERIFY(other.takeResponse());
    }

    void theViewSeesThePeer()
    {
        RawClient client(m_server->port());
        client.send(request("/peer"));
        QCOMPARE(client.takeBody(), QByteArray("127.0.0.1"));
    }

private:
    std::unique_ptr<MessageCatcher> m_catcher;
    std::unique_ptr<Server> m_server;
};

VOND_TEST(ConnectionTest);
#include "connectiontest.moc"
