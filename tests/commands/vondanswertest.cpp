#include "commands/vondanswer.h"

#include "tests/support/messagecatcher.h"
#include "tests/support/testmain.h"

#include <QJsonDocument>
#include <QTest>

namespace {

QStringList words(const char *text)
{
    return QString::fromUtf8(text).split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

QStringList removalLines(const QStringList &keys)
{
    QStringList lines;
    for (const QString &key : keys) {
        lines.append(QStringLiteral("removed return filekey on error: \"%1\"").arg(key));
    }
    return lines;
}

} // namespace

class VondAnswerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void keysThatErrorLinesMentionAreRemoved_data();
    void keysThatErrorLinesMentionAreRemoved();
    void aFileIsListedByItsBaseName_data();
    void aFileIsListedByItsBaseName();
    void anAnswerWithoutFilesHasNoDictionary();
    void anAnswerWithFilesHasADictionaryAndLogsKeysAndAnswer();
    void anAnswerWhoseFilesAllFailedHasNoDictionary();
    void bothChannelsAreDecodedWhole();
};

void VondAnswerTest::keysThatErrorLinesMentionAreRemoved_data()
{
    QTest::addColumn<QStringList>("keys");
    QTest::addColumn<QByteArray>("stdErr");
    QTest::addColumn<QStringList>("surviving");
    QTest::addColumn<QStringList>("logged"); // the keys of the log lines

    QTest::newRow("no errors") << words("x.tif") << QByteArray() << words("x.tif") << words("");
    QTest::newRow("a warning is no error")
        << words("x.tif") << QByteArray("Warning: x.tif\n") << words("x.tif") << words("");
    QTest::newRow("the marker has to begin the line")
        << words("x.tif") << QByteArray(" Error: x.tif\n") << words("x.tif") << words("");
    QTest::newRow("the marker has its case")
        << words("x.tif") << QByteArray("error: x.tif\n") << words("x.tif") << words("");
    QTest::newRow("a mentioned key goes") << words("x.tif y.tif") << QByteArray("Error: no x.tif\n")
                                          << words("y.tif") << words("x.tif");
    QTest::newRow("a later line counts as well")
        << words("x.tif y.tif") << QByteArray("fine\nError: no y.tif") << words("x.tif")
        << words("y.tif");
    QTest::newRow("every key in the line goes")
        << words("x.tif y.tif") << QByteArray("Error: y.tif and x.tif\n") << words("")
        << words("x.tif y.tif");
    QTest::newRow("a key inside a longer name goes too")
        << words("x.tif max.tif") << QByteArray("Error: no max.tif\n") << words("")
        << words("x.tif max.tif");
    QTest::newRow("a key in other case stays")
        << words("x.tif") << QByteArray("Error: no X.TIF\n") << words("x.tif") << words("");
    QTest::newRow("two equal keys go together")
        << words("x.tif x.tif") << QByteArray("Error: no x.tif\n") << words("")
        << words("x.tif x.tif");
    QTest::newRow("a second line about a removed key is logged again")
        << words("x.tif y.tif") << QByteArray("Error: x.tif\nError: x.tif again\n")
        << words("y.tif") << words("x.tif x.tif");
}

void VondAnswerTest::keysThatErrorLinesMentionAreRemoved()
{
    QFETCH(const QStringList, keys);
    QFETCH(const QByteArray, stdErr);
    QFETCH(const QStringList, logged);
    const MessageCatcher catcher;
    QTEST(commands::survivingReturnKeys(keys, stdErr), "surviving");
    QCOMPARE(catcher.messages(), removalLines(logged));
}

void VondAnswerTest::aFileIsListedByItsBaseName_data()
{
    QTest::addColumn<QStringList>("keys");
    QTest::addColumn<QByteArray>("json");

    QTest::newRow("one dot") << words("out_1.tif") << QByteArray(R"({"out_1":"out_1.tif"})");
    QTest::newRow("the name ends at the first dot")
        << words("result.final.tif") << QByteArray(R"({"result":"result.final.tif"})");
    QTest::newRow("no dot") << words("raw") << QByteArray(R"({"raw":"raw"})");
    QTest::newRow("a folder part is left out of the name only")
        << words("sub/a.tif") << QByteArray(R"({"a":"sub/a.tif"})");
    QTest::newRow("the later of two equal names stays")
        << words("a.tif a.jpg") << QByteArray(R"({"a":"a.jpg"})");
}

void VondAnswerTest::aFileIsListedByItsBaseName()
{
    QFETCH(const QStringList, keys);
    QTEST(QJsonDocument(commands::returnFilesDict(keys)).toJson(QJsonDocument::Compact), "json");
}

void VondAnswerTest::anAnswerWithoutFilesHasNoDictionary()
{
    const MessageCatcher catcher;
    const QJsonObject answer = commands::vondAnswer({"out", "err"}, {});
    QCOMPARE(QJsonDocument(answer).toJson(QJsonDocument::Compact),
             QByteArray(R"({"stdErr":"err","stdOut":"out"})"));
    QCOMPARE(catcher.messages(),
             QStringList{QStringLiteral(R"(QJsonObject({"stdErr":"err","stdOut":"out"}))")});
}

void VondAnswerTest::anAnswerWithFilesHasADictionaryAndLogsKeysAndAnswer()
{
    const MessageCatcher catcher;
    const QJsonObject answer = commands::vondAnswer({}, words("b.tif a.tif"));
    QCOMPARE(QJsonDocument(answer).toJson(QJsonDocument::Compact),
             QByteArray(R"({"returnFilesDict":{"a":"a.tif","b":"b.tif"},)"
                        R"("stdErr":"","stdOut":""})"));
    const QStringList lines{
        QStringLiteral(R"(("b.tif", "a.tif"))"),
        QStringLiteral(R"(QJsonObject({"returnFilesDict":{"a":"a.tif","b":"b.tif"},)"
                       R"("stdErr":"","stdOut":""}))"),
    };
    QCOMPARE(catcher.messages(), lines);
}

void VondAnswerTest::anAnswerWhoseFilesAllFailedHasNoDictionary()
{
    const MessageCatcher catcher;
    const QJsonObject answer = commands::vondAnswer({{}, "Error: a.tif"}, words("a.tif"));
    QVERIFY(!answer.contains(QLatin1String("returnFilesDict")));
    QCOMPARE(answer.value(QLatin1String("stdErr")).toString(), QStringLiteral("Error: a.tif"));
}

void VondAnswerTest::bothChannelsAreDecodedWhole()
{
    const MessageCatcher catcher;
    const QJsonObject answer = commands::vondAnswer({QByteArray("a\0b", 3), "caf\xe9"}, {});
    QCOMPARE(answer.value(QLatin1String("stdOut")).toString(),
             QStringLiteral("a") + QChar(0) + QStringLiteral("b"));
    QCOMPARE(answer.value(QLatin1String("stdErr")).toString(), QStringLiteral("caf\uFFFD"));
}

VOND_TEST(VondAnswerTest);
#include "vondanswertest.moc"
