#include "commands/vondcommand.h"

#include "tests/support/faketool.h"
#include "tests/support/messagecatcher.h"
#include "tests/support/outputcatcher.h"
#include "tests/support/ownfolders.h"
#include "tests/support/systemtexts.h"
#include "tests/support/testmain.h"

#include <QTest>

namespace {

QString member(const QJsonObject &answer, const char *name)
{
    return answer.value(QLatin1String(name)).toString();
}

} // namespace

class VondCommandTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void aSingleWordRunsTheToolWithIt();
    void theRunIsLoggedFromArgumentsToAnswer();
    void aTakenReturnNameIsNumberedForTheToolAndInTheAnswer();
    void aReturnNameBehindAnOptionGetsItsFolder();
    void aFileThatComesAlongIsWrittenAndItsPathPassed();
    void aFileThatComesAlongTakesTheNameFromALaterElement();
    void aFileWithoutANameIsWrittenUnderANumber();
    void anErrorLineRemovesTheKeyThatItMentions();
    void theExitStatusIsNotLookedAt();
    void withoutAToolTheAnswerIsEmptyAndTheConsoleSaysWhy_data();
    void withoutAToolTheAnswerIsEmptyAndTheConsoleSaysWhy();
    void aBadBodyIsAnsweredEmptyAndReported_data();
    void aBadBodyIsAnsweredEmptyAndReported();
    void filesBeforeARefusedElementStay();
    void aReturnNameIsFreeAgainAfterEveryEnd_data();
    void aReturnNameIsFreeAgainAfterEveryEnd();
    void aFileThatCannotBeWrittenIsReportedTwiceAndTheToolIsNotRun();
    void aToolThatCannotBeStartedIsAnsweredEmptyAndReported();
    void aZeroCharacterNeverReachesTheToolCutShort_data();
    void aZeroCharacterNeverReachesTheToolCutShort();
};

void VondCommandTest::initTestCase()
{
    useOwnSettings();
}

void VondCommandTest::init()
{
    faketool::behave("print its arguments");
}

void VondCommandTest::aSingleWordRunsTheToolWithIt()
{
    const MessageCatcher catcher;
    const QJsonObject answer = commands::vond(faketool::path(), R"(["--help"])");
    QCOMPARE(faketool::arguments(), QStringList{QStringLiteral("--help")});
    QCOMPARE(member(answer, "stdOut"), QStringLiteral("--help\n"));
    QCOMPARE(member(answer, "stdErr"), QString());
    QVERIFY(!answer.contains(QLatin1String("returnFilesDict")));
}

void VondCommandTest::theRunIsLoggedFromArgumentsToAnswer()
{
    const MessageCatcher catcher;
    const QJsonObject answer = commands::vond(faketool::path(), R"(["a", "b c"])");
    QCOMPARE(answer.size(), 2);
    const QStringList lines{
        QStringLiteral(R"(vond arguments: ("a", "b c"))"),
        QStringLiteral(R"(fromVond-StdOut: "a\nb c\n")"),
        QStringLiteral(R"(fromVondErr: "")"),
        QStringLiteral(R"(QJsonObject({"stdErr":"","stdOut":"a\nb c\n"}))"),
    };
    QCOMPARE(catcher.messages(), lines);
}

void VondCommandTest::aTakenReturnNameIsNumberedForTheToolAndInTheAnswer()
{
    const OwnWorkFolder folder;
    const MessageCatcher catcher;
    makeFile(folder.filePath(QStringLiteral("out.tif")));
    const QJsonObject answer = commands::vond(faketool::path(), R"(["-o", "return:out.tif"])");
    const QStringList arguments{QStringLiteral("-o"), folder.filePath(QStringLiteral("out_1.tif"))};
    QCOMPARE(faketool::arguments(), arguments);
    const QJsonObject files{{QStringLiteral("out_1"), QStringLiteral("out_1.tif")}};
    QCOMPARE(answer.value(QLatin1String("returnFilesDict")).toObject(), files);
}

void VondCommandTest::aReturnNameBehindAnOptionGetsItsFolder()
{
    const OwnWorkFolder folder;
    const MessageCatcher catcher;
    const QJsonObject answer = commands::vond(faketool::path(), R"(["--output=return:x.tif"])");
    QCOMPARE(faketool::arguments(),
             QStringList{QStringLiteral("--output=") + folder.filePath(QStringLiteral("x.tif"))});
    QVERIFY(answer.contains(QLatin1String("returnFilesDict")));
}

void VondCommandTest::aFileThatComesAlongIsWrittenAndItsPathPassed()
{
    const OwnWorkFolder folder;
    const MessageCatcher catcher;
    makeFile(folder.filePath(QStringLiteral("in.tif")), "old");
    const QJsonObject answer =
        commands::vond(faketool::path(), R"([{"filename": "in.tif", "data": "bmV3"}])");
    const QString path = folder.filePath(QStringLiteral("in_1.tif"));
    QCOMPARE(faketool::arguments(), QStringList{path});
    QCOMPARE(contentOf(path), QByteArray("new"));
    QCOMPARE(answer.size(), 2);
}

