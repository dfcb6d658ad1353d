#include "diagnostics/hello.h"

#include "diagnostics/sleep.h"
#include "tests/support/messagecatcher.h"
#include "tests/support/testmain.h"

#include <QTest>

class HelloTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theGreeting();
    void aTextComesBackAsItWent_data();
    void aTextComesBackAsItWent();
    void theVersionIsTheApplications();
    void eachSleeperHasAnEntryWhoseIdOnlyTheLogShows();
};

void HelloTest::theGreeting()
{
    QCOMPARE(diagnostics::hello(), "vondServer: Hello world");
}

void HelloTest::aTextComesBackAsItWent_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QString>("text");

    QTest::newRow("nothing") << QByteArray() << "vondServer:";
    QTest::newRow("plain") << QByteArray("abc") << "vondServer:abc";
    QTest::newRow("blanks stay") << QByteArray(" abc\r\n") << "vondServer: abc\r\n";
    QTest::newRow("a marker stays") << QByteArray("%1") << "vondServer:%1";
    QTest::newRow("UTF-8") << QByteArray("\xc3\xa4 \xe2\x82\xac \xf0\x9f\x8e\xa8")
                           << "vondServer:\u00e4 \u20ac \U0001F3A8";
    QTest::newRow("bytes that are no UTF-8") << QByteArray("a\xff") << "vondServer:a\uFFFD";
    QTest::newRow("a zero byte does not end it")
        << QByteArray("a\0b", 3) << QStringLiteral("vondServer:a") + QChar(0) + QChar(u'b');
}

void HelloTest::aTextComesBackAsItWent()
{
    QFETCH(const QByteArray, body);
    QTEST(diagnostics::text(body), "text");
}

void HelloTest::theVersionIsTheApplications()
{
    QCoreApplication::setApplicationVersion(QStringLiteral("1.0.2.26"));
    QCOMPARE(diagnostics::vondServerVersion(), QStringLiteral("vondServer:1.0.2.26"));
}

void HelloTest::eachSleeperHasAnEntryWhoseIdOnlyTheLogShows()
{
    jobs::Registry registry;
    const MessageCatcher catcher;
    const QString text = QStringLiteral("going to sleep");
    diagnostics::announceSleeper(&registry, "Label:", text);
    diagnostics::announceSleeper(&registry, "Label:", text);
    QCOMPARE(registry.values(), QStringList({text, text}));
    QStringList lines;
    for (const QString &id : registry.keys()) {
        QCOMPARE(id.size(), 36);
        lines.append(QStringLiteral("Label: \"%1\"").arg(id));
    }
    QStringList logged = catcher.messages();
    logged.sort();
    QCOMPARE(logged, lines);
}

VOND_TEST(HelloTest);
#include "hellotest.moc"
