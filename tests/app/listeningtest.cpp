#include "app/listening.h"

#include "tests/support/testmain.h"

#include <QFile>
#include <QHostAddress>
#include <QObject>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>

#include <memory>
#include <vector>

#ifndef Q_OS_WIN
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#endif

namespace {

#ifndef Q_OS_WIN

// How many connections may wait on a listening socket, according to the system; -1 when that is
// unknown.
int backlogOf(const QTcpServer &server)
{
    tcp_info info = {};
    socklen_t size = sizeof(info);
    const int descriptor = static_cast<int>(server.socketDescriptor());
    if (::getsockopt(descriptor, IPPROTO_TCP, TCP_INFO, &info, &size) != 0) {
        return -1;
    }
    return static_cast<int>(info.tcpi_sacked); // its meaning for a listening socket
}

// The system's maximum.
int largestBacklog()
{
    QFile file(QStringLiteral("/proc/sys/net/core/somaxconn"));
    return file.open(QIODevice::ReadOnly) ? qMin(SOMAXCONN, file.readAll().trimmed().toInt()) : -1;
}

#endif

} // namespace

class ListeningTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aHostTextNamesAnAddress_data();
    void aHostTextNamesAnAddress();
    void aHostTextThatIsNoAddressNamesNone_data();
    void aHostTextThatIsNoAddressNamesNone();
    void aPortIsTheLow16BitsOfTheNumberTyped_data();
    void aPortIsTheLow16BitsOfTheNumberTyped();
    void theAnnouncementHoldsTheAddressAndThePortAsTyped_data();
    void theAnnouncementHoldsTheAddressAndThePortAsTyped();

    void listeningGoesWellOnAFreePort();
    void aNullAddressIsNeverListenedOn();
    void aPortInUseIsReportedInQtsWords();
    void anAddressOfAnotherMachineIsReportedInQtsWords();
    void listeningRaisesTheBacklogToTheSystemsLimit();
    void aBurstOfConnectsFitsIntoTheBacklog();
};

void ListeningTest::aHostTextNamesAnAddress_data()
{
    QTest::addColumn<QString>("host");
    QTest::addColumn<QString>("address");

    QTest::newRow("an IPv4 address") << "127.0.0.1"
                                     << "127.0.0.1";
    QTest::newRow("every IPv4 interface") << "0.0.0.0"
                                          << "0.0.0.0";
    QTest::newRow("a short form becomes the canonical one") << "127.1"
                                                            << "127.0.0.1";
    QTest::newRow("an IPv6 address") << "::1"
                                     << "::1";
    QTest::newRow("every interface") << "::"
                                     << "::";
    QTest::newRow("a long form becomes the canonical one") << "0:0:0:0:0:0:0:1"
                                                           << "::1";
    QTest::newRow("localhost is the IPv4 loopback") << "localhost"
                                                    << "127.0.0.1";
}

void ListeningTest::aHostTextNamesAnAddress()
{
    QFETCH(const QString, host);
    QFETCH(const QString, address);

    QVERIFY(!app::listenAddress(host).isNull());
    QCOMPARE(app::listenAddress(host).toString(), address);
}

void ListeningTest::aHostTextThatIsNoAddressNamesNone_data()
{
    QTest::addColumn<QString>("host");

    QTest::newRow("a name") << "server.example";
    QTest::newRow("localhost in another case") << "Localhost";
    QTest::newRow("localhost with a blank") << "localhost ";
    QTest::newRow("a star") << "*";
    QTest::newRow("a number too large for a byte") << "256.0.0.1";
    QTest::newRow("five numbers") << "1.2.3.4.5";
    QTest::newRow("an address with a port") << "127.0.0.1:8080";
    QTest::newRow("an IPv6 address in brackets") << "[::1]";
    QTest::newRow("a URL") << "http://127.0.0.1";
    QTest::newRow("no text") << "";
}

void ListeningTest::aHostTextThatIsNoAddressNamesNone()
{
    QFETCH(const QString, host);

    QVERIFY(app::listenAddress(host).isNull());
}

void ListeningTest::aPortIsTheLow16BitsOfTheNumberTyped_data()
{
    QTest::addColumn<int>("typed");
    QTest::addColumn<quint16>("port");

    QTest::newRow("an ordinary port") << 8080 << quint16(8080);
    QTest::newRow("none: any free port") << 0 << quint16(0);
    QTest::newRow("the largest port") << 65535 << quint16(65535);
    QTest::newRow("one more wraps around") << 65536 << quint16(0);
    QTest::newRow("70000 is 4464") << 70000 << quint16(4464);
    QTest::newRow("-1 is 65535") << -1 << quint16(65535);
    QTest::newRow("the largest number") << std::numeric_limits<int>::max() << quint16(65535);
    QTest::newRow("the smallest number") << std::numeric_limits<int>::min() << quint16(0);
}

