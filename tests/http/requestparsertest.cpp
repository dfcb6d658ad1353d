#include "http/requestparser.h"

#include "tests/support/testmain.h"

#include <QTest>

using http::RequestParser;
using Result = RequestParser::Result;
using Method = QHttpServerRequest::Method;

Q_DECLARE_METATYPE(Method)
Q_DECLARE_METATYPE(Result)

namespace {

// The result of feeding bytes: the requests that were parsed, and how it ended.
struct Outcome
{
    QVector<QHttpServerRequest> requests;
    Result last = Result::NeedsMore;
    int pieceOfLast = -1; // the index of the piece that gave the last result
};

// Feeds the pieces in order, as a connection does: what is left after one request begins the next,
// and if `direct`, Content-Length bodies are read directly into the parser's buffer.
Outcome feed(const QVector<QByteArray> &pieces, bool direct = false)
{
    RequestParser parser;
    Outcome outcome;
    for (int i = 0; i < pieces.size(); ++i) {
        const QByteArray &piece = pieces.at(i);
        qint64 taken = 0;
        while (taken < piece.size()) {
            qint64 room = 0;
            char *const space = direct ? parser.bodySpace(&room) : nullptr;
            qint64 consumed = 0;
            if (space != nullptr) {
                consumed = qMin(room, piece.size() - taken);
                memcpy(space, piece.constData() + taken, static_cast<size_t>(consumed));
                outcome.last = parser.bodyWritten(consumed);
            } else {
                outcome.last =
                    parser.parse(piece.constData() + taken, piece.size() - taken, &consumed);
            }
            taken += consumed;
            outcome.pieceOfLast = i;
            if (outcome.last == Result::Complete) {
                outcome.requests.append(parser.takeRequest());
            } else if (outcome.last != Result::NeedsMore) {
                return outcome;
            }
        }
    }
    return outcome;
}

QVector<QByteArray> bytewise(const QByteArray &message)
{
    QVector<QByteArray> pieces;
    for (const char byte : message) {
        pieces.append(QByteArray(1, byte));
    }
    return pieces;
}

QByteArray get(const QByteArray &lines)
{
    return "GET / HTTP/1.1\r\n" + lines + "\r\n";
}

QByteArray chunked(const QByteArray &body)
{
    return "POST /u HTTP/1.1\r\nHost: a\r\nTransfer-Encoding: chunked\r\n\r\n" + body;
}

void addValidMessages()
{
    QTest::addColumn<QByteArray>("message");
    QTest::addColumn<Method>("method");
    QTest::addColumn<QString>("path");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<bool>("keepsAlive");

    const auto row = [](const char *name,
                        const QByteArray &message,
                        Method method,
                        const char *path,
                        const QByteArray &body = QByteArray(),
                        bool keepsAlive = true) {
        QTest::newRow(name) << message << method << QString::fromUtf8(path) << body << keepsAlive;
    };

    row("plain GET", get("Host: a\r\n"), Method::Get, "/");
    row("PUT", "PUT /p HTTP/1.1\r\nHost: a\r\nContent-Length: 0\r\n\r\n", Method::Put, "/p");
    row("DELETE", "DELETE /p HTTP/1.1\r\nHost: a\r\n\r\n", Method::Delete, "/p");
    row("HEAD", "HEAD /p HTTP/1.1\r\nHost: a\r\n\r\n", Method::Head, "/p");
    row("PATCH",
        "PATCH /p HTTP/1.1\r\nHost: a\r\nContent-Length: 1\r\n\r\nx",
        Method::Patch,
        "/p",
        "x");
    row("OPTIONS with the asterisk", "OPTIONS * HTTP/1.1\r\nHost: a\r\n\r\n", Method::Options, "*");
    row("absolute form", "GET http://b:80/x?y=1 HTTP/1.1\r\nHost: a\r\n\r\n", Method::Get, "/x");
    row("empty Host", get("Host:\r\n"), Method::Get, "/");
    row("Host with a port", get("Host: [::1]:8080\r\n"), Method::Get, "/");
    row("blanks around a value", get("Host: \t a \t \r\n"), Method::Get, "/");
    row("query left off the path", "GET /x?a=/b HTTP/1.1\r\nHost: a\r\n\r\n", Method::Get, "/x");
    row("two slashes stay a path",
        "GET //etc/x HTTP/1.1\r\nHost: a\r\n\r\n",
        Method::Get,
        "//etc/x");
    row("encoded slash", "GET /a%2Fb HTTP/1.1\r\nHost: a\r\n\r\n", Method::Get, "/a/b");
    row("raw UTF-8 in the target",
        "GET /\xc3\xa4 HTTP/1.1\r\nHost: a\r\n\r\n",
        Method::Get,
        "/\xc3\xa4");
    row("raw braces in the target", "GET /{a} HTTP/1.1\r\nHost: a\r\n\r\n", Method::Get, "/{a}");
    row("no percent encoding", "GET /100% HTTP/1.1\r\nHost: a\r\n\r\n", Method::Get, "/100%");
    row("bytes from 0x80 up in a value", get("Host: a\r\nX: \xff\xfe\r\n"), Method::Get, "/");
    row("empty lines in front", "\r\n\r\n" + get("Host: a\r\n"), Method::Get, "/");
    row("asked to close", get("Host: a\r\nConnection: close\r\n"), Method::Get, "/", {}, false);
    row("asked to close, in a list",
        get("Host: a\r\nConnection: te, CLOSE\r\n"),
        Method::Get,
        "/",
        {},
        false);
    row("HTTP/1.0", "GET / HTTP/1.0\r\n\r\n", Method::Get, "/", {}, false);
    row("HTTP/1.0 kept alive",
        "GET / HTTP/1.0\r\nConnection: Keep-Alive\r\n\r\n",
        Method::Get,
        "/",
        {},
        true);
    row("HTTP/1.0 with an expectation, which means nothing there",
        "POST / HTTP/1.0\r\nExpect: x\r\nContent-Length: 1\r\n\r\nx",
        Method::Post,
        "/",
        "x",
        false);
    row("body of told length",
        "POST /u HTTP/1.1\r\nHost: a\r\nContent-Length: 5\r\n\r\n" + QByteArray("a\r\n\0b", 5),
        Method::Post,
        "/u",
        QByteArray("a\r\n\0b", 5));
    row("the same length twice",
        "POST /u HTTP/1.1\r\nHost: a\r\nContent-Length: 2\r\nContent-Length: 2\r\n\r\nxy",
        Method::Post,
        "/u",
        "xy");
    row("body of a GET",
        "GET /u HTTP/1.1\r\nHost: a\r\nContent-Length: 2\r\n\r\nxy",
        Method::Get,
        "/u",
        "xy");
    row("chunks", chunked("3\r\nabc\r\n2\r\nde\r\n0\r\n\r\n"), Method::Post, "/u", "abcde");
    row("no chunk but the last", chunked("0\r\n\r\n"), Method::Post, "/u");
    row("chunk sizes in hex and with zeros",
        chunked("00A\r\n0123456789\r\nb\r\n01234567890\r\n000\r\n\r\n"),
        Method::Post,
        "/u",
        "012345678901234567890");
    row("chunk extensions are ignored",
        chunked("3;a=b;c=\"d;e\"\r\nabc\r\n0;f\r\n\r\n"),
        Method::Post,
        "/u",
        "abc");
    row("quotes and backslashes in a quoted chunk extension",
        chunked("3;a=\"\\\"b\\\\\"\r\nabc\r\n0;c=\"\"\r\n\r\n"),
        Method::Post,
        "/u",
        "abc");
    row("blank behind a chunk's line end is data",
        chunked("3\r\n\r\n \r\n0\r\nX: y\r\n\r\n"),
        Method::Post,
        "/u",
        "\r\n ");
    row("trailers are ignored",
        chunked("3\r\nabc\r\n0\r\nX: y\r\nZ: 1\r\n\r\n"),
        Method::Post,
        "/u",
        "abc");
    row("coding name in capitals",
        "POST /u HTTP/1.1\r\nHost: a\r\nTransfer-Encoding: \tCHUNKED \r\n\r\n1\r\nx\r\n0\r\n\r\n",
        Method::Post,
        "/u",
        "x");
    row("expectation in capitals",
        "POST /u HTTP/1.1\r\nHost: a\r\nExpect: 100-Continue\r\nContent-Length: 1\r\n\r\nx",
        Method::Post,
        "/u",
        "x");
}

} // namespace

class RequestParserTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void aValidMessageIsReadWhole_data()
    {
        addValidMessages();
    }

    void aValidMessageIsReadWhole()
    {
        QFETCH(QByteArray, message);
        QFETCH(Method, method);
        QFETCH(QString, path);
        QFETCH(QByteArray, body);
        QFETCH(bool, keepsAlive);

        const Outcome outcome = feed({message});
        QCOMPARE(outcome.last, Result::Complete);
        QCOMPARE(outcome.requests.size(), 1);
        const QHttpServerRequest &request = outcome.requests.first();
        QCOMPARE(request.method(), method);
        QCOMPARE(request.url().path(QUrl::FullyDecoded), path);
        QCOMPARE(request.body(), body);
        QCOMPARE(request.keepsAlive(), keepsAlive);
    }

    void aValidMessageIsTheSameSplitAtEveryByte_data()
    {
        addValidMessages();
    }

    void aValidMessageIsTheSameSplitAtEveryByte()
    {
        QFETCH(QByteArray, message);
        const QHttpServerRequest whole = feed({message}).requests.first();
        QVector<QVector<QByteArray>> ways = {bytewise(message)};
        for (int at = 1; at < message.size(); ++at) {
            ways.append({message.left(at), message.mid(at)});
        }
        for (const QVector<QByteArray> &pieces : qAsConst(ways)) {
            for (const bool direct : {false, true}) {
                const Outcome outcome = feed(pieces, direct);
                QCOMPARE(outcome.last, Result::Complete);
                QCOMPARE(outcome.requests.size(), 1);
                // Not before the last byte: an earlier end would leave some for the next request.
                QCOMPARE(outcome.pieceOfLast, pieces.size() - 1);
                const QHttpServerRequest &request = outcome.requests.first();
                QCOMPARE(request.method(), whole.method());
                QCOMPARE(request.url(), whole.url());
                QCOMPARE(request.headers(), whole.headers());
                QCOMPARE(request.body(), whole.body());
                QCOMPARE(request.keepsAlive(), whole.keepsAlive());
            }
        }
    }

    void aValidMessageTwiceInARowIsTwoRequests_data()
    {
        addValidMessages();
    }

    void aValidMessageTwiceInARowIsTwoRequests()
    {
        QFETCH(QByteArray, message);
        QFETCH(QByteArray, body);
        const QByteArray twice = message + message;
        for (int at = 0; at < twice.size(); ++at) {
            const Outcome outcome = feed({twice.left(at), twice.mid(at)});
            QCOMPARE(outcome.requests.size(), 2);
            QCOMPARE(outcome.requests.first().body(), body);
            QCOMPARE(outcome.requests.last().body(), body);
            QCOMPARE(outcome.requests.last().headers(), outcome.requests.first().headers());
        }
    }

    void aBadMessageIsRejectedAtEverySplit_data()
    {
        QTest::addColumn<QByteArray>("message");
        QTest::addColumn<Result>("refusal");

        const auto bad =
            [](const char *name, const QByteArray &message, Result refusal = Result::Malformed) {
                QTest::newRow(name) << message << refusal;
            };
        const auto length = [](const QByteArray &value) {
            return "POST / HTTP/1.1\r\nHost: a\r\nContent-Length: " + value + "\r\n\r\nxxxxxxxxxx";
        };
        const auto coding = [](const QByteArray &value) {
            return "POST / HTTP/1.1\r\nHost: a\r\nTransfer-Encoding: " + value
                + "\r\n\r\n0\r\n\r\n";
        };

        bad("noise", "\x16\x03\x01\x02\r\n");
        bad("no method", " / HTTP/1.1\r\nHost: a\r\n\r\n");
        bad("blank before the method", " GET / HTTP/1.1\r\nHost: a\r\n\r\n");
        bad("illegal byte in the method", "G@T / HTTP/1.1\r\nHost: a\r\n\r\n");
        bad("no target", "GET HTTP/1.1\r\nHost: a\r\n\r\n");
        bad("two blanks in the request line", "GET  / HTTP/1.1\r\nHost: a\r\n\r\n");
        bad("tab in the request line", "GET\t/\tHTTP/1.1\r\nHost: a\r\n\r\n");
        bad("blank in the target", "GET /a b HTTP/1.1\r\nHost: a\r\n\r\n");
        bad("blank behind the version", "GET / HTTP/1.1 \r\nHost: a\r\n\r\n");
        bad("control byte in the target", "GET /\x01 HTTP/1.1\r\nHost: a\r\n\r\n");
        bad("DEL in the target", "GET /\x7f HTTP/1.1\r\nHost: a\r\n\r\n");
        bad("NUL in the target", QByteArray("GET /\0 HTTP/1.1\r\nHost: a\r\n\r\n", 29));
        bad("target of no form", "GET a HTTP/1.1\r\nHost: a\r\n\r\n");
        bad("asterisk with GET", "GET * HTTP/1.1\r\nHost: a\r\n\r\n");
        bad("absolute form without a host", "GET http:///x HTTP/1.1\r\nHost: a\r\n\r\n");
        bad("absolute form with a user", "GET http://u@b/x HTTP/1.1\r\nHost: a\r\n\r\n");
        bad("no version", "GET /\r\nHost: a\r\n\r\n");
        bad("empty version, nothing else", "GET / \r\n\r\n");
        bad("version of one letter, nothing else", "GET / x\r\n\r\n");
        bad("version cut short, nothing else", "GET / HTT\r\n\r\n");
        bad("version cut short, a request behind", "GET / HTT\r\n\r\n" + get("Host: a\r\n"));
        bad("version in lower case", "GET / http/1.1\r\nHost: a\r\n\r\n");
        bad("version of one digit", "GET / HTTP/1\r\nHost: a\r\n\r\n");
        bad("version of three digits", "GET / HTTP/1.10\r\nHost: a\r\n\r\n");
        bad("version with a letter", "GET / HTTP/1.x\r\nHost: a\r\n\r\n");
        bad("later version", "GET / HTTP/2.0\r\nHost: a\r\n\r\n", Result::VersionUnknown);
        bad("HTTP/2 preface", "PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n", Result::VersionUnknown);
        bad("HTTP/1.2", "GET / HTTP/1.2\r\nHost: a\r\n\r\n", Result::VersionUnknown);
        bad("HTTP/0.9", "GET / HTTP/0.9\r\n\r\n", Result::VersionUnknown);
        bad("unknown method", "BREW / HTTP/1.1\r\nHost: a\r\n\r\n", Result::MethodUnknown);
        bad("method in lower case", "get / HTTP/1.1\r\nHost: a\r\n\r\n", Result::MethodUnknown);
        bad("TRACE", "TRACE / HTTP/1.1\r\nHost: a\r\n\r\n", Result::MethodUnknown);
        bad("CONNECT", "CONNECT a:80 HTTP/1.1\r\nHost: a\r\n\r\n", Result::MethodUnknown);

        bad("bare LF behind the request line", "GET / HTTP/1.1\nHost: a\r\n\r\n");
        bad("bare LF behind a field", "GET / HTTP/1.1\r\nHost: a\nX: y\r\n\r\n");
        bad("bare LF as the empty line", "GET / HTTP/1.1\r\nHost: a\r\n\n");
        bad("bare LF in front", "\nGET / HTTP/1.1\r\nHost: a\r\n\r\n");
        bad("bare CR in a value", get("Host: a\r\nX: a\rb\r\n"));
        bad("bare CR behind the request line", "GET / HTTP/1.1\rHost: a\r\n\r\n");
        bad("two CRs before the LF", "GET / HTTP/1.1\r\r\nHost: a\r\n\r\n");
        bad("folded line", get("Host: a\r\nX: a\r\n b\r\n"));
        bad("line folded with a tab", get("Host: a\r\nX: a\r\n\tb\r\n"));
        bad("first field begins with a blank", get(" Host: a\r\n"));
        bad("blank before the colon", get("Host : a\r\n"));
        bad("tab before the colon", get("Host\t: a\r\n"));
        bad("no colon", get("Host: a\r\nnonsense\r\n"));
        bad("no name", get("Host: a\r\n: x\r\n"));
        bad("illegal byte in a name", get("Host: a\r\nX(y): z\r\n"));
        bad("byte from 0x80 up in a name", get("Host: a\r\n\xc3\xa4: z\r\n"));
        bad("NUL in a value", get(QByteArray("Host: a\r\nX: a\0b\r\n", 17)));
        bad("control byte in a value", get("Host: a\r\nX: \x08\r\n"));
        bad("DEL in a value", get("Host: a\r\nX: \x7f\r\n"));

        bad("no Host", get(""));
        bad("two Hosts", get("Host: a\r\nHost: b\r\n"));
        bad("the same Host twice", get("Host: a\r\nhost: a\r\n"));
        bad("two Hosts in HTTP/1.0", "GET / HTTP/1.0\r\nHost: a\r\nHost: a\r\n\r\n");
        bad("Host with a blank", get("Host: a b\r\n"));
        bad("Host with a slash", get("Host: a/b\r\n"));
        bad("Host with a user", get("Host: u@a\r\n"));
        bad("Host with letters for a port", get("Host: a:b\r\n"));
        bad("Host with a bracket left open", get("Host: [::1\r\n"));

        bad("length with a sign", length("+1"));
        bad("negative length", length("-1"));
        bad("length in hex", length("0x1"));
        bad("length with a blank inside", length("1 1"));
        bad("empty length", length(""));
        bad("length beyond 64 bits", length("18446744073709551616"));
        bad("length with a trailing comma", length("1,"));
        bad("two lengths in a list", length("1, 2"));
        bad("two lengths", length("1\r\nContent-Length: 2"));
        bad("length, then chunked", length("1\r\nTransfer-Encoding: chunked"));
        bad("chunked, then length", coding("chunked\r\nContent-Length: 1"));
        bad("length with an unknown coding", length("1\r\nTransfer-Encoding: x"));

        bad("coding that is not chunked", coding("gzip"));
        bad("identity", coding("identity"));
        bad("xchunked", coding("xchunked"));
        bad("chunked with a parameter", coding("chunked;q=1"));
        bad("chunked in quotes", coding("\"chunked\""));
        bad("chunked not at the end", coding("chunked, gzip"));
        bad("chunked twice", coding("chunked, chunked"));
        bad("chunked on two lines", coding("chunked\r\nTransfer-Encoding: chunked"));
        bad("chunked, then identity on a line of its own",
            coding("chunked\r\nTransfer-Encoding: identity"));
        bad("empty coding", coding(""));
        bad("empty member in the codings", coding(", chunked"));
        bad("vertical tab before chunked",
            coding("\x0b"
                   "chunked"));
        bad("other coding before chunked", coding("gzip, chunked"), Result::CodingUnknown);
        bad("other coding on a line before",
            coding("gzip\r\nTransfer-Encoding: chunked"),
            Result::CodingUnknown);
        bad("chunked in HTTP/1.0",
            "POST / HTTP/1.0\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n");
        bad("unknown expectation",
            get("Host: a\r\nExpect: coffee\r\n"),
            Result::ExpectationUnknown);
        bad("one known and one unknown expectation",
            get("Host: a\r\nExpect: 100-continue, x\r\n"),
            Result::ExpectationUnknown);

        bad("chunk without a size", chunked("\r\nabc\r\n0\r\n\r\n"));
        bad("chunk size that is no number", chunked("x\r\nabc\r\n0\r\n\r\n"));
        bad("negative chunk size", chunked("-1\r\nabc\r\n0\r\n\r\n"));
        bad("chunk size with 0x", chunked("0x3\r\nabc\r\n0\r\n\r\n"));
        bad("chunk size beyond 64 bits", chunked("10000000000000000\r\nabc\r\n0\r\n\r\n"));
        bad("blank behind a chunk size", chunked("3 \r\nabc\r\n0\r\n\r\n"));
        bad("blank before a chunk size", chunked(" 3\r\nabc\r\n0\r\n\r\n"));
        bad("bare LF behind a chunk size", chunked("3\nabc\r\n0\r\n\r\n"));
        bad("bare CR behind a chunk size", chunked("3\rabc\r\n0\r\n\r\n"));
        bad("bare LF behind chunk data", chunked("3\r\nabc\n0\r\n\r\nxxxxx"));
        bad("chunk longer than its size, by what ends a line", chunked("3\r\n0abc\r\no: \r\nxy"));
        bad("chunk longer than its size, by a last chunk", chunked("1\r\n\n0\r\nX: y\r\nxyz"));
        bad("chunk longer than its size", chunked("3\r\nabcd\r\n0\r\n\r\n"));
        bad("chunk shorter than its size", chunked("5\r\nabc\r\n0\r\n\r\nxxxxx"));
        bad("bare LF in a quoted chunk extension", chunked("3;a=\"\n\"\r\nabc\r\n0\r\n\r\n"));
        bad("control byte in a quoted chunk extension",
            chunked("3;a=\"\x01\"\r\nabc\r\n0\r\n\r\n"));
        bad("quote left open in a chunk extension", chunked("3;a=\"b\r\nabc\r\n0\r\n\r\n"));
        bad("quote left open behind a backslash", chunked("3;a=\"b\\\r\nabc\r\n0\r\n\r\n"));
        bad("quote left open by a later chunk", chunked("1\r\nx\r\n3;a=\"\r\nabc\r\n0\r\n\r\n"));
        bad("quote left open by the last chunk", chunked("3\r\nabc\r\n0;a=\"b\r\n\r\n"));
        bad("quote closed on the next line", chunked("3;a=\"b\r\n\"c\r\n0\r\n\r\n"));
        bad("chunk extension without a name", chunked("3;\r\nabc\r\n0\r\n\r\n"));
        bad("bare LF in the trailers", chunked("0\r\nX: y\nZ: 1\r\n\r\n"));
        bad("trailer without a colon", chunked("0\r\nnonsense\r\n\r\n"));
        bad("folded trailer", chunked("0\r\nX: y\r\n z\r\n\r\n"));
        bad("folded trailer behind chunks and other trailers",
            chunked("3\r\nabc\r\n2;a=b\r\nde\r\n0;c\r\nX: y\r\nY: " + QByteArray(300, 'y')
                    + "\r\nZ: 1\r\n\t2\r\n\r\n"));
        bad("length in the trailers", chunked("0\r\nContent-Length: 5\r\n\r\n"));
        bad("coding in the trailers", chunked("0\r\nTransfer-Encoding: chunked\r\n\r\n"));

        const auto tooLong = QByteArray::number(http::largestBody + 1);
        bad("length that no byte array holds", length(tooLong), Result::BodyTooLarge);
        bad("length of two to the 32nd", length("4294967296"), Result::BodyTooLarge);
        bad("length of 64 bits", length("18446744073709551615"), Result::BodyTooLarge);
        bad("the same length twice, too large",
            length(tooLong + "\r\nContent-Length: " + tooLong),
            Result::BodyTooLarge);
        bad("length too large, to be continued",
            length(tooLong + "\r\nExpect: 100-continue"),
            Result::BodyTooLarge);
        bad("chunk that no byte array holds", chunked("7fffffe7\r\nabc"), Result::BodyTooLarge);
        bad("chunk of 32 bits", chunked("ffffffff\r\nabc"), Result::BodyTooLarge);
        bad("chunk of 64 bits", chunked("ffffffffffffffff\r\nabc"), Result::BodyTooLarge);
        bad("chunk too large, with an extension",
            chunked("7fffffe7;a=b\r\nabc"),
            Result::BodyTooLarge);
        bad("chunks that together no byte array holds",
            chunked("1\r\nx\r\n7fffffe6\r\nabc"),
            Result::BodyTooLarge);

        const QByteArray filler(http::largestHead, 'x');
        bad("head too large by a value",
            get("Host: a\r\nX: " + filler + "\r\n"),
            Result::HeadTooLarge);
        bad("head too large by the target", "GET /" + filler, Result::HeadTooLarge);
        bad("chunk extension without end", chunked("1;" + filler + "xx"), Result::HeadTooLarge);
        bad("trailers without end", chunked("0\r\nX: " + filler + "xx"), Result::HeadTooLarge);
        bad("many trailers without end",
            chunked("0\r\n" + QByteArray("X: y\r\n").repeated(http::largestChunkFraming / 6 + 1)),
            Result::HeadTooLarge);
    }

    void aBadMessageIsRejectedAtEverySplit()
    {
        QFETCH(QByteArray, message);
        QFETCH(Result, refusal);

        QVector<QVector<QByteArray>> ways = {{message}, bytewise(message)};
        // Long messages only at some positions: every position takes minutes and shows no more.
        const int step = qMax(1, message.size() / 256);
        for (int at = 1; at < message.size(); at += step) {
            ways.append({message.left(at), message.mid(at)});
        }
        for (const QVector<QByteArray> &pieces : qAsConst(ways)) {
            const Outcome outcome = feed(pieces);
            QCOMPARE(outcome.last, refusal);
            QVERIFY(outcome.requests.isEmpty());
        }
        // And after a valid request, which is not lost.
        const Outcome second = feed({get("Host: a\r\n") + message});
        QCOMPARE(second.last, refusal);
        QCOMPARE(second.requests.size(), 1);
    }

    void everyPrefixOfAValidMessageWaitsForMore_data()
    {
        addValidMessages();
    }

    void everyPrefixOfAValidMessageWaitsForMore()
    {
        QFETCH(QByteArray, message);
        for (int length = 1; length < message.size(); ++length) {
            const Outcome outcome = feed({message.left(length)});
            QCOMPARE(outcome.last, Result::NeedsMore);
            QVERIFY(outcome.requests.isEmpty());
        }
    }

    void aHeadOfTheLargestSizeIsTaken()
    {
        const QByteArray frame = get("Host: a\r\nX: \r\n");
        const QByteArray value(http::largestHead - frame.size(), 'x');
        const Outcome outcome = feed({get("Host: a\r\nX: " + value + "\r\n")});
        QCOMPARE(outcome.last, Result::Complete);
        QCOMPARE(outcome.requests.first().value("x"), value);

        QCOMPARE(feed({get("Host: a\r\nX: " + value + "x\r\n")}).last, Result::HeadTooLarge);
    }

    void fieldsAreFoundInAnyCaseAndRepeatedOnesAreJoined()
    {
        const Outcome outcome = feed({get("Host: a\r\nX-One: 1\r\nx-one: 2\r\nEmpty:\r\n")});
        const QHttpServerRequest &request = outcome.requests.first();
        QCOMPARE(request.value("HOST"), QByteArray("a"));
        QCOMPARE(request.value("X-ONE"), QByteArray("1, 2"));
        QCOMPARE(request.value("Empty"), QByteArray());
        QCOMPARE(request.value("Absent"), QByteArray());
        QCOMPARE(request.headers().size(), 4);
        QCOMPARE(request.headers().at(1).first, QByteArray("X-One"));
    }

    void theUrlIsResolvedAgainstTheHost()
    {
        const Outcome outcome = feed({"GET /a?b HTTP/1.1\r\nHost: h:81\r\n\r\n"
                                      "GET /a HTTP/1.0\r\nConnection: keep-alive\r\n\r\n"
                                      "GET http://o/p HTTP/1.1\r\nHost: h\r\n\r\n"
                                      "GET http://o HTTP/1.1\r\nHost: h\r\n\r\n"
                                      "GET http://o?q HTTP/1.1\r\nHost: h\r\n\r\n"
                                      "GET /a HTTP/1.1\r\nHost: h:99999\r\n\r\n"
                                      "GET /a HTTP/1.1\r\nHost: [::zz]\r\n\r\n"
                                      "OPTIONS * HTTP/1.1\r\nHost: h\r\n\r\n"});
        QCOMPARE(outcome.requests.at(0).url(), QUrl(QStringLiteral("http://h:81/a?b")));
        QCOMPARE(outcome.requests.at(1).url(), QUrl(QStringLiteral("http://localhost/a")));
        QCOMPARE(outcome.requests.at(2).url(), QUrl(QStringLiteral("http://o/p")));
        QCOMPARE(outcome.requests.at(3).url(), QUrl(QStringLiteral("http://o/")));
        QCOMPARE(outcome.requests.at(4).url(), QUrl(QStringLiteral("http://o/?q")));
        QCOMPARE(outcome.requests.at(5).url(), QUrl(QStringLiteral("http://localhost/a")));
        QCOMPARE(outcome.requests.at(6).url(), QUrl(QStringLiteral("http://localhost/a")));
        QCOMPARE(outcome.requests.at(7).url().path(), QStringLiteral("*"));
    }

    void aHostLongerThanANameCanBeLeavesThePathAsItIs_data()
    {
        QTest::addColumn<QByteArray>("authority");
        QTest::addColumn<bool>("kept");

        const QByteArray longest = QByteArray("h.").repeated(127) + "h:65535";
        QTest::newRow("the longest") << longest << true;
        QTest::newRow("one byte more") << "h" + longest << false;
        QTest::newRow("accents in two orders")
            << "a" + QByteArray("%CC%80").repeated(5000) + QByteArray("%CC%A7").repeated(4900)
            << false;
    }

    void aHostLongerThanANameCanBeLeavesThePathAsItIs()
    {
        QFETCH(QByteArray, authority);
        QFETCH(bool, kept);

        const QByteArray target = "//a%2Fb?c";
        const Outcome outcome =
            feed({"GET " + target + " HTTP/1.1\r\nHost: " + authority + "\r\n\r\n" + "GET http://"
                      + authority + target + " HTTP/1.1\r\nHost: h\r\n\r\n",
                  "GET http://" + authority + " HTTP/1.1\r\nHost: h\r\n\r\n"});
        QCOMPARE(outcome.requests.size(), 3);
        for (int i = 0; i < 2; ++i) {
            const QUrl url = outcome.requests.at(i).url();
            QCOMPARE(url.path(QUrl::FullyDecoded), QStringLiteral("//a/b"));
            QCOMPARE(url.query(), QStringLiteral("c"));
            QCOMPARE(url.host() == QLatin1String("localhost"), !kept);
        }
        QCOMPARE(outcome.requests.last().url().path(), QStringLiteral("/"));
    }

    void theInterimAnswerIsOwedOnceAndOnlyWhileNoBodyByteHasCome_data()
    {
        QTest::addColumn<QByteArray>("message");
        QTest::addColumn<bool>("owed");

        const QByteArray start = "POST / HTTP/1.1\r\nHost: a\r\nExpect: 100-continue\r\n";
        QTest::newRow("length, no byte yet") << start + "Content-Length: 3\r\n\r\n" << true;
        QTest::newRow("length, one byte") << start + "Content-Length: 3\r\n\r\nx" << false;
        QTest::newRow("length 0: no body to wait for") << start + "Content-Length: 0\r\n\r\n"
                                                       << false;
        QTest::newRow("no body at all") << start + "\r\n" << false;
        QTest::newRow("chunked, no byte yet") << start + "Transfer-Encoding: chunked\r\n\r\n"
                                              << true;
        QTest::newRow("chunked, begun") << start + "Transfer-Encoding: chunked\r\n\r\n5" << false;
        QTest::newRow("head not whole") << start + "Content-Length: 3\r\n" << false;
        QTest::newRow("HTTP/1.0") << QByteArray(
            "POST / HTTP/1.0\r\nExpect: 100-continue\r\nContent-Length: 3\r\n\r\n")
                                  << false;
        QTest::newRow("not expected")
            << QByteArray("POST / HTTP/1.1\r\nHost: a\r\nContent-Length: 3\r\n\r\n") << false;
    }

    void theInterimAnswerIsOwedOnceAndOnlyWhileNoBodyByteHasCome()
    {
        QFETCH(QByteArray, message);
        QFETCH(bool, owed);
        RequestParser parser;
        qint64 consumed = 0;
        (void)parser.parse(message.constData(), message.size(), &consumed); // checked below
        qint64 room = 0;
        (void)parser.bodySpace(&room); // providing room for the body is not receiving it
        QCOMPARE(parser.takeContinue(), owed);
        QVERIFY(!parser.takeContinue());
    }

    void aHeadHasBegunFromItsFirstByteToItsLast()
    {
        RequestParser parser;
        const auto take = [&parser](const QByteArray &bytes) {
            qint64 consumed = 0;
            return parser.parse(bytes.constData(), bytes.size(), &consumed);
        };
        QVERIFY(!parser.headBegun());
        QCOMPARE(take("\r\n"), Result::NeedsMore); // an empty line in front is not part of it
        QVERIFY(!parser.headBegun());
        QCOMPARE(take("G"), Result::NeedsMore);
        QVERIFY(parser.headBegun());
        QCOMPARE(take("ET / HTTP/1.1\r\nHost: a\r\nContent-Length: 1\r\n\r\n"), Result::NeedsMore);
        QVERIFY(!parser.headBegun());
        QCOMPARE(take("x"), Result::Complete);
        QCOMPARE(parser.method(), Method::Get);
        QCOMPARE(parser.takeRequest().body(), QByteArray("x"));
        QVERIFY(!parser.headBegun());
    }

    void unfinishedFramingHasANumberOfItsOwn()
    {
        RequestParser parser;
        const auto after = [&parser](const QByteArray &bytes) {
            qint64 consumed = 0;
            const Result result = parser.parse(bytes.constData(), bytes.size(), &consumed);
            return result == Result::NeedsMore ? parser.unfinishedFraming() : -1;
        };
        constexpr qint64 none = 0;
        QCOMPARE(after("\r\n"), none);
        const qint64 head = after("P");
        QVERIFY(head > none);
        QCOMPARE(after("OST / HTTP/1.1\r\nHost: a\r\n"), head); // more bytes change nothing
        QCOMPARE(after("Transfer-Encoding: chunked\r\n\r\n"), none);

        const qint64 first = after("1");
        QVERIFY(first > head);
        QCOMPARE(after("\r"), first);
        QCOMPARE(after("\n"),
                 none); // data may take its time, even before the first chunk
        QCOMPARE(after("x"), none);
        const qint64 second = after("\r");
        QVERIFY(second > first);
        QCOMPARE(after("\n"), none); // the client decides when the next chunk comes
        QCOMPARE(after("2"), second);
        QCOMPARE(after(";a"), second);
        QCOMPARE(after("\r\nx"), none);
        // One read may end a line and begin the next.
        const qint64 third = after("y\r\n3");
        QVERIFY(third > second);
        const qint64 fourth = after("\r\nabc\r\n1");
        QVERIFY(fourth > third);
        QCOMPARE(after("\r\nd\r\n"), none);

        const qint64 last = after("0\r\n");
        QVERIFY(last > fourth);
        QCOMPARE(after("X: y\r\n"), last);
        QCOMPARE(after("Z: 1\r\n"), last);
        qint64 consumed = 0;
        QCOMPARE(parser.parse("\r\nG", 3, &consumed), Result::Complete);
        QCOMPARE(consumed, qint64(2));
        QCOMPARE(parser.unfinishedFraming(), none);
        QCOMPARE(parser.takeRequest().body(), QByteArray("xxyabcd"));
        QVERIFY(after("G") > last);

        RequestParser empty;
        const QByteArray noChunk = chunked("0\r\n");
        QCOMPARE(empty.parse(noChunk.constData(), noChunk.size(), &consumed), Result::NeedsMore);
        QVERIFY(empty.unfinishedFraming() > none);
    }

    void aLengthAloneClaimsLittleMemory()
    {
        RequestParser parser;
        const QByteArray message =
            "POST / HTTP/1.1\r\nHost: a\r\nContent-Length: 2000000000\r\n\r\nx";
        qint64 consumed = 0;
        QCOMPARE(parser.parse(message.constData(), message.size(), &consumed), Result::NeedsMore);
        qint64 room = 0;
        QVERIFY(parser.bodySpace(&room) != nullptr);
        QVERIFY(room < qint64{2} * 1024 * 1024);
    }

    void aLargeBodyComesWholeThroughEveryDoor()
    {
        QByteArray body(5 * 1024 * 1024 + 7, '\0');
        for (int i = 0; i < body.size(); ++i) {
            body[i] = static_cast<char>((static_cast<unsigned>(i) * 7919U) >> 3U);
        }
        const QByteArray head = "POST / HTTP/1.1\r\nHost: a\r\nContent-Length: "
            + QByteArray::number(body.size()) + "\r\n\r\n";
        for (const bool direct : {false, true}) {
            const Outcome outcome = feed({head + body, head, body.left(99), body.mid(99)}, direct);
            QCOMPARE(outcome.requests.size(), 2);
            QVERIFY(outcome.requests.first().body() == body);
            QVERIFY(outcome.requests.last().body() == body);
        }
        QByteArray chunks;
        for (int at = 0; at < body.size(); at += 100000) {
            const QByteArray chunk = body.mid(at, 100000);
            chunks += QByteArray::number(chunk.size(), 16) + "\r\n" + chunk + "\r\n";
        }
        const Outcome outcome = feed({chunked(chunks + "0\r\n\r\n")});
        QCOMPARE(outcome.requests.size(), 1);
        QVERIFY(outcome.requests.first().body() == body);
    }
};

VOND_TEST_WITHOUT_APPLICATION(RequestParserTest);
#include "requestparsertest.moc"
