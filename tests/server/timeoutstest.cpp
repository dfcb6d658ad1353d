#include "http/connection.h"
#include "server/vondrequestthread.h"
#include "server/vondserver.h"
#include "tests/support/ownfolders.h"
#include "tests/support/rawclient.h"

#include <QElapsedTimer>
#include <QHostAddress>
#include <QtTest>

// These wait for the real limits to pass.
class TimeoutsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void initTestCase()
    {
        useOwnSettings();
    }

    void aHeadThatIsNotFinishedInTimeIsAnswered408AndSilenceIsLeftAlone()
    {
        VondServer server{QString()};
        QVERIFY(server.listen(QHostAddress::LocalHost));
        {
            RawClient silent(server.serverPort());
            RawClient emptyLines(server.serverPort());
            emptyLines.send("\r\n\r\n");
            RawClient begun(server.serverPort());
            RawClient keptAlive(server.serverPort());
            const QByteArray request = "GET / HTTP/1.1\r\nHost: a\r\n\r\n";
            keptAlive.send(request + "GET /x");
            RawClient dripping(server.serverPort());
            QElapsedTimer time;
            time.start();
            begun.send("GET / HTTP/1.1\r\nHo");
            dripping.send("GET / HTTP/1.1\r\n");
            QVERIFY(keptAlive.takeResponse());
            while (dripping.received().isEmpty() && time.elapsed() < http::headTimeoutMs + 5000) {
                dripping.send("X: y\r\n"); // bytes that come do not prolong the time
                QTest::qWait(500);
            }
            for (RawClient *client : {&begun, &keptAlive, &dripping}) {
                const auto response = client->takeResponse(false, 10000);
                QVERIFY(response);
                QCOMPARE(response->status(), 408);
                QCOMPARE(response->value("Connection"), QByteArray("close"));
                QCOMPARE(response->body, QByteArray("Request head not finished in time"));
                QVERIFY(time.elapsed() >= http::headTimeoutMs - 1000);
                QVERIFY(client->waitForClose());
            }
            for (RawClient *client : {&silent, &emptyLines}) {
                client->send(request);
                QCOMPARE(client->takeResponse()->status(), 200);
            }
        }
        QTRY_VERIFY(server.findChildren<VondRequestThread *>().isEmpty());
    }

    void aRefusedClientThatStaysIsLetGo()
    {
        VondServer server{QString()};
        QVERIFY(server.listen(QHostAddress::LocalHost));
        RawClient client(server.serverPort());
        client.send("nonsense\r\n\r\n");
        QVERIFY(client.takeResponse());
        // It neither closes nor reads the end; the thread goes all the same.
        QTRY_VERIFY_WITH_TIMEOUT(server.findChildren<VondRequestThread *>().isEmpty(),
                                 http::lingerMs + 5000);
    }
};

QTEST_GUILESS_MAIN(TimeoutsTest)
#include "timeoutstest.moc"
