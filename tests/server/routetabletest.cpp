#include "server/vondrequestthread.h"
#include "server/vondserver.h"
#include "tests/support/faketool.h"
#include "tests/support/messagecatcher.h"
#include "tests/support/outputcatcher.h"
#include "tests/support/ownfolders.h"
#include "tests/support/rawclient.h"
#include "tests/support/testmain.h"

#include <QHostAddress>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

namespace {

QByteArray request(const QByteArray &method, const QByteArray &target, const QByteArray &body)
{
    return method + ' ' + target + " HTTP/1.1\r\nHost: a\r\nContent-Length: "
        + QByteArray::number(body.size()) + "\r\n\r\n" + body;
}

} // namespace

// Walks the table as a client sees it. Each route has a test of its own for the rest.
class RouteTableTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void initTestCase()
    {
        useOwnSettings();
        QCoreApplication::setApplicationVersion(QStringLiteral("7.8.9"));
        m_messages = std::make_unique<MessageCatcher>();
        m_errors = std::make_unique<OutputCatcher>(OutputCatcher::Channel::Error);
        m_server = std::make_unique<VondServer>(faketool::path());
        QVERIFY(m_server->listen(QHostAddress::LocalHost));
    }

    void cleanupTestCase()
    {
        QTRY_VERIFY(m_server->findChildren<VondRequestThread *>().isEmpty());
        m_server.reset();
        (void)m_errors->take(); // expected messages, checked in the routes' own tests
    }

    void init()
    {
        setWorkFolder(m_folder.path());
        makeFile(m_folder.filePath(QStringLiteral("result.txt")), "some words\n");
    }

    void rows_data()
    {
        QTest::addColumn<QByteArray>("method");
        QTest::addColumn<QByteArray>("target");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QByteArray>("type");
        QTest::addColumn<QByteArray>("firstWords");

        const QByteArray text = "text/plain; charset=utf-8";
        const auto anyMethod = [](const char *target,
                                  const QByteArray &type,
                                  const QByteArray &firstWords,
                                  const QByteArray &body = QByteArray()) {
            for (const char *method : {"GET", "POST", "PUT", "DELETE", "PATCH", "OPTIONS"}) {
                QTest::addRow("%s %s", method, target)
                    << QByteArray(method) << QByteArray(target) << body << type << firstWords;
            }
        };
        const auto once = [](const char *name,
                             const char *method,
                             const QByteArray &target,
                             const QByteArray &type,
                             const QByteArray &firstWords,
                             const QByteArray &body = QByteArray()) {
            QTest::newRow(name) << QByteArray(method) << target << body << type << firstWords;
        };
        anyMethod("/", text, "vondServer: Hello world");
        once("/sleep2secs", "GET", "/sleep2secs", text, "Hello world, slept 2secs");
        anyMethod("/text", text, "vondServer:abc", "abc");
        anyMethod("/vondServerVersion", text, "vondServer:7.8.9");
        once("/upload", "POST", "/upload/u.txt", "text/plain", "{\"ok\": true}", "abc");
        anyMethod("/getLogFile", text, "");
        anyMethod("/progressInf/abc", text, "/progressInf: abc");
        anyMethod("/progressInfo/unknown", text, "");
        anyMethod("/progressTest", text, "{");
        anyMethod("/version", text, "version\n");
        anyMethod("/listconfigurations", text, "listconfigurations\n");
        anyMethod("/configDetails/A%20B", text, "listconfigurations\n--format=json\n--name=A B\n");
        anyMethod("/cancelConversion/job7", text, "job7");
        anyMethod("/convert",
                  text,
                  "a_X.tif",
                  "{\"fileName\":\"a.tif\",\"reqestID\":\"1\",\"configuration\":\"X\",\"cancelID\":"
                  "\"c\"}");
        once("result", "GET", "/getConversionResult/result.txt", "text/plain", "some words\n");
        once("no result", "GET", "/getConversionResult/none", "application/x-zerosize", "");
        anyMethod("/convertWithLocalData",
                  text,
                  m_folder.path().toUtf8() + "/a",
                  "{\"fileName\":\"a.tif\",\"imgData\":\"AAAA\",\"configuration\":\"X\"}");
        anyMethod("/vond",
                  "application/json",
                  "{\"stdErr\":\"\",\"stdOut\":\"--help\\n\"}",
                  "[\"--help\"]");
        once("/vond refused", "POST", "/vond", "application/json", "{}", "nonsense");
    }

    void rows()
    {
        QFETCH(QByteArray, method);
        QFETCH(QByteArray, target);
        QFETCH(QByteArray, body);
        QFETCH(QByteArray, type);
        QFETCH(QByteArray, firstWords);

        faketool::behave(target == "/convert" ? "print nothing" : "print its arguments",
                         m_folder.path());
        RawClient client(m_server->serverPort());
        client.send(request(method, target, body));
        const auto response = client.takeResponse();
        QVERIFY(response);
        QCOMPARE(response->status(), 200);
        QCOMPARE(response->value("Content-Type"), type);
        QCOMPARE(response->body.left(firstWords.size()), firstWords);
    }

    void whatMatchesNoRow_data()
    {
        QTest::addColumn<QByteArray>("method");
        QTest::addColumn<QByteArray>("target");
        QTest::newRow("GET on upload") << QByteArray("GET") << QByteArray("/upload/a");
        QTest::newRow("PUT on upload") << QByteArray("PUT") << QByteArray("/upload/a");
        QTest::newRow("extra segment") << QByteArray("GET") << QByteArray("/configDetails/a/b");
        QTest::newRow("encoded slash") << QByteArray("GET") << QByteArray("/configDetails/a%2Fb");
        QTest::newRow("encoded slash in an upload")
            << QByteArray("POST") << QByteArray("/upload/..%2Fa");
        QTest::newRow("climbing") << QByteArray("POST") << QByteArray("/upload/../a");
        QTest::newRow("no argument") << QByteArray("GET") << QByteArray("/progressInfo/");
        QTest::newRow("no argument, no slash") << QByteArray("GET") << QByteArray("/progressInfo");
        QTest::newRow("other case") << QByteArray("GET") << QByteArray("/Version");
        QTest::newRow("trailing slash") << QByteArray("GET") << QByteArray("/version/");
        QTest::newRow("unknown") << QByteArray("GET") << QByteArray("/nothing");
    }

    void whatMatchesNoRow()
    {
        QFETCH(QByteArray, method);
        QFETCH(QByteArray, target);
        RawClient client(m_server->serverPort());
        client.send(request(method, target, {}));
        const auto response = client.takeResponse();
        QVERIFY(response);
        QCOMPARE(response->status(), 404);
        QVERIFY(response->body.isEmpty());
        QCOMPARE(response->value("Content-Type"), QByteArray("application/x-empty"));
    }

private:
    QTemporaryDir m_folder;
    std::unique_ptr<MessageCatcher> m_messages;
    std::unique_ptr<OutputCatcher> m_errors;
    std::unique_ptr<VondServer> m_server;
};

VOND_TEST(RouteTableTest);
#include "routetabletest.moc"
