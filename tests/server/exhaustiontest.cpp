#include "base/descriptorreservation.h"
#include "base/filedescriptor.h"
#include "server/acceptbackoff.h"
#include "server/clientreservation.h"
#include "server/vondrequestthread.h"
#include "server/vondserver.h"
#include "tests/support/outputcatcher.h"
#include "tests/support/ownfolders.h"
#include "tests/support/rawclient.h"
#include "tests/support/resourcelimit.h"
#include "tests/support/testmain.h"
#include "tool/run.h"

#include <QAbstractEventDispatcher>
#include <QTest>

#include <fcntl.h>
#include <limits>
#include <memory>
#include <unistd.h>
#include <vector>

namespace {

using base::DescriptorReservation;

class DescriptorLimit : public ResourceLimit
{
public:
    explicit DescriptorLimit(rlim_t value)
        : ResourceLimit(RLIMIT_NOFILE, value)
    {
    }
};

rlim_t lowestFree()
{
    return static_cast<rlim_t>(base::lowestFreeDescriptor().value());
}

// Room for this many, in addition to the service's reserve and what is open.
rlim_t roomFor(int count)
{
    return lowestFree() + static_cast<rlim_t>(base::descriptorsOfTheService + count);
}

// The limit under which exactly this many more can be opened, wherever there are gaps.
rlim_t limitThatLeaves(int count)
{
    std::vector<base::FileDescriptor> open;
    open.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        open.emplace_back(::dup(STDERR_FILENO));
    }
    return static_cast<rlim_t>(open.back().get()) + 1;
}

bool isOpen(int descriptor)
{
    return ::fcntl(descriptor, F_GETFD) >= 0;
}

class OpenServer : public VondServer
{
public:
    using VondServer::incomingConnection;
    using VondServer::VondServer;
};

} // namespace

class ExhaustionTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void initTestCase()
    {
        useOwnSettings();
    }

    void whatTheServiceKeepsForItselfIsNotGivenAway()
    {
        const qint64 limit = 100;
        const int most = static_cast<int>(limit) - base::descriptorsOfTheService;
        QVERIFY(base::fits(limit, 0, most));
        QVERIFY(!base::fits(limit, 0, most + 1));
        QVERIFY(base::fits(limit, most - 5, 5));
        QVERIFY(!base::fits(limit, most - 5, 6));
        QVERIFY(!base::fits(0, 0, 1));
    }

    void theLimitIsTheOneOfThisMoment()
    {
        const DescriptorLimit lowered(77);
        QCOMPARE(base::descriptorLimit(), qint64(77));
    }

    void theLowestFreeDescriptorIsTheNextToBeOpened()
    {
        const auto lowest = base::lowestFreeDescriptor();
        QVERIFY(lowest);
        const int next = ::dup(STDERR_FILENO);
        QCOMPARE(*lowest, next);
        QVERIFY(base::lowestFreeDescriptor().value() > next);
        ::close(next);
        const DescriptorLimit none(static_cast<rlim_t>(next));
        QVERIFY(!base::lowestFreeDescriptor());
    }

    void claimsAreGrantedUntilTheyNoLongerFit()
    {
        const DescriptorLimit lowered(roomFor(30));
        std::vector<std::unique_ptr<DescriptorReservation>> claims;
        const auto room = static_cast<qint64>(roomFor(30)) - base::descriptorsOfTheService;
        for (qint64 i = 0; i < room / 10; ++i) {
            claims.push_back(
                std::make_unique<DescriptorReservation>(10, base::lowestFreeDescriptor()));
            QVERIFY(claims.back()->isGranted());
        }
        QVERIFY(!DescriptorReservation(10, base::lowestFreeDescriptor()).isGranted());
        QVERIFY(!DescriptorReservation(10, base::lowestFreeDescriptor())
                     .isGranted()); // a rejection takes nothing, and frees nothing
        claims.pop_back();
        QVERIFY(DescriptorReservation(10, base::lowestFreeDescriptor()).isGranted());
    }

    // Each of the two takes all there is; what is already open has it anyway, and leaves no room.
    void whatIsOpenAlreadyIsGrantedAndCounts()
    {
        const rlim_t limit = roomFor(10);
        const DescriptorLimit lowered(limit);
        const int all = static_cast<int>(limit) - base::descriptorsOfTheService;
        const DescriptorReservation open(all);
        QVERIFY(open.isGranted());
        const DescriptorReservation more(all);
        QVERIFY(more.isGranted());
        QVERIFY(!DescriptorReservation(1, base::lowestFreeDescriptor()).isGranted());
    }

    void descriptorsThatNobodyClaimedCountByTheirNumber()
    {
        const DescriptorLimit lowered(roomFor(10));
        QVERIFY(DescriptorReservation(10, base::lowestFreeDescriptor()).isGranted());
        const int stray = ::dup(STDERR_FILENO);
        QVERIFY(!DescriptorReservation(10, base::lowestFreeDescriptor()).isGranted());
        ::close(stray);
        QVERIFY(DescriptorReservation(10, base::lowestFreeDescriptor()).isGranted());
    }

    void aToolIsNotStartedWithTheLastDescriptors()
    {
        OutputCatcher errors(OutputCatcher::Channel::Error);
        const QString echo = QStringLiteral("/bin/echo");
        {
            const DescriptorLimit lowered(roomFor(tool::descriptorsOfAStart - 1));
            tool::ChildProcess process;
            QVERIFY(!tool::startAndWait(&process, echo, {}, tool::withoutLimit));
            QCOMPARE(process.state(), QProcess::NotRunning);
        }
        QCOMPARE(errors.take(),
                 QByteArray("error: too few descriptors are left, the tool is not started\n"));
        const DescriptorLimit enough(roomFor(tool::descriptorsOfAStart));
        QCOMPARE(tool::shortQuery(echo, {QStringLiteral("a")}), QByteArray("a\n"));
    }

    void aRunTakesNoMoreThanIsClaimedForIt()
    {
        tool::ChildProcess process;
        const DescriptorLimit exactly(limitThatLeaves(tool::descriptorsOfAStart));
        process.start(QStringLiteral("/bin/true"), QStringList());
        QVERIFY2(process.waitForFinished(tool::withoutLimit), qPrintable(process.errorString()));
    }

    void aClientThatCannotBeServedIsClosedAtOnceAndNoThreadIsMade()
    {
        OpenServer server(QStringLiteral("/no/such/tool"));
        OutputCatcher errors(OutputCatcher::Channel::Error);
        const int enough = server::descriptorsOfAClient + tool::descriptorsOfAStart;
        {
            const int descriptor = ::dup(STDERR_FILENO);
            const DescriptorLimit lowered(roomFor(tool::descriptorsOfAStart - 1));
            server.incomingConnection(descriptor);
            QVERIFY(!isOpen(descriptor));
            const int second = ::dup(STDERR_FILENO);
            server.incomingConnection(second);
            QVERIFY(!isOpen(second));
        }
        QVERIFY(server.findChildren<VondRequestThread *>().isEmpty());
        // The operator gets a line, but not one for each.
        QCOMPARE(errors.take(), QByteArray("client refused: too few descriptors are left\n"));

        QVERIFY(server.listen(QHostAddress::LocalHost));
        {
            RawClient client(server.serverPort());
            const DescriptorLimit restored(roomFor(enough) + 2);
            client.send("GET / HTTP/1.1\r\nHost: a\r\n\r\n");
            QVERIFY(client.takeResponse());
        }
        QTRY_VERIFY(server.findChildren<VondRequestThread *>().isEmpty());
    }

    void aConnectionGivesItsClaimBack()
    {
        OpenServer server(QStringLiteral("/no/such/tool"));
        QVERIFY(server.listen(QHostAddress::LocalHost));
        // Room for two at a time; twenty come one after the other.
        const DescriptorLimit lowered(
            roomFor(2 * server::descriptorsOfAClient + tool::descriptorsOfAStart));
        for (int i = 0; i < 20; ++i) {
            {
                RawClient client(server.serverPort());
                client.send("GET / HTTP/1.1\r\nHost: a\r\n\r\n");
                QVERIFY(client.takeResponse());
            }
            QTRY_VERIFY(server.findChildren<VondRequestThread *>().isEmpty());
        }
    }

    void withoutADescriptorTheServerRestsAndThenServesOn_data()
    {
        QTest::addColumn<bool>("afterAnother");
        QTest::newRow("after another client: accepting would be tried again at once") << true;
        QTest::newRow("the first client of all: accepting would never be tried again") << false;
    }

    void withoutADescriptorTheServerRestsAndThenServesOn()
    {
        QFETCH(bool, afterAnother);
        OpenServer server(QStringLiteral("/no/such/tool"));
        QVERIFY(server.listen(QHostAddress::LocalHost));
        if (afterAnother) {
            RawClient other(server.serverPort());
            other.send("GET / HTTP/1.1\r\nHost: a\r\n\r\n");
            QVERIFY(other.takeResponse());
        }
        QTRY_VERIFY(server.findChildren<VondRequestThread *>().isEmpty());
        RawClient client(server.serverPort()); // queued by the system, not accepted yet
        int turns = 0;
        const auto counting = connect(QAbstractEventDispatcher::instance(),
                                      &QAbstractEventDispatcher::awake,
                                      this,
                                      [&turns] { ++turns; });
        {
            const DescriptorLimit none(lowestFree());
            QTest::qWait(1000);
        }
        disconnect(counting);
        // Ten pauses, each after a hundred turns, and the turns of the waiting itself.
        QVERIFY2(turns < 3000, qPrintable(QString::number(turns)));
        client.send("GET / HTTP/1.1\r\nHost: a\r\n\r\n");
        QVERIFY(client.takeResponse());
        for (int i = 0; i < 3; ++i) {
            RawClient next(server.serverPort());
            next.send("GET / HTTP/1.1\r\nHost: a\r\n\r\n");
            QVERIFY(next.takeResponse());
        }
        // And never pauses again: a paused server makes its clients wait.
        const auto rests = [pause = server.findChild<AcceptBackoff *>()] {
            return !QAbstractEventDispatcher::instance()->registeredTimers(pause).isEmpty();
        };
        QTRY_VERIFY(!rests());
        for (int i = 0; i < 20; ++i) {
            RawClient next(server.serverPort());
            next.send("GET / HTTP/1.1\r\nHost: a\r\n\r\n");
            QVERIFY(next.takeResponse());
            QTest::qWait(1); // a few more turns
            QVERIFY(!rests());
        }
        client.reset();
        QTRY_VERIFY(server.findChildren<VondRequestThread *>().isEmpty());
    }

    void recoveringLosesNobodyWhoWaits()
    {
        OpenServer server(QStringLiteral("/no/such/tool"));
        QVERIFY(server.listen(QHostAddress::LocalHost));
        const quint16 port = server.serverPort();
        for (int round = 0; round < 3; ++round) { // Qt keeps the first error
            std::vector<std::unique_ptr<RawClient>> waiting;
            for (int i = 0; i < 10; ++i) {
                waiting.push_back(std::make_unique<RawClient>(port));
                waiting.back()->send("GET / HTTP/1.1\r\nHost: a\r\n\r\n");
            }
            {
                const DescriptorLimit none(lowestFree());
                QTest::qWait(250);
            }
            for (const auto &client : waiting) {
                QVERIFY(client->takeResponse());
            }
            waiting.clear();
            QTRY_VERIFY(server.findChildren<VondRequestThread *>().isEmpty());
            QCOMPARE(server.serverPort(), port);
            QVERIFY(server.isListening());
        }
    }
};

VOND_TEST(ExhaustionTest);
#include "exhaustiontest.moc"
