#include "http/qhttpserverresponse.h"
#include "tests/support/testmain.h"

#include <QJsonObject>
#include <QTest>

using Response = QHttpServerResponse;
using StatusCode = Response::StatusCode;

Q_DECLARE_METATYPE(StatusCode)

class ResponseTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void textsAreUtf8PlainText()
    {
        const Response literal("abc");
        QCOMPARE(literal.statusCode(), StatusCode::Ok);
        QCOMPARE(literal.mimeType(), QByteArray("text/plain; charset=utf-8"));
        QCOMPARE(literal.data(), QByteArray("abc"));

        const Response text(QString::fromUtf8("\xc3\xa4"));
        QCOMPARE(text.mimeType(), QByteArray("text/plain; charset=utf-8"));
        QCOMPARE(text.data(), QByteArray("\xc3\xa4"));
    }

    void theTypeOfBytesIsDerivedFromThem()
    {
        QCOMPARE(Response(QByteArray("\x89PNG\r\n\x1a\n", 8)).mimeType(), QByteArray("image/png"));
        QCOMPARE(Response(QByteArray("II*\0", 4)).mimeType(), QByteArray("image/tiff"));
        QCOMPARE(Response(QByteArray("plain words\n")).mimeType(), QByteArray("text/plain"));
        QCOMPARE(Response(QByteArray()).mimeType(), QByteArray("application/x-zerosize"));
    }

    void anObjectIsCompactJson()
    {
        const Response response(
            QJsonObject{{QStringLiteral("b"), 1}, {QStringLiteral("a"), QString()}});
        QCOMPARE(response.mimeType(), QByteArray("application/json"));
        QCOMPARE(response.data(), QByteArray("{\"a\":\"\",\"b\":1}"));
    }

    void aStatusAloneHasAnEmptyBody()
    {
        const Response response(StatusCode::NotFound);
        QCOMPARE(response.mimeType(), QByteArray("application/x-empty"));
        QVERIFY(response.data().isEmpty());
    }

    void statusLines_data()
    {
        QTest::addColumn<StatusCode>("status");
        QTest::addColumn<QByteArray>("line");
        QTest::newRow("200") << StatusCode::Ok << QByteArray("HTTP/1.1 200 OK\r\n");
        QTest::newRow("400") << StatusCode::BadRequest
                             << QByteArray("HTTP/1.1 400 Bad Request\r\n");
        QTest::newRow("404") << StatusCode::NotFound << QByteArray("HTTP/1.1 404 Not Found\r\n");
        QTest::newRow("408") << StatusCode::RequestTimeout
                             << QByteArray("HTTP/1.1 408 Request Timeout\r\n");
        QTest::newRow("417") << StatusCode::ExpectationFailed
                             << QByteArray("HTTP/1.1 417 Expectation Failed\r\n");
        QTest::newRow("431") << StatusCode::RequestHeaderFieldsTooLarge
                             << QByteArray("HTTP/1.1 431 Request Header Fields Too Large\r\n");
        QTest::newRow("501") << StatusCode::NotImplemented
                             << QByteArray("HTTP/1.1 501 Not Implemented\r\n");
        QTest::newRow("505") << StatusCode::HttpVersionNotSupported
                             << QByteArray("HTTP/1.1 505 HTTP Version Not Supported\r\n");
    }

    void statusLines()
    {
        QFETCH(StatusCode, status);
        QFETCH(QByteArray, line);
        QVERIFY(http::responseHead(Response(status), http::Persistence::Close).startsWith(line));
    }

    void theHeadHoldsEveryPromisedFieldOnce()
    {
        const QByteArray head = http::responseHead(Response("abc"), http::Persistence::KeepAlive);
        const QRegularExpression shape(QStringLiteral(
            "\\AHTTP/1\\.1 200 OK\r\n"
            "Date: (Mon|Tue|Wed|Thu|Fri|Sat|Sun), \\d\\d "
            "(Jan|Feb|Mar|Apr|May|Jun|Jul|Aug|Sep|Oct|Nov|Dec) \\d{4} \\d\\d:\\d\\d:\\d\\d GMT\r\n"
            "Content-Type: text/plain; charset=utf-8\r\n"
            "Content-Length: 3\r\n"
            "X-Content-Type-Options: nosniff\r\n"
            "\r\n\\z"));
        QVERIFY2(shape.match(QString::fromLatin1(head)).hasMatch(), head.constData());
    }

    void theDateIsNowInGreenwich()
    {
        const QDateTime before = QDateTime::currentDateTimeUtc();
        const QString head =
            QString::fromLatin1(http::responseHead(Response("abc"), http::Persistence::KeepAlive));
        const QString text =
            head.section(QStringLiteral("Date: "), 1).section(QStringLiteral("\r\n"), 0, 0);
        QDateTime date = QDateTime::fromString(text, Qt::RFC2822Date);
        if (!date.isValid()) { // the zone's name instead of its offset
            date = QLocale::c().toDateTime(text, QStringLiteral("ddd, dd MMM yyyy HH:mm:ss 'GMT'"));
            date.setTimeSpec(Qt::UTC);
        }
        QVERIFY(date.isValid());
        QVERIFY(qAbs(before.secsTo(date)) <= 2);
    }

    void theHeadSaysWhetherTheConnectionStaysOpen()
    {
        const Response response("");
        QVERIFY(!http::responseHead(response, http::Persistence::KeepAlive).contains("Connection"));
        QVERIFY(http::responseHead(response, http::Persistence::KeepAliveAsked)
                    .contains("\r\nConnection: keep-alive\r\n"));
        QVERIFY(http::responseHead(response, http::Persistence::Close)
                    .contains("\r\nConnection: close\r\n"));
    }
};

VOND_TEST_WITHOUT_APPLICATION(ResponseTest);
#include "responsetest.moc"
