#include "server/vondrequestthread.h"
#include "server/vondserver.h"
#include "tests/support/faketool.h"
#include "tests/support/openresources.h"
#include "tests/support/outputcatcher.h"
#include "tests/support/ownfolders.h"
#include "tests/support/refusedmemory.h"
#include "tests/support/testmain.h"

#include <QTest>

#include <arpa/inet.h>
#include <atomic>
#include <cstdio>
#include <functional>
#include <netinet/in.h>
#include <optional>
#include <sys/socket.h>
#include <unistd.h>

using refusedmemory::Mode;
using refusedmemory::running;

namespace {

// A connection whose thread's allocations fail from entering run() until it leaves.
class RefusedThread : public VondRequestThread
{
public:
    using VondRequestThread::VondRequestThread;

    std::atomic<qint64> refused{-1};

protected:
    void run() override
    {
        refusedmemory::begin(running.mode, running.n);
        VondRequestThread::run();
        refused = refusedmemory::end();
    }
};

// A listening socket of loopback, and clients that need no memory.
class Loopback
{
public:
    Loopback()
        : m_listening(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        m_address.sin_family = AF_INET;
        m_address.sin_addr.s_addr = ::htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof m_address;
        auto *const address = reinterpret_cast<sockaddr *>(&m_address);
        m_isReady = ::bind(m_listening, address, size) == 0 && ::listen(m_listening, 8) == 0
            && ::getsockname(m_listening, address, &size) == 0;
    }

    ~Loopback()
    {
        ::close(m_listening);
    }

    Loopback(const Loopback &) = delete;
    Loopback &operator=(const Loopback &) = delete;
    Loopback(Loopback &&) = delete;
    Loopback &operator=(Loopback &&) = delete;

    [[nodiscard]] bool isReady() const
    {
        return m_isReady;
    }

    // Both ends of a new connection: the client's and the service's.
    [[nodiscard]] std::pair<int, int> connection() const
    {
        const int client = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (::connect(client, reinterpret_cast<const sockaddr *>(&m_address), sizeof m_address)
            != 0) {
            return {-1, -1};
        }
        const int accepted = ::accept4(m_listening, nullptr, nullptr, SOCK_CLOEXEC);
        const timeval patience = {20, 0};
        (void)::setsockopt(client, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
        return {client, accepted};
    }

private:
    int m_listening;
    sockaddr_in m_address = {};
    bool m_isReady = false;
};

// Everything until the other side closes; nothing when it does not.
std::optional<QByteArray> readToTheEnd(int client)
{
    QByteArray received;
    char buffer[4096];
    for (;;) {
        const ssize_t count = ::recv(client, buffer, sizeof buffer, 0);
        if (count == 0 || (count < 0 && errno == ECONNRESET)) {
            return received;
        }
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            return std::nullopt;
        }
        received.append(buffer, static_cast<int>(count));
    }
}

// A server that is given the server side of a connection.
class OpenServer : public VondServer
{
public:
    using VondServer::incomingConnection;
    using VondServer::VondServer;
};

QByteArray post(const QByteArray &target, const char *json)
{
    const QByteArray body = QByteArray(json).replace('\'', '"');
    return "POST " + target + " HTTP/1.1\r\nHost: a\r\nConnection: close\r\nContent-Length: "
        + QByteArray::number(body.size()) + "\r\n\r\n" + body;
}

} // namespace

// The whole life of a connection, from accepting to closing, with memory running out at some point:
// it ends, with or without a response, nothing of it remains, and the next one is served.
class RefusedConnectionTest : public QObject
{
    Q_OBJECT

private:
    enum class Outcome
    {
        NothingRefused,
        Refused,
        Broken
    };