void VondCommandTest::aFileThatComesAlongTakesTheNameFromALaterElement()
{
    const OwnWorkFolder folder;
    const MessageCatcher catcher;
    const QJsonObject answer = commands::vond(
        faketool::path(),
        R"([{"filename": "a.tif", "data": ""}, "return:a.tif", {"filename": "a.tif"}])");
    const QStringList arguments{folder.filePath(QStringLiteral("a.tif")),
                                folder.filePath(QStringLiteral("a_1.tif")),
                                folder.filePath(QStringLiteral("a_1.tif"))};
    QCOMPARE(faketool::arguments(), arguments); // within one request a name is shared
    QVERIFY(answer.contains(QLatin1String("returnFilesDict")));
}

void VondCommandTest::aFileWithoutANameIsWrittenUnderANumber()
{
    const OwnWorkFolder folder;
    const MessageCatcher catcher;
    const QJsonObject answer = commands::vond(faketool::path(), R"([{"data": "bmV3"}])");
    QCOMPARE(answer.size(), 2);
    QCOMPARE(faketool::arguments(), QStringList{folder.filePath(QStringLiteral("_1."))});
    QCOMPARE(contentOf(folder.filePath(QStringLiteral("_1."))), QByteArray("new"));
}

void VondCommandTest::anErrorLineRemovesTheKeyThatItMentions()
{
    const OwnWorkFolder folder;
    const MessageCatcher catcher;
    faketool::behave("error about the last argument");
    const QJsonObject answer =
        commands::vond(faketool::path(), R"(["return:kept.jpg", "return:x.tif"])");
    QCOMPARE(member(answer, "stdOut"), QStringLiteral("done with some\n"));
    QVERIFY(member(answer, "stdErr").contains(QLatin1String("\nError: cannot write ")));
    const QJsonObject files{{QStringLiteral("kept"), QStringLiteral("kept.jpg")}};
    QCOMPARE(answer.value(QLatin1String("returnFilesDict")).toObject(), files);
    QVERIFY(
        catcher.messages().contains(QStringLiteral("removed return filekey on error: \"x.tif\"")));
}

void VondCommandTest::theExitStatusIsNotLookedAt()
{
    const MessageCatcher catcher;
    faketool::behave("text and status three");
    const QJsonObject answer = commands::vond(faketool::path(), R"(["a"])");
    QCOMPARE(member(answer, "stdOut"), QStringLiteral("fake tool 1.0 \u20ac\n"));
    QCOMPARE(member(answer, "stdErr"), QStringLiteral("a warning\n"));
}

void VondCommandTest::withoutAToolTheAnswerIsEmptyAndTheConsoleSaysWhy_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QByteArray>("line");

    QTest::newRow("no path") << "" << QByteArray("error: no vondPath set\n");
    QTest::newRow("no tool") << "/no/vond" << QByteArray("error: no vond-exe not found/no/vond\n");
}

void VondCommandTest::withoutAToolTheAnswerIsEmptyAndTheConsoleSaysWhy()
{
    QFETCH(const QString, path);
    OutputCatcher errors(OutputCatcher::Channel::Error);
    QCOMPARE(commands::vond(path, "not read"), QJsonObject());
    QTEST(errors.take(), "line");
}

void VondCommandTest::aBadBodyIsAnsweredEmptyAndReported_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QByteArray>("line");

    const QByteArray noArray = "error: no json array with arguments";
    const QByteArray neither = "error: json arguments array element is neither fileObj nor String:";
    const QByteArray deep = QByteArray(100000, '[') + QByteArray(100000, ']');
    const QByteArray zero("[\"a\"\0]", 6);
    QTest::newRow("nothing") << QByteArray() << noArray;
    QTest::newRow("no JSON") << QByteArray("a b") << noArray + "a b";
    QTest::newRow("an object") << QByteArray("{\"a\": 1}") << noArray + "{\"a\": 1}";
    QTest::newRow("cut short") << QByteArray("[\"a\"") << noArray + "[\"a\"";
    QTest::newRow("invalid UTF-8") << QByteArray("[\"\xff\"]") << noArray + "[\"\xff\"]";
    QTest::newRow("a zero byte") << zero << noArray + zero;
    QTest::newRow("nested too deeply") << deep << noArray + deep;
    QTest::newRow("no elements") << QByteArray("[ ]")
                                 << QByteArray("error: empty json array with arguments[ ]");
    QTest::newRow("a number first") << QByteArray("[1, \"a\"]") << neither;
    QTest::newRow("a number last") << QByteArray("[\"a\", 1]") << neither;
    QTest::newRow("an array inside") << QByteArray("[[\"a\"]]") << neither;
    QTest::newRow("null") << QByteArray("[null]") << neither;
    QTest::newRow("a truth") << QByteArray("[true]") << neither;
}

