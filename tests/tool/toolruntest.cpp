#include "tests/support/faketool.h"
#include "tests/support/messagecatcher.h"
#include "tests/support/outputcatcher.h"
#include "tests/support/ownfolders.h"
#include "tests/support/testmain.h"
#include "tool/run.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QTest>

namespace {

#ifdef Q_OS_WIN
constexpr int shortTimeoutMs = 3000; // a program starts slowly under wine
#else
constexpr int shortTimeoutMs = 300;
#endif

} // namespace

class ToolRunTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void argumentsArriveOneByOneAsTheyAre();
    void aPathWithBlanksIsTheProgramAndNotSplit();
    void aQueryAnswersWhatWasPrintedAndNotTheErrors();
    void aQueryOfAToolThatCannotBeStartedIsEmpty();
    void aQueryOfAHangingToolAnswersWhatItPrintedAndTheToolIsGone();
    void aRunToTheEndGivesAndLogsBothChannels();
    void aRunToTheEndTakesMoreThanAPipeHolds();
    void aToolThatDiesIsNotTreatedSpecially();
    void aRunThatCannotBeStartedIsAFailedWait();
    void aZeroCharacterInAnArgumentStartsNothing();
    void aFailedConversionWaitIsReportedWithTheInput();
    void onlyTheBeginningOfStandardErrorReportsAnError_data();
    void onlyTheBeginningOfStandardErrorReportsAnError();
};

void ToolRunTest::initTestCase()
{
    useOwnSettings();
}

void ToolRunTest::argumentsArriveOneByOneAsTheyAre()
{
    const QStringList arguments{
        QStringLiteral("two words"),
        QString(),
        QStringLiteral("\"quoted\" 'and' $HOME; ls"),
        QStringLiteral("line\nend"),
        QStringLiteral("-o"),
    };
    faketool::behave("print nothing");
    QVERIFY(tool::runToEnd(faketool::path(), arguments));
    QCOMPARE(faketool::arguments(), arguments);
}

void ToolRunTest::aPathWithBlanksIsTheProgramAndNotSplit()
{
    const OwnWorkFolder folder;
    const QString path = folder.filePath(QStringLiteral("my own tool.exe"));
    QVERIFY(QFile::copy(faketool::path(), path));
    faketool::behave("print its arguments");
    QCOMPARE(tool::shortQuery(path, {QStringLiteral("a")}), QByteArray("a\n"));
}

void ToolRunTest::aQueryAnswersWhatWasPrintedAndNotTheErrors()
{
    faketool::behave("text and status three");
    QCOMPARE(tool::shortQuery(faketool::path(), {}), QByteArray("fake tool 1.0 \xe2\x82\xac\n"));
}

void ToolRunTest::aQueryOfAToolThatCannotBeStartedIsEmpty()
{
    const OwnWorkFolder folder;
    OutputCatcher errors(OutputCatcher::Channel::Error);
    QCOMPARE(tool::shortQuery(folder.path(), {}), QByteArray());
    QCOMPARE(errors.take(), QByteArray());
}

void ToolRunTest::aQueryOfAHangingToolAnswersWhatItPrintedAndTheToolIsGone()
{
    faketool::behave("hang after a word");
    const MessageCatcher catcher; // Qt warns that it kills a running process
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(tool::shortQuery(faketool::path(), {}, shortTimeoutMs), QByteArray("partial\n"));
    QVERIFY2(timer.elapsed() >= shortTimeoutMs, "answered before the time was up");
    QVERIFY(faketool::processId() > 0);
    QVERIFY(!faketool::isAlive(faketool::processId()));
}

void ToolRunTest::aRunToTheEndGivesAndLogsBothChannels()
{
    faketool::behave("text and status three");
    const MessageCatcher catcher;
    const auto output = tool::runToEnd(faketool::path(), {});
    QVERIFY(output);
    QCOMPARE(output->stdOut, QByteArray("fake tool 1.0 \xe2\x82\xac\n"));
    QCOMPARE(output->stdErr, QByteArray("a warning\n"));
    const QStringList expected{
        QStringLiteral(R"(fromVond-StdOut: "fake tool 1.0 \xE2\x82\xAC\n")"),
        QStringLiteral(R"(fromVondErr: "a warning\n")"),
    };
    QCOMPARE(catcher.messages(), expected);
}

void ToolRunTest::aRunToTheEndTakesMoreThanAPipeHolds()
{
    faketool::behave("much on both channels");
    const MessageCatcher catcher;
    const auto output = tool::runToEnd(faketool::path(), {});
    QVERIFY(output);
    QCOMPARE(output->stdOut, QByteArray(1024 * 1024, 'x'));
    QCOMPARE(output->stdErr, QByteArray(1024 * 1024, 'x'));
}

void ToolRunTest::aToolThatDiesIsNotTreatedSpecially()
{
    faketool::behave("die by a signal");
    const auto output = tool::runToEnd(faketool::path(), {});
    QVERIFY(output);
    QCOMPARE(output->stdOut, QByteArray("half\n"));
}

void ToolRunTest::aRunThatCannotBeStartedIsAFailedWait()
{
    const OwnWorkFolder folder;
    const MessageCatcher catcher;
    QVERIFY(!tool::runToEnd(folder.path(), {}));
    QCOMPARE(catcher.messages(), QStringList());
}

void ToolRunTest::aZeroCharacterInAnArgumentStartsNothing()
{
    faketool::behave("print nothing");
    const QStringList arguments{QStringLiteral("good"), QStringLiteral("cut") + QChar(0)};
    OutputCatcher errors(OutputCatcher::Channel::Error);
    QVERIFY(!tool::runToEnd(faketool::path(), arguments));
    QCOMPARE(errors.take(),
             QByteArray("error: zero character in an argument, the tool is not started\n"));
    QVERIFY(!faketool::ran());
}

void ToolRunTest::aFailedConversionWaitIsReportedWithTheInput()
{
    OutputCatcher errors(OutputCatcher::Channel::Error);
    tool::reportFailedConversionWait(QStringLiteral("/tmp/a%s.tif"));
    QCOMPARE(errors.take(), QByteArray("vond process timeout converting: /tmp/a%s.tif\n"));
}

void ToolRunTest::onlyTheBeginningOfStandardErrorReportsAnError_data()
{
    QTest::addColumn<QByteArray>("stdErr");
    QTest::addColumn<bool>("reports");

    QTest::newRow("the marker alone") << QByteArray("Error:") << true;
    QTest::newRow("the marker and more") << QByteArray("Error: no\nmore") << true;
    QTest::newRow("nothing") << QByteArray() << false;
    QTest::newRow("other case") << QByteArray("error: no") << false;
    QTest::newRow("no colon") << QByteArray("Error no") << false;
    QTest::newRow("after a blank") << QByteArray(" Error: no") << false;
    QTest::newRow("in the second line") << QByteArray("Warning\nError: no") << false;
}

void ToolRunTest::onlyTheBeginningOfStandardErrorReportsAnError()
{
    QFETCH(const QByteArray, stdErr);
    QTEST(tool::reportsError(stdErr), "reports");
}

VOND_TEST(ToolRunTest);
#include "toolruntest.moc"
