#include "http/connection.h"
#include "server/vondrequestthread.h"
#include "server/vondserver.h"
#include "tests/support/ownfolders.h"
#include "tests/support/rawclient.h"
#include "tests/support/testmain.h"

#include <QElapsedTimer>
#include <QHostAddress>
#include <QTest>

#include <memory>
#include <vector>

// These wait for the real limits to pass.
class TimeoutsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void initTestCase()
    {
        useOwnSettings();
    }

    // All in parallel, because each waits a minute: heads, chunk lines and trailers that are not
    // finished in time, whatever bytes arrive meanwhile; and what is not limited.
    void framingThatIsNotFinishedInTimeIsAnswered408AndAllElseIsLeftAlone()
    {
        VondServer server{QString()};
        QVERIFY(server.listen(QHostAddress::LocalHost));
        {
            const QByteArray request = "GET / HTTP/1.1\r\nHost: a\r\n\r\n";
            const QByteArray chunks =
                "POST /text HTTP/1.1\r\nHost: a\r\nTransfer-Encoding: chunked\r\n\r\n";
            QElapsedTimer time;
            time.start();

            struct Slow
            {
                QByteArray first;
                QByteArray meanwhile; // twice a second
                QByteArray text;
                std::unique_ptr<RawClient> client = {};
            };

            const QByteArray head = "Request head not finished in time";
            const QByteArray framing = "Chunk framing not finished in time";
            std::vector<Slow> refused;
            refused.push_back({"GET / HTTP/1.1\r\nHo", "", head});
            refused.push_back({"GET / HTTP/1.1\r\n", "X: y\r\n", head});
            refused.push_back({request + "GET /x", "", head});
            refused.push_back({chunks + "1", "", framing});
            refused.push_back({chunks + "1;", "a", framing});
            refused.push_back({chunks + "1\r\nx\r\n1;", "a", framing});
            refused.push_back({chunks + "1\r\nx\r", "", framing});
            refused.push_back({chunks + "1\r\nx\r\n0\r\n", "X: y\r\n", framing});
            refused.push_back({chunks + "0", "", framing});
            refused.push_back({chunks + "0\r\nX", "y", framing});

            struct Patient
            {
                QByteArray first;
                QByteArray meanwhile;
                QByteArray last; // after all that
                std::unique_ptr<RawClient> client = {};
            };

            std::vector<Patient> left;
            left.push_back({"", "", request});
            left.push_back({"\r\n\r\n", "", request});
            left.push_back({chunks, "", "0\r\n\r\n"});
            left.push_back({chunks + "1\r\n", "", "x\r\n0\r\n\r\n"});
            left.push_back({chunks + "1\r\nx\r\n", "", "0\r\n\r\n"});
            // Each piece ends one line and begins the next.
            left.push_back({chunks + "1\r\nx\r\n1", "\r\nx\r\n1", "\r\nx\r\n0\r\n\r\n"});
            // Body data may arrive as slowly as the client likes.
            left.push_back({chunks + "100000\r\n",
                            QByteArray("x"),
                            QByteArray(0x100000, 'x') + "\r\n0\r\n\r\n"});

            for (Slow &slow : refused) {
                slow.client = std::make_unique<RawClient>(server.serverPort());
                slow.client->send(slow.first);
            }
            for (Patient &patient : left) {
                patient.client = std::make_unique<RawClient>(server.serverPort());
                patient.client->send(patient.first);
            }
            QVERIFY(refused.at(2).client->takeResponse());
            qint64 pieces = 0;
            while (time.elapsed() < http::framingTimeoutMs + 5000) {
                for (Slow &slow : refused) {
                    if (slow.client->received().isEmpty()) {
                        slow.client->send(slow.meanwhile);
                    } else {
                        // These timers use a coarse clock.
                        QVERIFY(time.elapsed() >= http::framingTimeoutMs * 9 / 10);
                    }
                }
                for (Patient &patient : left) {
                    patient.client->send(patient.meanwhile);
                    QVERIFY(patient.client->received().isEmpty());
                }
                ++pieces;
                QTest::qWait(500);
            }
            for (Slow &slow : refused) {
                const auto response = slow.client->takeResponse(false, 10000);
                QVERIFY2(response, slow.first.constData());
                QCOMPARE(response->status(), 408);
                QCOMPARE(response->value("Connection"), QByteArray("close"));
                QCOMPARE(response->body, slow.text);
                QVERIFY(slow.client->waitForClose());
            }
            left.back().last.remove(0, static_cast<int>(pieces)); // already sent
            for (Patient &patient : left) {
                patient.client->send(patient.last);
                const auto response = patient.client->takeResponse();
                QVERIFY2(response, patient.first.constData());
                QCOMPARE(response->status(), 200);
            }
        }
        QTRY_VERIFY(server.findChildren<VondRequestThread *>().isEmpty());
    }

    void aClientThatStaysAfterItsLastAnswerIsLetGo_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("refused") << QByteArray("nonsense\r\n\r\n");
        QTest::newRow("asked to close")
            << QByteArray("GET / HTTP/1.1\r\nHost: a\r\nConnection: close\r\n\r\n");
    }

    void aClientThatStaysAfterItsLastAnswerIsLetGo()
    {
        QFETCH(QByteArray, bytes);
        VondServer server{QString()};
        QVERIFY(server.listen(QHostAddress::LocalHost));
        RawClient client(server.serverPort());
        client.send("GET / HTTP/1.1\r\nHost: a\r\n\r\n"); // its thread waits for another one
        QVERIFY(client.takeResponse());
        QVERIFY(!server.findChildren<VondRequestThread *>().isEmpty());
        // So that it does not see the end of input and close in response.
        client.socket().setReadBufferSize(1);
        client.send(bytes);
        // It neither closes nor reads the end; the thread still ends.
        QTRY_VERIFY_WITH_TIMEOUT(server.findChildren<VondRequestThread *>().isEmpty(),
                                 http::lingerMs + 5000);
    }
};

VOND_TEST(TimeoutsTest);
#include "timeoutstest.moc"
