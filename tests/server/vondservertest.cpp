#include "http/qhttpserver.h"
#include "tests/server/connectionprobe.h"
#include "tests/support/faketool.h"
#include "tests/support/messagecatcher.h"
#include "tests/support/outputcatcher.h"
#include "tests/support/ownfolders.h"
#include "tests/support/rawclient.h"
#include "tests/support/residentmemory.h"
#include "tests/support/testmain.h"

#include <QDir>
#include <QHostAddress>
#include <QPointer>
#include <QSignalSpy>
#include <QTest>

#include <atomic>
#include <memory>
#include <new>

namespace {

constexpr int noDescriptor = -1;

QByteArray get(const QByteArray &target)
{
    return "GET " + target + " HTTP/1.1\r\nHost: a\r\n\r\n";
}

// A server to which a test can pass accepted descriptors.
class OpenServer : public VondServer
{
public:
    using VondServer::incomingConnection;
    using VondServer::VondServer;
};

} // namespace

// Looks at a connection in its own thread, as the last thing that happens there. Made before the
// connection: the thread sanitizer does not see the locks within Qt.
class LastLook : public QObject
{
    Q_OBJECT

public:
    void watch(const QThread *connection)
    {
        connect(connection, SIGNAL(finished()), this, SLOT(look()), Qt::DirectConnection);
    }

    // To be asked first: the rest is set by then.
    [[nodiscard]] bool isOver() const
    {
        return m_isOver;
    }

    bool socketIsReset = false; // a closed one has no buffers
    bool routesAreGone = false;

public Q_SLOTS:

    void look()
    {
        const RequestHdlr *const handler =
            ConnectionProbe::handler(static_cast<VondRequestThread *>(QThread::currentThread()));
        const QTcpSocket *const socket = ConnectionProbe::socket(handler);
        socketIsReset = !socket->isOpen() && socket->errorString() == QTcpSocket().errorString();
        QHttpServer *const routeServer = ConnectionProbe::routeServer(handler);
        routesAreGone = routeServer != nullptr && routeServer->router()->isEmpty();
        m_isOver = true;
    }

private:
    std::atomic<bool> m_isOver{false};
};

// What holds on every system; vondserverlinuxtest has the rest.
class VondServerTest : public QObject
{
    Q_OBJECT

private:
    QList<VondRequestThread *> threads() const
    {
        return m_server->findChildren<VondRequestThread *>();
    }

private Q_SLOTS:

    void initTestCase()
    {
        useOwnSettings();
    }

    void init()
    {
        m_server = std::make_unique<OpenServer>(QStringLiteral("/no/such/tool"));
        QVERIFY(m_server->listen(QHostAddress::LocalHost));
    }

    void cleanup()
    {
        QTRY_VERIFY(threads().isEmpty()); // a thread must not outlive its parent
        m_server.reset();
    }

    void everyConnectionHasAThreadThatBelongsToTheServer()
    {
        RawClient first(m_server->serverPort());
        RawClient second(m_server->serverPort());
        QTRY_COMPARE(threads().size(), 2);
        for (const VondRequestThread *thread : threads()) {
            QCOMPARE(thread->parent(), m_server.get());
            QCOMPARE(thread->thread(), QThread::currentThread());
            QVERIFY(thread->isRunning());
        }
    }

    void newConnectionIsNeverAnnounced()
    {
        const QSignalSpy announced(m_server.get(), SIGNAL(newConnection()));
        RawClient client(m_server->serverPort());
        client.send(get("/"));
        QVERIFY(client.takeResponse());
        QCOMPARE(announced.size(), 0);
        QVERIFY(!m_server->hasPendingConnections());
        QVERIFY(m_server->nextPendingConnection() == nullptr);
    }

    void aSlowRequestDelaysNobodyElse()
    {
        RawClient slow(m_server->serverPort());
        slow.send(get("/sleep2secs"));
        for (int i = 0; i < 5; ++i) {
            RawClient other(m_server->serverPort());
            other.send(get("/"));
            QVERIFY(other.takeResponse());
        }
        QVERIFY(slow.received().isEmpty());
        QCOMPARE(slow.takeBody(), QByteArray("Hello world, slept 2secs"));
    }

