#include "commands/convertwithlocaldata.h"

#include "tests/support/faketool.h"
#include "tests/support/messagecatcher.h"
#include "tests/support/outputcatcher.h"
#include "tests/support/ownfolders.h"
#include "tests/support/systemtexts.h"
#include "tests/support/testmain.h"

#include <QTest>

namespace {

const QByteArray plainBody(R"({"fileName": "name.ext", "imgData": "bmV3", "configuration": "X"})");

QByteArray bodyWithOptions(const QByteArray &list)
{
    return R"({"fileName": "a.tif", "imgData": "bmV3", "configuration": "X", )"
           R"("setOptions": {"setOptions": )"
        + list + "}}";
}

} // namespace

class ConvertWithLocalDataTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void theImageIsWrittenAndTheToolGetsItsPath();
    void argumentsAndOutputAreLogged();
    void sameNamesAreNumberedInInputAndOutput();
    void optionsFollowTheConfiguration();
    void aFileOptionIsWrittenAndItsPathPassed();
    void aTakenFileOptionIsNumbered();
    void theReportedOutputIsTheAnswer();
    void aSilentToolGivesTheBareName();
    void anErrorGivesTheToolsWords();
    void aBodyThatIsNoJsonRunsTheToolWithEmptyValues();
    void withoutAToolTheAnswerIsTheRejection();
    void aFileOptionThatCannotBeWrittenStopsBeforeAllElse();
    void anImageThatCannotBeWrittenIsAnsweredEmpty();
    void aToolThatCannotBeStartedIsReportedWithTheInput();
};

void ConvertWithLocalDataTest::initTestCase()
{
    useOwnSettings();
}

void ConvertWithLocalDataTest::init()
{
    faketool::behave("print nothing");
}

void ConvertWithLocalDataTest::theImageIsWrittenAndTheToolGetsItsPath()
{
    const OwnWorkFolder folder;
    const MessageCatcher catcher;
    QCOMPARE(commands::convertWithLocalData(faketool::path(), plainBody),
             QStringLiteral("name_X.ext"));
    // Written out as in ConvertTest: each of the two routes has a contract of its own with the
    // tool.
    const QStringList arguments{
        QStringLiteral("--translateerror"),
        QStringLiteral("--overwriteoutput=increment"),
        QStringLiteral("-c"),
        QStringLiteral("X"),
        folder.filePath(QStringLiteral("name.ext")),
        QStringLiteral("-o"),
        folder.filePath(QStringLiteral("name_X.ext")),
    };
    QCOMPARE(faketool::arguments(), arguments);
    QCOMPARE(contentOf(folder.filePath(QStringLiteral("name.ext"))), QByteArray("new"));
}

void ConvertWithLocalDataTest::argumentsAndOutputAreLogged()
{
    const OwnWorkFolder folder;
    const MessageCatcher catcher;
    faketool::behave("text and status three");
    QCOMPARE(commands::convertWithLocalData(faketool::path(), plainBody),
             folder.filePath(QStringLiteral("name_X.ext")));
    const QStringList lines{
        QStringLiteral("arguments:"),
        QStringLiteral("(\"--translateerror\", \"--overwriteoutput=increment\", \"-c\", \"X\", "
                       "\"%1/name.ext\", \"-o\", \"%1/name_X.ext\")")
            .arg(folder.path()),
        QStringLiteral(R"(fromVond-StdOut: "fake tool 1.0 \xE2\x82\xAC\n")"),
        QStringLiteral(R"(fromVondErr: "a warning\n")"),
    };
    QCOMPARE(catcher.messages(), lines);
}

void ConvertWithLocalDataTest::sameNamesAreNumberedInInputAndOutput()
{
    const OwnWorkFolder folder;
    const MessageCatcher catcher;
    QCOMPARE(commands::convertWithLocalData(faketool::path(), plainBody),
             QStringLiteral("name_X.ext"));
    QCOMPARE(commands::convertWithLocalData(faketool::path(), plainBody),
             QStringLiteral("name_1_X.ext"));
    const QStringList names{QStringLiteral("name.ext"), QStringLiteral("name_1.ext")};
    QCOMPARE(folder.names(), names);
}

void ConvertWithLocalDataTest::optionsFollowTheConfiguration()
{
    const OwnWorkFolder folder;
    const MessageCatcher catcher;
    QCOMPARE(
        commands::convertWithLocalData(faketool::path(), bodyWithOptions(R"([{"--dpi": "300"}])")),
        QStringLiteral("a_X.tif"));
    const QStringList middle{QStringLiteral("X"),
                             QStringLiteral("setoption"),
                             QStringLiteral("--dpi"),
                             QStringLiteral("300"),
                             folder.filePath(QStringLiteral("a.tif"))};
    QCOMPARE(faketool::arguments().mid(3, 5), middle);
}

void ConvertWithLocalDataTest::aFileOptionIsWrittenAndItsPathPassed()
{
    const OwnWorkFolder folder;
    const MessageCatcher catcher;
    QCOMPARE(commands::convertWithLocalData(
                 faketool::path(),
                 bodyWithOptions(R"([{"local:": {"filename": "p.icc", "data": "QUJD", )"
                                 R"("option": "--profile"}}])")),
             QStringLiteral("a_X.tif"));
    const QStringList middle{QStringLiteral("setoption"),
                             QStringLiteral("--profile"),
                             folder.filePath(QStringLiteral("p.icc"))};
    QCOMPARE(faketool::arguments().mid(4, 3), middle);
    QCOMPARE(contentOf(folder.filePath(QStringLiteral("p.icc"))), QByteArray("ABC"));
}

