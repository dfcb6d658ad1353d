#include "http/connection.h"
#include "http/qhttpserver.h"
#include "tests/server/connectionprobe.h"
#include "tests/support/faketool.h"
#include "tests/support/messagecatcher.h"
#include "tests/support/openresources.h"
#include "tests/support/outputcatcher.h"
#include "tests/support/ownfolders.h"
#include "tests/support/rawclient.h"
#include "tests/support/residentmemory.h"
#include "tests/support/testmain.h"

#include <QDir>
#include <QFile>
#include <QHostAddress>
#include <QPointer>
#include <QSignalSpy>
#include <QTest>

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <atomic>
#include <fcntl.h>
#include <memory>
#include <netinet/in.h>
#include <new>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr int noDescriptor = -1;

QByteArray get(const QByteArray &target)
{
    return "GET " + target + " HTTP/1.1\r\nHost: a\r\n\r\n";
}

// Limits this process to this much more memory than it has, for one block.
class MemoryLimit
{
public:
    explicit MemoryLimit(rlim_t more)
    {
        QFile statm(QStringLiteral("/proc/self/statm"));
        (void)statm.open(
            QIODevice::ReadOnly); // without it the limit is too low, and the test fails
        const auto pages = statm.readAll().split(' ').first().toULong();
        ::getrlimit(RLIMIT_AS, &m_before);
        const rlimit limit = {pages * static_cast<rlim_t>(::sysconf(_SC_PAGESIZE)) + more,
                              m_before.rlim_max};
        ::setrlimit(RLIMIT_AS, &limit);
    }

    ~MemoryLimit()
    {
        ::setrlimit(RLIMIT_AS, &m_before);
    }

    MemoryLimit(const MemoryLimit &) = delete;
    MemoryLimit &operator=(const MemoryLimit &) = delete;
    MemoryLimit(MemoryLimit &&) = delete;
    MemoryLimit &operator=(MemoryLimit &&) = delete;

private:
    rlimit m_before = {};
};

// A client that does not close its side when the server does.
class PlainClient
{
public:
    explicit PlainClient(quint16 port)
        : m_descriptor(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_in server = {};
        server.sin_family = AF_INET;
        server.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        server.sin_port = htons(port);
        (void)::connect(m_descriptor, reinterpret_cast<const sockaddr *>(&server), sizeof server);
    }

    ~PlainClient()
    {
        close();
    }

    PlainClient(const PlainClient &) = delete;
    PlainClient &operator=(const PlainClient &) = delete;
    PlainClient(PlainClient &&) = delete;
    PlainClient &operator=(PlainClient &&) = delete;

    // How much the system has accepted.
    int send(const QByteArray &bytes) const
    {
        const ssize_t count = ::send(m_descriptor,
                                     bytes.constData(),
                                     static_cast<std::size_t>(bytes.size()),
                                     MSG_DONTWAIT | MSG_NOSIGNAL);
        return static_cast<int>(std::max(count, ssize_t(0)));
    }

    // Whether the server has closed its side, too.
    bool hasAnswer() const
    {
        std::array<char, 4096> answer = {};
        const ssize_t count =
            ::recv(m_descriptor, answer.data(), answer.size(), MSG_DONTWAIT | MSG_PEEK);
        pollfd descriptor = {m_descriptor, POLLRDHUP, 0};
        return count > 0 && ::poll(&descriptor, 1, 0) == 1;
    }

    void close()
    {
        if (m_descriptor >= 0) {
            (void)::close(m_descriptor);
            m_descriptor = -1;
        }
    }

private:
    int m_descriptor;
};

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
    void watch(const QThread *connection) const
    {
        connect(connection, SIGNAL(finished()), this, SLOT(look()), Qt::DirectConnection);
    }

    std::atomic<bool> socketIsReset{false}; // a closed one has no buffers
    std::atomic<bool> routesAreGone{false};