    void afterADisconnectTheThreadObjectIsGoneAndSocketAndHandlerLiveOn()
    {
        auto client = std::make_unique<RawClient>(m_server->serverPort());
        client->send(get("/"));
        QVERIFY(client->takeResponse());
        const QPointer<VondRequestThread> thread = threads().constFirst();
        QPointer<RequestHdlr> handler = ConnectionProbe::handler(thread);
        QPointer<QTcpSocket> socket = ConnectionProbe::socket(handler);
        QPointer<QObject> routeServer = ConnectionProbe::routeServer(handler);
        bool deletedInMainThread = false;
        connect(thread, &QObject::destroyed, this, [&deletedInMainThread] {
            deletedInMainThread = QThread::currentThread() == qApp->thread();
        });

        client.reset();

        QTRY_VERIFY(thread.isNull());
        QVERIFY(deletedInMainThread);
        QVERIFY(!handler.isNull());
        QVERIFY(!socket.isNull());
        QVERIFY(!routeServer.isNull());
        QVERIFY(handler->parent() == nullptr);
        QVERIFY(socket->parent() == nullptr);
        QVERIFY(routeServer->parent() == nullptr);
        QCOMPARE(socket->state(), QAbstractSocket::UnconnectedState);
        QCOMPARE(socket->socketDescriptor(), qintptr(-1)); // the descriptor is not kept
    }

    void theTextsOfAConversionGoWithItsConnection()
    {
        faketool::behave("text and status three", QDir::tempPath());
        const MessageCatcher messages;
        m_server = std::make_unique<OpenServer>(faketool::path());
        QVERIFY(m_server->listen(QHostAddress::LocalHost));
        auto client = std::make_unique<RawClient>(m_server->serverPort());
        const QByteArray body = "{\"reqestID\":\"r1\"}";
        client->send("POST /convert HTTP/1.1\r\nHost: a\r\nContent-Length: "
                     + QByteArray::number(body.size()) + "\r\n\r\n" + body);
        QVERIFY(client->takeResponse());
        QVERIFY(messages.messages().contains(QStringLiteral("convert reqestID:  \"r1\"")));
        VondRequestThread *const thread = threads().constFirst();
        const RequestHdlr *const handler = ConnectionProbe::handler(thread);
        QCOMPARE(ConnectionProbe::requestId(*handler), QStringLiteral("r1"));
        QVERIFY(!ConnectionProbe::lastStdOutMsg(*handler).isEmpty());
        // Checked in the connection's own thread, as its last action.
        std::atomic<bool> forgotten{false};
        connect(
            thread,
            &QThread::finished,
            this,
            [&forgotten, handler] {
                forgotten = ConnectionProbe::requestId(*handler).isNull()
                    && ConnectionProbe::lastStdOutMsg(*handler).isNull();
            },
            Qt::DirectConnection);

        client.reset();

        QTRY_VERIFY(threads().isEmpty());
        QVERIFY(forgotten);
    }

    void theRouteTableGoesWithItsConnection()
    {
        LastLook lastLook;
        auto client = std::make_unique<RawClient>(m_server->serverPort());
        client->send(get("/"));
        QVERIFY(client->takeResponse());
        VondRequestThread *const thread = threads().constFirst();
        QVERIFY(
            !ConnectionProbe::routeServer(ConnectionProbe::handler(thread))->router()->isEmpty());
        lastLook.watch(thread);

        client.reset();

        QTRY_VERIFY(threads().isEmpty());
        QVERIFY(lastLook.isOver());
        QVERIFY(lastLook.routesAreGone);
    }

    void theSocketsBuffersAndErrorTextGoWithAConnectionThatNeverSent()
    {
        LastLook lastLook;
        auto client = std::make_unique<RawClient>(m_server->serverPort());
        QTRY_COMPARE(threads().size(), 1);
        lastLook.watch(threads().constFirst());

        client.reset();

        QTRY_VERIFY(threads().isEmpty());
        QVERIFY(lastLook.isOver());
        QVERIFY(lastLook.socketIsReset);
    }

    void aConnectionThatNeverSendsKeepsItsThread()
    {
        RawClient client(m_server->serverPort());
        QTRY_COMPARE(threads().size(), 1);
        const QPointer<VondRequestThread> thread = threads().constFirst();
        RawClient other(m_server->serverPort());
        other.send(get("/sleep2secs"));
        QVERIFY(other.takeResponse());
        QVERIFY(!thread.isNull());
        QVERIFY(thread->isRunning());
    }

    void aThreadThatFinishesIsDeletedByAConnectionMadeByName()
    {
        m_server->incomingConnection(noDescriptor);
        VondRequestThread *thread = threads().constFirst();
        // It is its own receiver: with the signal disconnected, it remains when it has finished.
        QVERIFY(disconnect(thread, SIGNAL(finished()), thread, SLOT(deleteLater())));
        QVERIFY(thread->wait(5000));
        delete thread;
    }

