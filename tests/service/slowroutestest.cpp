#include "tests/support/rawclient.h"
#include "tests/support/requests.h"
#include "tests/support/residentmemory.h"
#include "tests/support/serviceundertest.h"
#include "tests/support/testmain.h"

#include <QElapsedTimer>
#include <QTest>

#include <memory>
#include <vector>

using requests::get;

// The rows of the route table that take long or a lot of memory, through the built service.
class SlowRoutesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void initTestCase()
    {
        QVERIFY(m_service.start(QStringLiteral(SAMPLE_TOOL_PATH)));
    }

    // All requested at once, so that the slowest determines how long this takes.
    void sleepersWaitOnlyForThemselves()
    {
        struct Sleeper
        {
            int seconds;
            std::unique_ptr<RawClient> client;
        };

        std::vector<Sleeper> sleepers;
        QElapsedTimer sinceAsked;
        sinceAsked.start();
        for (const int seconds : {2, 10, 20, 90}) {
            sleepers.push_back({seconds, std::make_unique<RawClient>(m_service.port())});
            sleepers.back().client->send(get("/sleep" + QByteArray::number(seconds) + "secs"));
        }
        QCOMPARE(requests::ask(m_service.port(), get("/")), QByteArray("vondServer: Hello world"));
        QVERIFY(sinceAsked.elapsed() < 2000); // none has woken up yet

        for (const Sleeper &sleeper : sleepers) {
            const auto response = sleeper.client->takeResponse(false, 120000);
            QVERIFY(response);
            const qint64 leastMs = sleeper.seconds * qint64(1000);
            QVERIFY(sinceAsked.elapsed() >= leastMs);
            QVERIFY(sinceAsked.elapsed() < leastMs + 8000);
            QCOMPARE(response->status(), 200);
            QCOMPARE(response->value("Content-Type"), QByteArray("text/plain; charset=utf-8"));
            QCOMPARE(response->body,
                     "Hello world, slept " + QByteArray::number(sleeper.seconds) + "secs");
        }
        // The others log nothing.
        QCOMPARE(m_service.error().count("-ReqID: "), 2);
        QVERIFY(m_service.error().contains("Sleep10-ReqID: "));
        QVERIFY(m_service.error().contains("Sleep20-ReqID: "));
    }

    void memtestReportsItsFailureAndGivesItsMemoryBack()
    {
        constexpr int marginMiB = 64;
        constexpr int keptMiB = 1027; // the encoded array, leaked on purpose
        const int before = residentMiB(m_service.processId());
        QVERIFY(before > 0);
        QCOMPARE(requests::ask(m_service.port(), get("/memtest"), 120000),
                 QByteArray("vondServer: memtest faild with size:8.07405e+08"));
        QVERIFY(m_service.error().contains("encoded image size: 1076540288\n"));
        QVERIFY(m_service.isRunning());
        if (freedMemoryLeaves) { // a sanitizer keeps it
            QTRY_VERIFY2(residentMiB(m_service.processId()) <= before + keptMiB + marginMiB,
                         qPrintable(QString::number(residentMiB(m_service.processId()))));
        }
    }

private:
    ServiceUnderTest m_service;
};

VOND_TEST(SlowRoutesTest);
#include "slowroutestest.moc"
