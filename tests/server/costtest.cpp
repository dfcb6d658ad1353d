// The work that a client can cause, compared with what it has to send: eight times the input must
// take about eight times the processor time, not sixty-four times.
#include "commands/vondanswer.h"
#include "commands/vondelement.h"
#include "http/qhttpserverrouter.h"
#include "http/requestparser.h"
#include "jobs/conversionplan.h"
#include "tests/support/ownfolders.h"
#include "tests/support/testmain.h"

#include <QLoggingCategory>
#include <QTest>

#include <algorithm>
#include <ctime>
#include <functional>
#include <limits>

namespace {

// Work whose input is prepared, so that only the work is measured.
using Work = std::function<void()>;
using Maker = std::function<Work(int)>; // the work for an input of that size

constexpr int growth = 8;
constexpr int headPart = 7800; // eight of them fit into a head

// Between 8, which is linear, and 64, which is quadratic, with room for disturbances.
constexpr double steepest = 24;

double processorSeconds()
{
    timespec time = {};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

// The shortest of several tries: disturbances only add time.
double secondsFor(const Work &work)
{
    constexpr int tries = 7;
    double shortest = std::numeric_limits<double>::max();
    for (int i = 0; i < tries; ++i) {
        const double start = processorSeconds();
        work();
        shortest = std::min(shortest, processorSeconds() - start);
    }
    return shortest;
}

// Repeated up to the size.
QByteArray filled(const QByteArray &pattern, int size)
{
    return pattern.repeated(size / pattern.size());
}

// Parses the bytes as if they arrived in steps of that size, and looks up a route for every
// request.
void serve(const QByteArray &bytes, int step)
{
    http::RequestParser parser;
    int at = 0;
    while (at < bytes.size()) {
        qint64 consumed = 0;
        const auto result =
            parser.parse(bytes.constData() + at, std::min(step, bytes.size() - at), &consumed);
        at += static_cast<int>(consumed);
        if (result == http::RequestParser::Result::Complete) {
            static const QHttpServerRouterRule rule(
                QStringLiteral("/<arg>"),
                [](const QRegularExpressionMatch &, const QHttpServerRequest &, QTcpSocket *) {});
            const QHttpServerRequest request = parser.takeRequest();
            (void)rule.exec(request.url().path(QUrl::FullyDecoded), request, nullptr);
        } else if (result != http::RequestParser::Result::NeedsMore) {
            return;
        } else {
            (void)parser.unfinishedFraming(); // as a connection asks after every read
        }
    }
}

Maker served(const std::function<QByteArray(int)> &message, int step = 16384)
{
    return [message, step](int size) -> Work {
        return [bytes = message(size), step] { serve(bytes, step); };
    };
}

QByteArray get(const QByteArray &target, const QByteArray &host = "a", const QByteArray &more = {})
{
    return "GET " + target + " HTTP/1.1\r\nHost: " + host + "\r\n" + more + "\r\n";
}

QByteArray chunked(const QByteArray &body)
{
    return "POST / HTTP/1.1\r\nHost: a\r\nTransfer-Encoding: chunked\r\n\r\n" + body;
}

} // namespace

Q_DECLARE_METATYPE(Maker)

class CostTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void initTestCase()
    {
        useOwnSettings();
        // Logging every key would hide the cost of finding it.
        QLoggingCategory::setFilterRules(QStringLiteral("*=false"));
    }

    void timeGrowsWithTheInput_data()
    {
        QTest::addColumn<Maker>("maker");
        QTest::addColumn<int>("size");

        const auto head = [](const char *name, const std::function<QByteArray(int)> &message) {
            QTest::newRow(name) << served(message) << headPart;
            QTest::addRow("%s, byte by byte", name) << served(message, 1) << headPart;
        };

        const auto accents = [](int size) {
            return "a" + filled("%CC%80", size / 2) + filled("%CC%A7", size / 2);
        };
        head("Host of accents in two orders",
             [accents](int size) { return get("/", accents(size)); });
        head("Host of many labels", [](int size) { return get("/", filled("a.", size)); });
        head("Host of encoded labels", [](int size) { return get("/", filled("xn--a.", size)); });
        head("Host of one letter", [](int size) { return get("/", filled("a", size)); });
        head("Host with a long port", [](int size) { return get("/", "a:" + filled("0", size)); });
        head("Host with a long address",
             [](int size) { return get("/", "[" + filled("1:", size) + "]"); });
        head("absolute form of accents in two orders",
             [accents](int size) { return get("http://" + accents(size) + "/"); });
        head("absolute form of many labels",
             [](int size) { return get("http://" + filled("a.", size)); });
        head("absolute form with a long scheme",
             [](int size) { return get(filled("a", size) + "://a/"); });

        for (const char *piece : {"a",
                                  "/",
                                  "../",
                                  "%41",
                                  "%2F",
                                  "%25",
                                  "%",
                                  "%zz",
                                  "%C3",
                                  "%CC%80%CC%A7",
                                  "%ED%A0%80",
                                  "\xc3\xa4",
                                  "\xff",
                                  "{",
                                  ";"}) {
            for (const char *where : {"/", "//", "/?", "/#", "http://a/?"}) {
                QTest::addRow("target %s and many %s",
                              where,
                              QByteArray(piece).toPercentEncoding("%/{;").constData())
                    << served([piece, where](int size) { return get(where + filled(piece, size)); })
                    << headPart;
            }
        }

        head("many field names",
             [](int size) { return get("/", "a", filled("a:\r\nbc: d\r\n", size)); });
        head("many equal fields", [](int size) { return get("/", "a", filled("a: b\r\n", size)); });
        head("one field name",
             [](int size) { return get("/", "a", filled("a", size) + ": b\r\n"); });
        head("one field value",
             [](int size) { return get("/", "a", "a: " + filled("b ", size) + "\r\n"); });
        head("many lengths",
             [](int size) { return get("/", "a", filled("Content-Length: 0\r\n", size)); });
        for (const char *name : {"Connection", "Expect", "Transfer-Encoding", "Content-Length"}) {
            QTest::addRow("many members of %s", name) << served([name](int size) {
                return get("/", "a", name + (": " + filled("0,", size)) + "0\r\n");
            }) << headPart;
        }
        head("empty lines before a request",
             [](int size) { return filled("\r\n", size) + get("/"); });

        const auto framing = [&head](const char *name, const std::function<QByteArray(int)> &body) {
            head(name, [body](int size) { return chunked(body(size)); });
        };
        framing("chunk extension",
                [](int size) { return "1;" + filled("a", size) + "\r\nx\r\n0\r\n\r\n"; });
        framing("quoted chunk extension",
                [](int size) { return "1;a=\"" + filled("\\\"", size) + "\"\r\nx\r\n0\r\n\r\n"; });
        framing("zeros before a chunk size",
                [](int size) { return filled("0", size) + "1\r\nx\r\n0\r\n\r\n"; });
        framing("extension of the last chunk, then trailers", [](int size) {
            return "0;" + filled("a", size / 2) + "\r\n" + filled("a: b\r\n", size / 2) + "\r\n";
        });
        framing("zeros of the last chunk, then trailers", [](int size) {
            return filled("0", size / 2) + "\r\n" + filled("a: b\r\n", size / 2) + "\r\n";
        });
        framing("one trailer",
                [](int size) { return "0\r\na: " + filled("b", size) + "\r\n\r\n"; });
        framing("many chunks", [](int size) { return filled("1\r\nx\r\n", size) + "0\r\n\r\n"; });
        head("many requests", [](int size) { return filled(get("/"), size); });

        addBodies();
    }