    void aDescriptorThatIsNoneIsOneErrorAndSilence()
    {
        OutputCatcher errors(OutputCatcher::Channel::Error);
        const MessageCatcher messages;
        std::atomic<int> told{0};
        std::atomic<QTcpSocket::SocketError> reason{QTcpSocket::HostNotFoundError};
        QPointer<VondRequestThread> thread =
            new VondRequestThread(QString(), nullptr, noDescriptor, m_server.get());
        connect(
            thread,
            &VondRequestThread::error,
            this,
            [&told, &reason](auto error) {
                ++told;
                reason = error;
            },
            Qt::DirectConnection);
        connect(thread, SIGNAL(finished()), thread, SLOT(deleteLater()));
        thread->start();

        QTRY_VERIFY(thread.isNull());
        QTcpSocket refused;
        QVERIFY(!refused.setSocketDescriptor(noDescriptor));
        QCOMPARE(told.load(), 1);
        QCOMPARE(reason.load(), refused.error());
        QCOMPARE(errors.take(), QByteArray());
        QCOMPARE(messages.messages(), QStringList());
    }

    void anAllocationFailureOnALaterRequestEndsTheThreadAndClosesTheSocket()
    {
        OutputCatcher errors(OutputCatcher::Channel::Error);
        const MessageCatcher messages;
        LastLook lastLook;
        RawClient client(m_server->serverPort());
        client.send(get("/"));
        QVERIFY(client.takeResponse());
        const QPointer<VondRequestThread> thread = threads().constFirst();
        lastLook.watch(thread);
        const QPointer<QTcpSocket> socket =
            ConnectionProbe::socket(ConnectionProbe::handler(thread));
        QHttpServer *const routeServer =
            ConnectionProbe::routeServer(ConnectionProbe::handler(thread));
        QVERIFY(routeServer->route(QStringLiteral("/failing"),
                                   []() -> QString { throw std::bad_alloc(); }));

        client.send(get("/failing"));

        QTRY_VERIFY(thread.isNull());
        QCOMPARE(errors.take(), QByteArray("Allocation failed, creating rqh: std::bad_alloc\n"));
        QVERIFY(client.waitForClose());
        QVERIFY(client.received().isEmpty());
        QCOMPARE(socket->socketDescriptor(), qintptr(-1));
        QVERIFY(lastLook.isOver());
        QVERIFY(lastLook.routesAreGone); // as after any other connection
        QVERIFY(routeServer->children().isEmpty());
        RawClient other(m_server->serverPort());
        other.send(get("/"));
        QVERIFY(other.takeResponse());
    }

    void aBodyTooLargeLetsGoOfWhatHadComeOfIt()
    {
        constexpr int chunkMiB = 64;
        OutputCatcher errors(OutputCatcher::Channel::Error);
        const MessageCatcher messages;
        RawClient client(m_server->serverPort());
        client.send(get("/"));
        QVERIFY(client.takeResponse());
        const int before = residentMiB(QCoreApplication::applicationPid());
        QVERIFY(before > 0);

        client.send("POST /text HTTP/1.1\r\nHost: a\r\nTransfer-Encoding: chunked\r\n\r\n");
        client.send(QByteArray::number(chunkMiB * 1024 * 1024, 16) + "\r\n");
        client.send(QByteArray(chunkMiB * 1024 * 1024, 'x'));
        client.send("\r\n7fffffff\r\n"); // together more than a body can hold

        const auto response = client.takeResponse(false, 30000);
        QVERIFY(response);
        QCOMPARE(response->status(), 413);
        QVERIFY(client.waitForClose());
        QTRY_VERIFY(threads().isEmpty());
        QCOMPARE(errors.take(), QByteArray());
        if (freedMemoryLeaves) {
            QTRY_VERIFY(residentMiB(QCoreApplication::applicationPid()) < before + chunkMiB / 2);
        }
    }

    void allConnectionsShareTheRegistryOfTheServer()
    {
        RawClient first(m_server->serverPort());
        first.send(get("/progressTest"));
        const auto id = first.takeResponse();
        QVERIFY(id);
        RawClient second(m_server->serverPort());
        second.send(get("/progressInfo/" + id->body));
        QCOMPARE(second.takeBody(), QByteArray("Progress: 0%"));
        QCOMPARE(ConnectionProbe::registry(m_server.get())->keys(),
                 QStringList{QString::fromUtf8(id->body)});
        QCOMPARE(ConnectionProbe::registry(ConnectionProbe::handler(threads().constFirst())),
                 ConnectionProbe::registry(m_server.get()));
    }

private:
    std::unique_ptr<OpenServer> m_server;
};

VOND_TEST(VondServerTest);
#include "vondservertest.moc"