void ListeningTest::aPortIsTheLow16BitsOfTheNumberTyped()
{
    QFETCH(const int, typed);
    QFETCH(const quint16, port);

    QCOMPARE(app::listenPort(typed), port);
}

void ListeningTest::theAnnouncementHoldsTheAddressAndThePortAsTyped_data()
{
    QTest::addColumn<QString>("address");
    QTest::addColumn<int>("port");
    QTest::addColumn<QString>("text");

    QTest::newRow("an ordinary port")
        << "127.0.0.1" << 8080 << "Running on http://127.0.0.1:8080/ (Press CTRL+C to quit)";
    QTest::newRow("a port out of range")
        << "127.0.0.1" << 70000 << "Running on http://127.0.0.1:70000/ (Press CTRL+C to quit)";
    QTest::newRow("a negative port")
        << "127.0.0.1" << -1 << "Running on http://127.0.0.1:-1/ (Press CTRL+C to quit)";
    QTest::newRow("an IPv6 address")
        << "::1" << 0 << "Running on http://::1:0/ (Press CTRL+C to quit)";
    QTest::newRow("a scope that looks like a place marker")
        << "fe80::1%1" << 80 << "Running on http://fe80::1%1:80/ (Press CTRL+C to quit)";
}

void ListeningTest::theAnnouncementHoldsTheAddressAndThePortAsTyped()
{
    QFETCH(const QString, address);
    QFETCH(const int, port);
    QFETCH(const QString, text);

    QCOMPARE(app::announcement(QHostAddress(address), port), text);
}

void ListeningTest::listeningGoesWellOnAFreePort()
{
    QTcpServer server;

    QVERIFY(!app::startListening(server, QHostAddress::LocalHost, 0));
    QVERIFY(server.isListening());
    QCOMPARE(server.serverAddress(), QHostAddress(QHostAddress::LocalHost));
}

void ListeningTest::aNullAddressIsNeverListenedOn()
{
    QTcpServer server;

    const auto reason = app::startListening(server, QHostAddress(), 0);

    QVERIFY(reason);
    QCOMPARE(*reason, QStringLiteral("The address is not available"));
    QVERIFY(!server.isListening());
}

void ListeningTest::aPortInUseIsReportedInQtsWords()
{
    QTcpServer first;
    QVERIFY(first.listen(QHostAddress::LocalHost));
    QTcpServer second;

    const auto reason = app::startListening(second, QHostAddress::LocalHost, first.serverPort());

    QVERIFY(reason);
    QCOMPARE(*reason, QStringLiteral("The bound address is already in use"));
    QVERIFY(!second.isListening());
}

void ListeningTest::anAddressOfAnotherMachineIsReportedInQtsWords()
{
    QTcpServer server;

    // An address reserved for documentation: nobody has it.
    const auto reason = app::startListening(server, QHostAddress(QStringLiteral("192.0.2.1")), 0);

    QVERIFY(reason);
    QCOMPARE(*reason, QStringLiteral("The address is not available"));
}

void ListeningTest::listeningRaisesTheBacklogToTheSystemsLimit()
{
#ifdef Q_OS_WIN
    QSKIP("Windows does not tell of a backlog; the next test fills it");
#else
    QTcpServer plain;
    QVERIFY(plain.listen(QHostAddress::LocalHost));
    QTcpServer server;
    QVERIFY(!app::startListening(server, QHostAddress::LocalHost, 0));

    QCOMPARE(backlogOf(plain), 50);
    QCOMPARE(backlogOf(server), largestBacklog());
#endif
}

void ListeningTest::aBurstOfConnectsFitsIntoTheBacklog()
{
    constexpr int clientCount = 200;
#ifndef Q_OS_WIN
    QVERIFY(largestBacklog() >= clientCount);
#endif
    QTcpServer server;
    QVERIFY(!app::startListening(server, QHostAddress::LocalHost, 0));

    // Nobody accepts meanwhile: connections that do not fit are never established.
    std::vector<std::unique_ptr<QTcpSocket>> clients;
    for (int i = 0; i < clientCount; ++i) {
        auto &client = clients.emplace_back(std::make_unique<QTcpSocket>());
        client->connectToHost(server.serverAddress(), server.serverPort());
        QVERIFY2(client->waitForConnected(5000), qPrintable(QString::number(i)));
    }
}

VOND_TEST(ListeningTest);
#include "listeningtest.moc"