void ConvertWithLocalDataTest::aTakenFileOptionIsNumbered()
{
    const OwnWorkFolder folder;
    const MessageCatcher catcher;
    makeFile(folder.filePath(QStringLiteral("p.icc")));
    QCOMPARE(commands::convertWithLocalData(
                 faketool::path(),
                 bodyWithOptions(R"([{"local:": {"filename": "p.icc", "option": "--profile"}}])")),
             QStringLiteral("a_X.tif"));
    QCOMPARE(faketool::arguments().value(6), folder.filePath(QStringLiteral("p_1.icc")));
}

void ConvertWithLocalDataTest::theReportedOutputIsTheAnswer()
{
    const OwnWorkFolder folder;
    const MessageCatcher catcher;
    makeFile(folder.filePath(QStringLiteral("name_X.ext")), "old");
    faketool::behave("an output file");
    QCOMPARE(commands::convertWithLocalData(faketool::path(), plainBody),
             folder.filePath(QStringLiteral("name_X_1.ext")));
    QCOMPARE(contentOf(folder.filePath(QStringLiteral("name_X_1.ext"))), QByteArray("converted"));
    QCOMPARE(contentOf(folder.filePath(QStringLiteral("name_X.ext"))), QByteArray("old"));
}

void ConvertWithLocalDataTest::aSilentToolGivesTheBareName()
{
    const OwnWorkFolder folder;
    const MessageCatcher catcher;
    faketool::behave("a file and no words");
    QCOMPARE(commands::convertWithLocalData(faketool::path(), plainBody),
             QStringLiteral("name_X.ext"));
    QCOMPARE(contentOf(folder.filePath(QStringLiteral("name_X.ext"))), QByteArray("converted"));
}

void ConvertWithLocalDataTest::anErrorGivesTheToolsWords()
{
    const OwnWorkFolder folder;
    const MessageCatcher catcher;
    faketool::behave("error on standard error");
    QCOMPARE(commands::convertWithLocalData(faketool::path(), plainBody),
             QStringLiteral("Progress: 10%\n"
                            "Die Datei kann nicht gelesen werden: \u00e4\u00f6\u00fc\n"));
}

void ConvertWithLocalDataTest::aBodyThatIsNoJsonRunsTheToolWithEmptyValues()
{
    const OwnWorkFolder folder;
    const MessageCatcher catcher;
    QCOMPARE(commands::convertWithLocalData(faketool::path(), "no JSON"), QStringLiteral("_1_."));
    const QStringList end{QString(),
                          folder.filePath(QStringLiteral("_1.")),
                          QStringLiteral("-o"),
                          folder.filePath(QStringLiteral("_1_."))};
    QCOMPARE(faketool::arguments().mid(3), end);
}

void ConvertWithLocalDataTest::withoutAToolTheAnswerIsTheRejection()
{
    const OwnWorkFolder folder;
    OutputCatcher errors(OutputCatcher::Channel::Error);
    QCOMPARE(commands::convertWithLocalData(QStringLiteral("/no/vond"), plainBody),
             QStringLiteral("error: no vond-exe not found:/no/vond"));
    QCOMPARE(errors.take(), QByteArray("error: no vond-exe not found/no/vond\n"));
    QCOMPARE(folder.names(), QStringList());
}

void ConvertWithLocalDataTest::aFileOptionThatCannotBeWrittenStopsBeforeAllElse()
{
    const OwnWorkFolder folder;
    OutputCatcher errors(OutputCatcher::Channel::Error);
    QCOMPARE(commands::convertWithLocalData(
                 faketool::path(), bodyWithOptions(R"([{"local:": {"filename": "none/p.icc"}}])")),
             QStringLiteral("Error: saving data to file"));
    QCOMPARE(errors.take(),
             "Could not open " + folder.path().toLocal8Bit()
                 + "/none/p.icc for writing: " + systemtexts::of(systemtexts::noFolder) + '\n');
    QVERIFY(!faketool::ran());
    QCOMPARE(folder.names(), QStringList());
}

void ConvertWithLocalDataTest::anImageThatCannotBeWrittenIsAnsweredEmpty()
{
    const OwnWorkFolder folder;
    OutputCatcher errors(OutputCatcher::Channel::Error);
    QCOMPARE(commands::convertWithLocalData(faketool::path(), R"({"fileName": "none/a.tif"})"),
             QString());
    QCOMPARE(errors.take(),
             "Could not open " + folder.path().toLocal8Bit()
                 + "/none/a.tif for writing: " + systemtexts::of(systemtexts::noFolder) + '\n');
    QVERIFY(!faketool::ran());
}

void ConvertWithLocalDataTest::aToolThatCannotBeStartedIsReportedWithTheInput()
{
    const OwnWorkFolder folder;
    const MessageCatcher catcher;
    OutputCatcher errors(OutputCatcher::Channel::Error);
    QCOMPARE(commands::convertWithLocalData(folder.path(), plainBody), QString());
    QCOMPARE(errors.take(),
             "vond process timeout converting: " + folder.path().toLocal8Bit() + "/name.ext\n");
}

VOND_TEST(ConvertWithLocalDataTest);
#include "convertwithlocaldatatest.moc"
