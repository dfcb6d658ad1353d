#include "jobs/progress.h"

#include "tests/support/messagecatcher.h"
#include "tests/support/testmain.h"

#include <QRegularExpression>
#include <QTest>

namespace {

const QString id = QStringLiteral("job 1");

} // namespace

class ProgressTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aPollBeforeTheFirstChunkReadsZeroPercent();
    void aPollForAnUnknownJobIsEmptyAndLogged();
    void aPollOfAnErrorTextIsLogged();
    void aPollOfAnErrorInOtherCaseIsNotLogged();
    void progressInfAnswersItsArgument();
    void theTestEntryHasABracedIdAndReadsZeroPercent();
    void twoTestEntriesDiffer();
    void progressIsStoredAndForgetsTheLastMessage_data();
    void progressIsStoredAndForgetsTheLastMessage();
    void anythingElseReplacesTheLastMessageAndLeavesTheProgress_data();
    void anythingElseReplacesTheLastMessageAndLeavesTheProgress();
};

void ProgressTest::aPollBeforeTheFirstChunkReadsZeroPercent()
{
    jobs::Registry registry;
    jobs::registerRequest(&registry, id);
    const MessageCatcher catcher;
    QCOMPARE(jobs::progressInfo(&registry, id), QStringLiteral("Progress: 0%"));
    QCOMPARE(catcher.messages(), QStringList());
}

void ProgressTest::aPollForAnUnknownJobIsEmptyAndLogged()
{
    jobs::Registry registry;
    const MessageCatcher catcher;
    QCOMPARE(jobs::progressInfo(&registry, id), QString());
    QCOMPARE(catcher.messages().value(0), QStringLiteral("Requests: "));
}

void ProgressTest::aPollOfAnErrorTextIsLogged()
{
    jobs::Registry registry;
    jobs::setProgressText(&registry, id, QStringLiteral("Error 7"));
    const MessageCatcher catcher;
    QCOMPARE(jobs::progressInfo(&registry, id), QStringLiteral("Error 7"));
    QCOMPARE(catcher.messages(), QStringList{QStringLiteral(R"(Request: "job 1"  :  "Error 7")")});
}

void ProgressTest::aPollOfAnErrorInOtherCaseIsNotLogged()
{
    jobs::Registry registry;
    jobs::setProgressText(&registry, id, QStringLiteral("error 7"));
    const MessageCatcher catcher;
    QCOMPARE(jobs::progressInfo(&registry, id), QStringLiteral("error 7"));
    QCOMPARE(catcher.messages(), QStringList());
}

void ProgressTest::progressInfAnswersItsArgument()
{
    QCOMPARE(jobs::progressInf(QStringLiteral("abc")), QStringLiteral("/progressInf: abc"));
    QCOMPARE(jobs::progressInf(QString()), QStringLiteral("/progressInf: "));
}

void ProgressTest::theTestEntryHasABracedIdAndReadsZeroPercent()
{
    jobs::Registry registry;
    const QString testId = jobs::progressTest(&registry);
    const QRegularExpression braced(
        QStringLiteral("^\\{[0-9a-f]{8}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{12}\\}$"));
    QVERIFY2(braced.match(testId).hasMatch(), qPrintable(testId));
    QCOMPARE(jobs::progressInfo(&registry, testId), QStringLiteral("Progress: 0%"));
}

void ProgressTest::twoTestEntriesDiffer()
{
    jobs::Registry registry;
    QVERIFY(jobs::progressTest(&registry) != jobs::progressTest(&registry));
    QCOMPARE(registry.size(), 2);
}

void ProgressTest::progressIsStoredAndForgetsTheLastMessage_data()
{
    QTest::addColumn<QByteArray>("chunk");

    QTest::newRow("the marker alone") << QByteArray("Progress:");
    QTest::newRow("a line") << QByteArray("Progress: 10%\n");
    QTest::newRow("two lines") << QByteArray("Progress: 10%\nProgress: 11%\n");
    QTest::newRow("other output behind it") << QByteArray("Progress: 9%\nOutput file: /tmp/a\n");
    QTest::newRow("characters beyond ASCII") << QByteArray("Progress: \xc3\xa4 5%\r\n");
}

void ProgressTest::progressIsStoredAndForgetsTheLastMessage()
{
    QFETCH(const QByteArray, chunk);
    jobs::Registry registry;
    QString lastMessage = QStringLiteral("said before");
    jobs::takeOutputChunk(&registry, id, chunk, lastMessage);
    QCOMPARE(registry.value(id), QString::fromUtf8(chunk));
    QCOMPARE(lastMessage, QString());
}

void ProgressTest::anythingElseReplacesTheLastMessageAndLeavesTheProgress_data()
{
    QTest::addColumn<QByteArray>("chunk");
    QTest::addColumn<QString>("message");

    QTest::newRow("words") << QByteArray("Output file: /tmp/a\n") << "Output file: /tmp/a\n";
    QTest::newRow("the marker in lower case") << QByteArray("progress: 5%") << "progress: 5%";
    QTest::newRow("a blank before the marker") << QByteArray(" Progress: 5%") << " Progress: 5%";
    QTest::newRow("a line end before the marker")
        << QByteArray("\nProgress: 5%") << "\nProgress: 5%";
    QTest::newRow("half a marker") << QByteArray("Progr") << "Progr";
    QTest::newRow("nothing") << QByteArray() << "";
    QTest::newRow("bytes that are no UTF-8") << QByteArray("caf\xe9") << "caf\uFFFD";
}

void ProgressTest::anythingElseReplacesTheLastMessageAndLeavesTheProgress()
{
    QFETCH(const QByteArray, chunk);
    jobs::Registry registry;
    jobs::registerRequest(&registry, id);
    QString lastMessage = QStringLiteral("said before");
    jobs::takeOutputChunk(&registry, id, chunk, lastMessage);
    QCOMPARE(registry.value(id), QStringLiteral("Progress: 0%"));
    QTEST(lastMessage, "message");
}

VOND_TEST(ProgressTest);
#include "progresstest.moc"