void VondCommandTest::aBadBodyIsAnsweredEmptyAndReported()
{
    QFETCH(const QByteArray, body);
    QFETCH(const QByteArray, line);
    OutputCatcher errors(OutputCatcher::Channel::Error);
    QCOMPARE(commands::vond(faketool::path(), body), QJsonObject());
    QCOMPARE(errors.take(), line + '\n');
    QVERIFY(!faketool::ran());
}

void VondCommandTest::filesBeforeARefusedElementStay()
{
    const OwnWorkFolder folder;
    OutputCatcher errors(OutputCatcher::Channel::Error);
    QCOMPARE(commands::vond(faketool::path(), R"([{"filename": "a", "data": "bmV3"}, 1])"),
             QJsonObject());
    QVERIFY(!errors.take().isEmpty());
    QCOMPARE(folder.names(), QStringList{QStringLiteral("a")});
}

void VondCommandTest::aFileThatCannotBeWrittenIsReportedTwiceAndTheToolIsNotRun()
{
    const OwnWorkFolder folder;
    OutputCatcher errors(OutputCatcher::Channel::Error);
    QCOMPARE(commands::vond(faketool::path(), R"([{"filename": "none/a.tif", "data": "bmV3"}])"),
             QJsonObject());
    QCOMPARE(errors.take(),
             "Could not open " + folder.path().toLocal8Bit()
                 + "/none/a.tif for writing: " + systemtexts::of(systemtexts::noFolder)
                 + "\nError: saving data to filenone/a.tif\n");
    QVERIFY(!faketool::ran());
}

void VondCommandTest::aToolThatCannotBeStartedIsAnsweredEmptyAndReported()
{
    const OwnWorkFolder folder;
    const MessageCatcher catcher;
    OutputCatcher errors(OutputCatcher::Channel::Error);
    QCOMPARE(commands::vond(folder.path(), R"(["a"])"), QJsonObject());
    QCOMPARE(errors.take(), QByteArray("vond process timeout\n"));
    QCOMPARE(catcher.messages(), QStringList{QStringLiteral(R"(vond arguments: ("a"))")});
}

void VondCommandTest::aZeroCharacterNeverReachesTheToolCutShort_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QByteArray>("firstWords");

    const QByteArray notStarted = "error: zero character in an argument, the tool is not started\n"
                                  "vond process timeout\n";
    QTest::newRow("in a literal") << QByteArray(R"(["a\u0000b"])") << notStarted;
    QTest::newRow("in a wanted file") << QByteArray(R"(["return:a\u0000b"])") << notStarted;
    QTest::newRow("in a file that comes along")
        << QByteArray(R"([{"filename": "a\u0000b"}])") << QByteArray("Could not open ");
}

void VondCommandTest::aZeroCharacterNeverReachesTheToolCutShort()
{
    QFETCH(const QByteArray, body);
    QFETCH(const QByteArray, firstWords);
    const OwnWorkFolder folder;
    const MessageCatcher catcher;
    OutputCatcher errors(OutputCatcher::Channel::Error);
    QCOMPARE(commands::vond(faketool::path(), body), QJsonObject());
    QVERIFY(errors.take().startsWith(firstWords));
    QVERIFY(!faketool::ran());
    QCOMPARE(folder.names(), QStringList());
}

void VondCommandTest::aReturnNameIsFreeAgainAfterEveryEnd_data()
{
    QTest::addColumn<QString>("vondPath");
    QTest::addColumn<QByteArray>("body");

    QTest::newRow("a run") << faketool::path() << QByteArray(R"(["return:x.tif"])");
    QTest::newRow("a refused element") << faketool::path() << QByteArray(R"(["return:x.tif", 1])");
    QTest::newRow("a file that cannot be written")
        << faketool::path() << QByteArray(R"(["return:x.tif", {"filename": "no/such/folder"}])");
    QTest::newRow("a tool that cannot be started")
        << "/dev/null" << QByteArray(R"(["return:x.tif"])");
}

void VondCommandTest::aReturnNameIsFreeAgainAfterEveryEnd()
{
    QFETCH(const QString, vondPath);
    QFETCH(const QByteArray, body);
    const OwnWorkFolder folder;
    const MessageCatcher catcher;
    OutputCatcher errors(OutputCatcher::Channel::Error);
    static_cast<void>(commands::vond(vondPath, body));
    static_cast<void>(commands::vond(faketool::path(), R"(["return:x.tif"])"));
    static_cast<void>(errors.take());
    QCOMPARE(faketool::arguments(), QStringList{folder.filePath(QStringLiteral("x.tif"))});
}

VOND_TEST(VondCommandTest);
#include "vondcommandtest.moc"