    // One connection. Forbidden behaviour fails the test.
    Outcome connectOnce(Mode mode, qint64 n, const QByteArray &request)
    {
        running = {QTest::currentDataTag(), mode, n};
        const int before = openDescriptors();
        const auto [client, accepted] = m_loopback.connection();
        (void)::send(client, request.constData(), static_cast<std::size_t>(request.size()), 0);
        RefusedThread thread(faketool::path(), &m_registry, accepted, nullptr);
        thread.start();
        const auto received = readToTheEnd(client);
        ::close(client);
        if (!received) {
            (void)std::fprintf(stderr, "the client was not closed: n = %lld\n", n);
            std::abort(); // its thread could not be waited for
        }
        if (!QTest::qWaitFor([&thread] { return thread.isFinished(); }, 20000)) {
            (void)std::fprintf(stderr, "the thread does not end: n = %lld\n", n);
            std::abort();
        }
        const int after = openDescriptors();
        if (after != before) {
            qWarning("n = %lld: %d descriptors before, %d after", n, before, after);
            return Outcome::Broken;
        }
        return thread.refused > 0 ? Outcome::Refused : Outcome::NothingRefused;
    }

private Q_SLOTS:

    void initTestCase()
    {
        refusedmemory::prepare(m_folder.path(), m_logFolder.path());
        QVERIFY(m_loopback.isReady());
        faketool::behave("print nothing");
    }

    void aConnectionEndsWithNothingLeft_data()
    {
        QTest::addColumn<QByteArray>("request");
        QTest::newRow("a greeting")
            << QByteArray("GET / HTTP/1.1\r\nHost: a\r\nConnection: close\r\n\r\n");
        QTest::newRow("an upload") << post("/upload/a", "abc");
        QTest::newRow("a conversion")
            << post("/convert", "{'fileName':'a.tif','configuration':'Web'}");
        QTest::newRow("an image") << post("/convertWithLocalData",
                                          "{'fileName':'a.tif','imgData':'QUJD'}");
        QTest::newRow("arguments") << post("/vond", "['a','return:b']");
    }

    // Allocations fail beyond what was in use when the thread began, as the system's limits do.
    void aConnectionEndsWithNothingLeft()
    {
        QFETCH(const QByteArray, request);
        constexpr qint64 step = 400;
        constexpr qint64 more = 1 << 20;
        OutputCatcher errors(OutputCatcher::Channel::Error);
        (void)connectOnce(Mode::Beyond, 64 * more, request); // opens what remains open
        QCOMPARE(connectOnce(Mode::Beyond, 64 * more, request), Outcome::NothingRefused);
        qint64 n = 0;
        for (auto outcome = Outcome::Refused; outcome == Outcome::Refused; n += step) {
            QVERIFY2(n < more, "memory is refused for ever");
            outcome = connectOnce(Mode::Beyond, n, request);
            QVERIFY(outcome != Outcome::Broken);
            (void)errors.take();
        }
        QVERIFY2(n > 65536, "hardly anything was refused");
        QCOMPARE(connectOnce(Mode::Beyond, 64 * more, request), Outcome::NothingRefused);
    }

    void aClientIsRefusedWhenThereIsNoMemoryToAcceptIt()
    {
        running = {QTest::currentTestFunction(), Mode::Beyond, 0};
        OutputCatcher errors(OutputCatcher::Channel::Error);
        OpenServer server(faketool::path());
        const int before = openDescriptors();
        const auto [client, accepted] = m_loopback.connection();
        refusedmemory::begin(Mode::Beyond, 1000);
        server.incomingConnection(accepted);
        QVERIFY(refusedmemory::end() > 0);
        QCOMPARE(readToTheEnd(client), std::make_optional(QByteArray()));
        ::close(client);
        QCOMPARE(openDescriptors(), before);
        QCOMPARE(errors.take(), QByteArray("client refused: no memory is left\n"));
        QVERIFY(server.findChildren<VondRequestThread *>().isEmpty());
    }

    // The first allocation that fails is the socket object's.
    void aConnectionWithoutMemoryIsReportedToTheOperator()
    {
        OutputCatcher errors(OutputCatcher::Channel::Error);
        QCOMPARE(
            connectOnce(Mode::Beyond, 0, "GET / HTTP/1.1\r\nHost: a\r\nConnection: close\r\n\r\n"),
            Outcome::Refused);
        QCOMPARE(errors.take(), QByteArray("Allocation failed, creating rqh: std::bad_alloc\n"));
    }

private:
    OwnWorkFolder m_folder;
    QTemporaryDir m_logFolder;
    Loopback m_loopback;
    jobs::Registry m_registry;
};

VOND_TEST(RefusedConnectionTest);
#include "refusedconnectiontest.moc"