public Q_SLOTS:

    void look()
    {
        const RequestHdlr *const handler =
            ConnectionProbe::handler(static_cast<VondRequestThread *>(QThread::currentThread()));
        const QTcpSocket *const socket = ConnectionProbe::socket(handler);
        socketIsReset = !socket->isOpen() && socket->errorString() == QTcpSocket().errorString();
        QHttpServer *const routeServer = ConnectionProbe::routeServer(handler);
        routesAreGone = routeServer != nullptr && routeServer->router()->isEmpty();
    }
};

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
        const LastLook lastLook;
        auto client = std::make_unique<RawClient>(m_server->serverPort());
        client->send(get("/"));
        QVERIFY(client->takeResponse());
        VondRequestThread *const thread = threads().constFirst();
        QVERIFY(
            !ConnectionProbe::routeServer(ConnectionProbe::handler(thread))->router()->isEmpty());
        lastLook.watch(thread);

        client.reset();

        QTRY_VERIFY(threads().isEmpty());
        QVERIFY(lastLook.routesAreGone);
    }

    void theSocketsBuffersAndErrorTextGoWithAConnectionThatNeverSent()
    {
        const LastLook lastLook;
        auto client = std::make_unique<RawClient>(m_server->serverPort());
        QTRY_COMPARE(threads().size(), 1);
        lastLook.watch(threads().constFirst());

        client.reset();

        QTRY_VERIFY(threads().isEmpty());
        QVERIFY(lastLook.socketIsReset);
    }

    void aClientThatHasHadItsLastAnswerAndStaysKeepsADescriptorAndNoThread()
    {
        constexpr int soonMs = http::lingerMs / 2;
        const int before = openDescriptors();
        PlainClient client(m_server->serverPort());
        client.send("GET / HTTP/1.1\r\nHost: a\r\nConnection: close\r\n\r\n");
        QTRY_VERIFY(client.hasAnswer());
        QTRY_VERIFY_WITH_TIMEOUT(threads().isEmpty(), soonMs);
        QCOMPARE(openDescriptors(), before + 2);

        // More than the system buffers: the client must read, and nothing is lost.
        constexpr int lateBytes = 16 * 1024 * 1024;
        const QByteArray block(65536, 'x');
        int sent = 0;
        const auto isSent = [&client, &block, &sent] {
            int count = 1;
            while (sent < lateBytes && count > 0) {
                count = client.send(block);
                sent += count;
            }
            return sent >= lateBytes;
        };
        QTRY_VERIFY_WITH_TIMEOUT(isSent(), soonMs);
        QCOMPARE(openDescriptors(), before + 2);
        client.close();
        QTRY_COMPARE(openDescriptors(), before);
    }

    void aClientThatHasHadItsLastAnswerIsClosedInTheEnd()
    {
        const int before = openDescriptors();
        const PlainClient first(m_server->serverPort());
        first.send("GET / HTTP/1.1\r\nHost: a\r\nConnection: close\r\n\r\n");
        QTRY_VERIFY(first.hasAnswer());
        QTest::qWait(http::lingerMs / 5);
        const PlainClient second(m_server->serverPort());
        second.send("GET / HTTP/1.1\r\nHost: a\r\nConnection: close\r\n\r\n");
        QTRY_VERIFY(second.hasAnswer());
        QTRY_VERIFY(threads().isEmpty());
        QCOMPARE(openDescriptors(), before + 4);

        QTRY_COMPARE_WITH_TIMEOUT(openDescriptors(), before + 3, http::lingerMs);
        QTRY_COMPARE_WITH_TIMEOUT(openDescriptors(), before + 2, http::lingerMs);
    }

    void clientsThatLingerGoWithTheServer()
    {
        const int before = openDescriptors();
        {
            OpenServer server(QStringLiteral("/no/such/tool"));
            QVERIFY(server.listen(QHostAddress::LocalHost));
            const PlainClient client(server.serverPort());
            client.send("GET / HTTP/1.1\r\nHost: a\r\nConnection: close\r\n\r\n");
            QTRY_VERIFY(client.hasAnswer());
            QTRY_VERIFY(server.findChildren<VondRequestThread *>().isEmpty());
        }
        QCOMPARE(openDescriptors(), before);
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
        const LastLook lastLook;
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

    void anAllocationFailureOnTheFirstRequestClosesTheSocket()
    {
        if (!freedMemoryLeaves) {
            QSKIP("a sanitizer needs more memory than a limit could leave it");
        }
        OutputCatcher errors(OutputCatcher::Channel::Error);
        const MessageCatcher messages;
        constexpr qint64 mebibyte = 1048576;
        const OwnWorkFolder folder;
        QFile large(folder.filePath(QStringLiteral("large")));
        QVERIFY(large.open(QIODevice::WriteOnly));
        QVERIFY(large.resize(400 * mebibyte));
        RawClient client(m_server->serverPort());
        QTRY_COMPARE(threads().size(), 1);
        {
            const MemoryLimit tooLittle(200 * mebibyte);
            client.send(get("/getConversionResult/large"));
            QVERIFY(client.waitForClose());
        }
        QVERIFY(client.received().isEmpty());
        QCOMPARE(errors.take(), QByteArray("Request body allocation failed: std::bad_alloc\n"));
        QCOMPARE(messages.messages().size(), 3);
        QCOMPARE(messages.messages().constLast(),
                 QStringLiteral("Request body allocation failed:  std::bad_alloc \n"));
        QTRY_VERIFY(threads().isEmpty());
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