    void timeGrowsWithTheInput()
    {
        QFETCH(Maker, maker);
        QFETCH(int, size);
        const Work small = maker(size);
        const Work large = maker(growth * size);
        double ratio = 0;
        for (int i = 0; i < 3; ++i) { // a machine may be disturbed during a whole comparison
            const double shorter = secondsFor(small);
            ratio = secondsFor(large) / shorter;
            if (ratio < steepest) {
                return;
            }
        }
        QVERIFY2(ratio < steepest, qPrintable(QString::number(ratio)));
    }

private:
    // What routes do with a body, and with a tool's output.
    static void addBodies()
    {
        constexpr int bodyPart = 100000;
        QTest::newRow("JSON keys") << Maker([](int size) -> Work {
            QByteArray body = "{\"configuration\":\"c\"";
            for (int i = size / 12; i > 0; --i) { // backwards: not in their sorted order
                body += ",\"k" + QByteArray::number(1000000 + i) + "\":0";
            }
            return [body = body + '}'] { (void)jobs::readConversionRequest(body); };
        }) << bodyPart;
        QTest::newRow("equal JSON keys") << Maker([](int size) -> Work {
            return [body = '{' + filled("\"cancelID\":0,", size) + "\"k\":0}"] {
                (void)jobs::readConversionRequest(body);
            };
        }) << bodyPart;
        const auto reserve = [](const char *part) {
            return Maker([part](int size) -> Work {
                const QString name = QString::fromLatin1(filled(part, size));
                return [name] {
                    tool::ClaimedPaths claims;
                    (void)commands::reserveReturnFile(
                        {commands::VondElement::Kind::ReturnFile, QString(), name, QString()},
                        QStringLiteral("/tmp"),
                        &claims);
                };
            });
        };
        QTest::newRow("return: name that names the folder again and again")
            << reserve("/tmp/") << bodyPart;
        QTest::newRow("return: name that holds its suffix again and again")
            << reserve(".a") << bodyPart;
        // The operator's lines grow with lines times keys; each factor alone must be linear.
        const auto prune = [](int lines, int keys) -> Work {
            QStringList names;
            QByteArray line = "Error: ";
            for (int i = 0; i < keys; ++i) {
                const QString name = QStringLiteral("name%1.tif").arg(1000000 + i);
                names.append(name);
                if (i % 2 == 1) {
                    line += name.toLatin1() + ' ';
                }
            }
            return [names, errors = (line + '\n').repeated(lines)] {
                (void)commands::survivingReturnKeys(names, errors);
            };
        };
        QTest::newRow("error lines") << Maker([prune](int size) { return prune(size, 20); }) << 50;
        QTest::newRow("keys that no error line mentions") << Maker([](int size) -> Work {
            QStringList names;
            for (int i = 0; i < size; ++i) {
                names.append(QStringLiteral("name%1.tif").arg(i));
            }
            return [names] {
                (void)commands::survivingReturnKeys(names, QByteArray("Error: no\n").repeated(20));
            };
        }) << 1000;
        QTest::newRow("keys that error lines mention behind others") << Maker([](int size) -> Work {
            QStringList names;
            for (int i = 0; i < size; ++i) {
                names.append(i % 2 == 1 ? QStringLiteral("a") : QStringLiteral("name%1").arg(i));
            }
            return [names] { (void)commands::survivingReturnKeys(names, "Error: a\nError: a\n"); };
        }) << 1000;
        QTest::newRow("names of files to return") << Maker([](int size) -> Work {
            QStringList names;
            for (int i = size; i > 0; --i) { // backwards, as above
                names.append(QStringLiteral("name%1.tif").arg(1000000 + i));
            }
            return [names] { (void)commands::returnFilesDict(names); };
        }) << 2000;
    }
};

VOND_TEST(CostTest);
#include "costtest.moc"
