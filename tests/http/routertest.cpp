#include "http/qhttpserverrouter.h"
#include "http/requestparser.h"
#include "tests/support/testmain.h"

#include <QTest>

using Method = QHttpServerRequest::Method;
using Rule = QHttpServerRouterRule;

namespace {

QHttpServerRequest requestFor(const QByteArray &method, const QByteArray &target)
{
    const QByteArray bytes = method + ' ' + target + " HTTP/1.1\r\nHost: a\r\n\r\n";
    http::RequestParser parser;
    qint64 consumed = 0;
    if (parser.parse(bytes.constData(), bytes.size(), &consumed)
        != http::RequestParser::Result::Complete) {
        qFatal("no request: %s", bytes.constData());
    }
    return parser.takeRequest();
}

} // namespace

class RouterTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void methodFlagsHaveTheirNumbers()
    {
        QCOMPARE(static_cast<int>(Method::Unknown), 0);
        QCOMPARE(static_cast<int>(Method::Get), 1);
        QCOMPARE(static_cast<int>(Method::Put), 2);
        QCOMPARE(static_cast<int>(Method::Delete), 4);
        QCOMPARE(static_cast<int>(Method::Post), 8);
        QCOMPARE(static_cast<int>(Method::Head), 16);
        QCOMPARE(static_cast<int>(Method::Options), 32);
        QCOMPARE(static_cast<int>(Method::Patch), 64);
        QCOMPARE(static_cast<int>(Method::All), 127);
    }

    void patterns_data()
    {
        QTest::addColumn<QString>("pattern");
        QTest::addColumn<QByteArray>("target");
        QTest::addColumn<bool>("matches");
        QTest::addColumn<QStringList>("captured");

        const auto row = [](const char *name,
                            const char *pattern,
                            const QByteArray &target,
                            bool matches,
                            const QStringList &captured = {}) {
            QTest::newRow(name) << QString::fromLatin1(pattern) << target << matches << captured;
        };
        row("root", "/", "/", true);
        row("whole path", "/a", "/a", true);
        row("query does not count", "/a", "/a?b=c", true);
        row("longer path", "/a", "/ab", false);
        row("trailing slash", "/a", "/a/", false);
        row("other case", "/a", "/A", false);
        row("dot is a dot", "/a.b", "/axb", false);
        row("one segment", "/a/<arg>", "/a/x", true, {QStringLiteral("x")});
        row("blank and dots", "/a/<arg>", "/a/x%20y.z", true, {QStringLiteral("x y.z")});
        row("line end", "/a/<arg>", "/a/x%0Ay", true, {QStringLiteral("x\ny")});
        row("braces", "/a/<arg>", "/a/{x}", true, {QStringLiteral("{x}")});
        row("empty segment", "/a/<arg>", "/a/", false);
        row("two segments", "/a/<arg>", "/a/x/y", false);
        row("encoded slash is a slash", "/a/<arg>", "/a/x%2Fy", false);
        row("percent encoded twice is decoded once",
            "/a/<arg>",
            "/a/x%252Fy",
            true,
            {QStringLiteral("x%2Fy")});
        row("two arguments",
            "/<arg>/m/<arg>",
            "/x/m/y",
            true,
            {QStringLiteral("x"), QStringLiteral("y")});
        row("text behind the argument", "/a/<arg>.txt", "/a/x.txt", true, {QStringLiteral("x")});
        row("other text behind the argument", "/a/<arg>.txt", "/a/xytxt", false);
        row("dot segments are not resolved", "/a", "/b/../a", false);
        row("asterisk form", "/", "*", false);
    }

    void patterns()
    {
        QFETCH(QString, pattern);
        QFETCH(QByteArray, target);
        QFETCH(bool, matches);
        QFETCH(QStringList, captured);

        QStringList got;
        bool called = false;
        const Rule rule(pattern, [&](const QRegularExpressionMatch &match, const auto &, auto *) {
            called = true;
            got = match.capturedTexts().mid(1);
        });
        const QHttpServerRequest request = requestFor(target == "*" ? "OPTIONS" : "GET", target);
        QCOMPARE(rule.exec(request.url().path(QUrl::FullyDecoded), request, nullptr), matches);
        QCOMPARE(called, matches);
        QCOMPARE(got, captured);
    }

    void theDecodedPathIsTheOneOfTheUrl_data()
    {
        QTest::addColumn<QByteArray>("target");
        for (const char *target : {"/",
                                   "/a/B9-._~",
                                   "//a//b/",
                                   "/a/./../b",
                                   "/a%20b",
                                   "/a%2fb%",
                                   "/a?b",
                                   "/a#b",
                                   "/a;b=c",
                                   "/a@b:c",
                                   "/{a}",
                                   "/\xc3\xa4",
                                   "/%00",
                                   "/%C3%A4",
                                   "/a+b",
                                   "http://b/c",
                                   "http://b",
                                   "*"}) {
            QTest::newRow(target) << QByteArray(target);
        }
    }

    void theDecodedPathIsTheOneOfTheUrl()
    {
        QFETCH(QByteArray, target);
        const QHttpServerRequest request = requestFor(target == "*" ? "OPTIONS" : "GET", target);
        QCOMPARE(request.decodedPath(), request.url().path(QUrl::FullyDecoded));
        QVERIFY(!request.decodedPath().isEmpty());
    }

    void aRuleTakesItsMethodsOnly()
    {
        int calls = 0;
        const auto count = [&calls](const auto &, const auto &, auto *) { ++calls; };
        const Rule post(QStringLiteral("/a"), Method::Post, count);
        const Rule all(QStringLiteral("/a"), count);
        QVERIFY(!post.exec(QStringLiteral("/a"), requestFor("GET", "/a"), nullptr));
        QVERIFY(!post.exec(QStringLiteral("/a"), requestFor("HEAD", "/a"), nullptr));
        QVERIFY(post.exec(QStringLiteral("/a"), requestFor("POST", "/a"), nullptr));
        for (const char *method : {"GET", "PUT", "DELETE", "POST", "HEAD", "OPTIONS", "PATCH"}) {
            QVERIFY(all.exec(QStringLiteral("/a"), requestFor(method, "/a"), nullptr));
        }
        QCOMPARE(calls, 8);
    }

    void aClearedRouterTakesNothing()
    {
        QHttpServerRouter router;
        int calls = 0;
        const auto count = [&calls](const auto &, const auto &, auto *) { ++calls; };
        const auto view = [] { return QString(); };
        QVERIFY(router.isEmpty());
        QVERIFY(
            router.addRule<decltype(view)>(std::make_unique<Rule>(QStringLiteral("/a"), count)));
        QVERIFY(!router.isEmpty());
        QVERIFY(router.handleRequest(requestFor("GET", "/a"), nullptr));

        router.clear();

        QVERIFY(router.isEmpty());
        QVERIFY(!router.handleRequest(requestFor("GET", "/a"), nullptr));
        QCOMPARE(calls, 1);
    }

    void theFirstRuleThatMatchesWins()
    {
        QHttpServerRouter router;
        QByteArray taken;
        const auto view = [](const QString &) { return QString(); };
        using View = decltype(view);
        const auto taker = [&taken](char name) {
            return [&taken, name](const auto &, const auto &, auto *) { taken += name; };
        };
        QVERIFY(router.addRule<View>(
            std::make_unique<Rule>(QStringLiteral("/x/<arg>"), Method::Post, taker('1'))));
        QVERIFY(
            router.addRule<View>(std::make_unique<Rule>(QStringLiteral("/x/<arg>"), taker('2'))));
        QVERIFY(
            router.addRule<View>(std::make_unique<Rule>(QStringLiteral("/<arg>/y"), taker('3'))));

        QVERIFY(router.handleRequest(requestFor("POST", "/x/y"), nullptr));
        QVERIFY(router.handleRequest(requestFor("GET", "/x/y"), nullptr));
        QVERIFY(router.handleRequest(requestFor("GET", "/z/y"), nullptr));
        QVERIFY(!router.handleRequest(requestFor("GET", "/z"), nullptr));
        QCOMPARE(taken, QByteArray("123"));
    }

    void aViewThatDoesNotFitItsPatternIsNotAdded()
    {
        QHttpServerRouter router;
        const auto none = [] { return QString(); };
        const auto one = [](const QString &) { return QString(); };
        const auto nothing = [](const auto &, const auto &, auto *) {};
        QVERIFY(!router.addRule<decltype(none)>(
            std::make_unique<Rule>(QStringLiteral("/a/<arg>"), nothing)));
        QVERIFY(
            !router.addRule<decltype(one)>(std::make_unique<Rule>(QStringLiteral("/a"), nothing)));
        QVERIFY(!router.handleRequest(requestFor("GET", "/a"), nullptr));
        QVERIFY(!router.handleRequest(requestFor("GET", "/a/b"), nullptr));
    }

    void viewsGetTheirArgumentsInAnyOrder()
    {
        const QHttpServerRequest request = requestFor("GET", "/x/m/y");
        const QRegularExpressionMatch match =
            QRegularExpression(QStringLiteral("^/([^/]+)/m/([^/]+)$"))
                .match(QStringLiteral("/x/m/y"));
        const auto mixed =
            [](const QString &first, const QHttpServerRequest &r, const QString &second) {
                return first + second + QString::number(static_cast<int>(r.method()));
            };
        QCOMPARE(http::ViewTraits<decltype(mixed)>::pathArgumentCount, 2);
        QCOMPARE(http::ViewTraits<decltype(mixed)>::call(mixed, match, request),
                 QStringLiteral("xy1"));
    }
};

VOND_TEST_WITHOUT_APPLICATION(RouterTest);
#include "routertest.moc"
