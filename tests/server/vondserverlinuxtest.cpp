#include "http/connection.h"
#include "server/vondrequestthread.h"
#include "server/vondserver.h"
#include "tests/support/messagecatcher.h"
#include "tests/support/openresources.h"
#include "tests/support/outputcatcher.h"
#include "tests/support/ownfolders.h"
#include "tests/support/rawclient.h"
#include "tests/support/residentmemory.h"
#include "tests/support/resourcelimit.h"
#include "tests/support/testmain.h"

#include <QFile>
#include <QHostAddress>
#include <QTest>

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <memory>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

// What a limit of the address space counts at present, in bytes.
rlim_t addressSpace()
{
    QFile statm(QStringLiteral("/proc/self/statm"));
    (void)statm.open(QIODevice::ReadOnly); // without it the limit is too low, and the test fails
    const auto pages = statm.readAll().split(' ').first().toULong();
    return pages * static_cast<rlim_t>(::sysconf(_SC_PAGESIZE));
}

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

} // namespace

// Each test has a server of its own, as in vondservertest: Qt Test calls init() and cleanup() of
// the class itself.
class VondServerLinuxTest : public QObject
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
        m_server = std::make_unique<VondServer>(QStringLiteral("/no/such/tool"));
        QVERIFY(m_server->listen(QHostAddress::LocalHost));
    }

    void cleanup()
    {
        QTRY_VERIFY(threads().isEmpty()); // a thread must not outlive its parent
        m_server.reset();
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
            VondServer server(QStringLiteral("/no/such/tool"));
            QVERIFY(server.listen(QHostAddress::LocalHost));
            const PlainClient client(server.serverPort());
            client.send("GET / HTTP/1.1\r\nHost: a\r\nConnection: close\r\n\r\n");
            QTRY_VERIFY(client.hasAnswer());
            QTRY_VERIFY(server.findChildren<VondRequestThread *>().isEmpty());
        }
        QCOMPARE(openDescriptors(), before);
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
            const ResourceLimit tooLittle(RLIMIT_AS, addressSpace() + 200 * mebibyte);
            client.send("GET /getConversionResult/large HTTP/1.1\r\nHost: a\r\n\r\n");
            QVERIFY(client.waitForClose());
        }
        QVERIFY(client.received().isEmpty());
        QCOMPARE(errors.take(), QByteArray("Request body allocation failed: std::bad_alloc\n"));
        QCOMPARE(messages.messages().size(), 3);
        QCOMPARE(messages.messages().constLast(),
                 QStringLiteral("Request body allocation failed:  std::bad_alloc \n"));
        QTRY_VERIFY(threads().isEmpty());
    }

private:
    std::unique_ptr<VondServer> m_server;
};

VOND_TEST(VondServerLinuxTest);
#include "vondserverlinuxtest.moc"
