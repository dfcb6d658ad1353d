#include "jobs/convert.h"

#include "jobs/cancel.h"
#include "jobs/progress.h"
#include "jobs/result.h"
#include "tests/support/faketool.h"
#include "tests/support/messagecatcher.h"
#include "tests/support/outputcatcher.h"
#include "tests/support/ownfolders.h"
#include "tests/support/testmain.h"

#include <QSettings>
#include <QTest>

#include <new>
#include <thread>

namespace {

const QByteArray
    body(R"({"fileName": "a.b.c", "reqestID": "r1", "configuration": "X", "cancelID": "c1"})");

} // namespace

// Lends what a connection's handler lends, and records what its slot sees.
class Connection : public QObject
{
    Q_OBJECT

public:
    explicit Connection(jobs::Registry *registry)
        : m_registry(registry)
    {
    }

    QString convert(const QString &vondPath, const QByteArray &request = body)
    {
        return jobs::convert(
            vondPath, m_registry, {this, m_process, m_requestId, m_lastStdOutMsg}, request);
    }

public Q_SLOTS:

    void handleVondProgress()
    {
        if (m_findsNoMemory) {
            throw std::bad_alloc();
        }
        const QByteArray chunk = m_process->readAllStandardOutput();
        m_chunks.append(chunk);
        jobs::takeOutputChunk(m_registry, m_requestId, chunk, m_lastStdOutMsg);
        m_polled.append(jobs::progressInfo(m_registry, m_requestId));
    }

public:
    jobs::Registry *m_registry;
    tool::ChildProcess *m_process = nullptr;
    QString m_requestId;
    QString m_lastStdOutMsg;
    bool m_findsNoMemory = false;
    QList<QByteArray> m_chunks;
    QStringList m_polled; // what a poll would have read after each chunk
};

class ConvertTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void theToolGetsItsArgumentsInOrder();
    void theRunIsLoggedStepByStep();
    void progressReachesTheRegistryDuringTheWait();
    void theReportedOutputIsTheAnswerAndCanBeFetched();
    void anOutputThatIsThereIsNumberedByTheTool();
    void progressAtTheEndGivesThePlannedName();
    void twoProgressLinesInOneChunkAreStoredWhole();
    void anErrorAnswersTheTranslatedMessageAndIsLogged();
    void theEntryIsGoneWhenTheAnswerIsThere();
    void anExceptionDuringTheRunTakesTheEntryBackAndEndsTheTool();
    void aRunningJobIsPolledAndCancelledFromAnotherThread();
    void theLastMessageOfAnEarlierJobIsNotForgotten();
    void theProcessStaysAChildOfTheHandlerAndTheNextJobReplacesIt();
    void withoutAToolNothingElseHappens_data();
    void withoutAToolNothingElseHappens();
    void aToolThatCannotBeStartedIsReportedAndAnsweredEmpty();
    void aZeroCharacterStartsNothing();
    void aToolThatDiesIsNotTreatedSpecially();
    void aBodyThatIsNoJsonRunsTheToolWithEmptyValues();
    void anUnknownWorkFolderFallsBackInEveryPath();
};

void ConvertTest::initTestCase()
{
    useOwnSettings();
}

void ConvertTest::theToolGetsItsArgumentsInOrder()
{
    const OwnWorkFolder folder;
    const MessageCatcher catcher;
    jobs::Registry registry;
    Connection connection(&registry);
    faketool::behave("print nothing");
    QCOMPARE(connection.convert(faketool::path()), QStringLiteral("a_X.c"));
    const QStringList arguments{
        QStringLiteral("--progress"),
        QStringLiteral("--stopfile=") + folder.filePath(QStringLiteral("c1.txt")),
        QStringLiteral("--translateerror"),
        QStringLiteral("--overwriteoutput=increment"),
        QStringLiteral("-c"),
        QStringLiteral("X"),
        folder.filePath(QStringLiteral("a.b.c")),
        QStringLiteral("-o"),
        folder.filePath(QStringLiteral("a_X.c")),
    };
    QCOMPARE(faketool::arguments(), arguments);
    QCOMPARE(folder.names(), QStringList()); // no stop file, no input created by us
}

void ConvertTest::theRunIsLoggedStepByStep()
{
    const OwnWorkFolder folder;
    const MessageCatcher catcher;
    jobs::Registry registry;
    Connection connection(&registry);
    faketool::behave("progress at the end");
    QCOMPARE(connection.convert(faketool::path()), QStringLiteral("a_X.c"));
    const QStringList lines{
        QStringLiteral(R"(convert reqestID:  "r1")"),
        QStringLiteral(R"(convert: stopfile:  "%1/c1.txt")").arg(folder.path()),
        QStringLiteral("arguments:"),
        QStringLiteral(R"(("--progress", "--stopfile=%1/c1.txt", "--translateerror", )"
                       R"("--overwriteoutput=increment", "-c", "X", "%1/a.b.c", "-o", )"
                       R"("%1/a_X.c"))")
            .arg(folder.path()),
        QStringLiteral(R"(fromVond-StdOut: "")"),
        QStringLiteral(R"(fromVondErr: "")"),
        QStringLiteral(R"(m_lastStdOutMsg "")"),
    };
    QCOMPARE(catcher.messages(), lines);
}

void ConvertTest::progressReachesTheRegistryDuringTheWait()
{
    const OwnWorkFolder folder;
    const MessageCatcher catcher;
    jobs::Registry registry;
    Connection connection(&registry);
    faketool::behave("progress, then a file");
    QCOMPARE(connection.convert(faketool::path()), QStringLiteral("a_X.c"));
    const QStringList polled{
        QStringLiteral("Progress: 10%\n"),
        QStringLiteral("Progress: 50%\n"),
        QStringLiteral("Progress: 100%\n"),
        QStringLiteral("Progress: 100%\n"), // after the chunk that names the output
    };
    QCOMPARE(connection.m_polled, polled);
}

void ConvertTest::theReportedOutputIsTheAnswerAndCanBeFetched()
{
    const OwnWorkFolder folder;
    const MessageCatcher catcher;
    jobs::Registry registry;
    Connection connection(&registry);
    faketool::behave("progress, then a file");
    const QString name = connection.convert(faketool::path());
    QCOMPARE(jobs::getConversionResult(name), QByteArray("converted"));
    QCOMPARE(jobs::getConversionResult(name), QByteArray("converted"));
}

void ConvertTest::anOutputThatIsThereIsNumberedByTheTool()
{
    const OwnWorkFolder folder;
    const MessageCatcher catcher;
    jobs::Registry registry;
    Connection connection(&registry);
    makeFile(folder.filePath(QStringLiteral("a_X.c")), "old");
    faketool::behave("progress, then a file");
    QCOMPARE(connection.convert(faketool::path()), QStringLiteral("a_X_1.c"));
    QCOMPARE(contentOf(folder.filePath(QStringLiteral("a_X.c"))), QByteArray("old"));
}

void ConvertTest::progressAtTheEndGivesThePlannedName()
{
    const OwnWorkFolder folder;
    const MessageCatcher catcher;
    jobs::Registry registry;
    Connection connection(&registry);
    faketool::behave("progress at the end");
    QCOMPARE(connection.convert(faketool::path()), QStringLiteral("a_X.c"));
    QCOMPARE(connection.m_chunks.first(), QByteArray("Loading ...\n"));
    QCOMPARE(connection.m_lastStdOutMsg, QString());
}

void ConvertTest::twoProgressLinesInOneChunkAreStoredWhole()
{
    const OwnWorkFolder folder;
    const MessageCatcher catcher;
    jobs::Registry registry;
    Connection connection(&registry);
    faketool::behave("two lines in one chunk");
    QCOMPARE(connection.convert(faketool::path()), QStringLiteral("a_X.c"));
    QCOMPARE(connection.m_polled, QStringList{QStringLiteral("Progress: 10%\nProgress: 11%\n")});
}

void ConvertTest::anErrorAnswersTheTranslatedMessageAndIsLogged()
{
    const OwnWorkFolder folder;
    const MessageCatcher catcher;
    jobs::Registry registry;
    Connection connection(&registry);
    faketool::behave("error on standard error");
    const QString message =
        QStringLiteral("Die Datei kann nicht gelesen werden: \u00e4\u00f6\u00fc\n");
    QCOMPARE(connection.convert(faketool::path()), message);
    QCOMPARE(connection.m_lastStdOutMsg, message);
    const QStringList lines = catcher.messages();
    QCOMPARE(lines.size(), 9);
    QCOMPARE(lines.at(5), QStringLiteral(R"(fromVondErr: "Error: cannot read the input\n")"));
    QCOMPARE(lines.at(6),
             QStringLiteral("m_lastStdOutMsg \"Die Datei kann nicht gelesen werden: "
                            "\u00e4\u00f6\u00fc\\n\""));
    QCOMPARE(lines.at(7), QStringLiteral(R"(conversion failed: "")"));
    QCOMPARE(lines.at(8), lines.at(3)); // the arguments again
}

void ConvertTest::theEntryIsGoneWhenTheAnswerIsThere()
{
    const OwnWorkFolder folder;
    MessageCatcher catcher;
    jobs::Registry registry;
    Connection connection(&registry);
    faketool::behave("progress, then a file");
    QCOMPARE(connection.convert(faketool::path()), QStringLiteral("a_X.c"));
    catcher.clear();
    QCOMPARE(jobs::progressInfo(&registry, QStringLiteral("r1")), QString());
    const QStringList lines{QStringLiteral("Requests: "), QStringLiteral("()")};
    QCOMPARE(catcher.messages(), lines);
}

void ConvertTest::anExceptionDuringTheRunTakesTheEntryBackAndEndsTheTool()
{
    const OwnWorkFolder folder;
    const MessageCatcher catcher;
    jobs::Registry registry;
    Connection connection(&registry);
    connection.m_findsNoMemory = true;
    faketool::behave("hang after a word");
    QVERIFY_EXCEPTION_THROWN(connection.convert(faketool::path()), std::bad_alloc);
    QVERIFY(registry.isEmpty());
    QCOMPARE(connection.m_process->state(), QProcess::NotRunning);
    QVERIFY(!faketool::isAlive(faketool::processId()));
}

void ConvertTest::aRunningJobIsPolledAndCancelledFromAnotherThread()
{
    const OwnWorkFolder folder;
    const MessageCatcher catcher;
    jobs::Registry registry;
    faketool::behave("until the stop file is there");
    QString answer;
    std::thread connectionThread([&registry, &answer] {
        Connection connection(&registry);
        answer = connection.convert(faketool::path());
    });
    const QString id = QStringLiteral("r1");
    const bool seen = QTest::qWaitFor([&registry, &id] {
        return jobs::progressInfo(&registry, id) == QStringLiteral("Progress: 42%\n");
    });
    const QString cancelled = jobs::cancelConversion(faketool::path(), QStringLiteral("c1"));
    connectionThread.join();
    QVERIFY2(seen, "the running job's progress was never read");
    QCOMPARE(cancelled, QStringLiteral("c1"));
    QCOMPARE(answer, QStringLiteral("The conversion was cancelled.\n"));
    QCOMPARE(jobs::progressInfo(&registry, id), QString());
    QCOMPARE(folder.names(), QStringList{QStringLiteral("c1.txt")}); // it is not deleted
}

void ConvertTest::theLastMessageOfAnEarlierJobIsNotForgotten()
{
    const OwnWorkFolder folder;
    const MessageCatcher catcher;
    jobs::Registry registry;
    Connection connection(&registry);
    connection.m_lastStdOutMsg = QStringLiteral("Output file: /t/earlier.c");
    faketool::behave("print nothing");
    QCOMPARE(connection.convert(faketool::path()), QStringLiteral("earlier.c"));
    QCOMPARE(connection.convert(faketool::path()),
             QStringLiteral("a_X.c")); // its marker has been removed
}

void ConvertTest::theProcessStaysAChildOfTheHandlerAndTheNextJobReplacesIt()
{
    const OwnWorkFolder folder;
    const MessageCatcher catcher;
    jobs::Registry registry;
    Connection connection(&registry);
    faketool::behave("print nothing");
    QCOMPARE(connection.convert(faketool::path()), QStringLiteral("a_X.c"));
    tool::ChildProcess *const first = connection.m_process;
    QCOMPARE(connection.convert(faketool::path()), QStringLiteral("a_X.c"));
    QVERIFY(connection.m_process != first);
    const QList<tool::ChildProcess *> both{first, connection.m_process};
    QCOMPARE(connection.findChildren<tool::ChildProcess *>(), both);
}

void ConvertTest::withoutAToolNothingElseHappens_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("answer");
    QTest::addColumn<QByteArray>("line");

    QTest::newRow("no path") << ""
                             << "error: no vondPath set" << QByteArray("error: no vondPath set\n");
    QTest::newRow("no tool") << "/no/vond"
                             << "error: no vond-exe not found:/no/vond"
                             << QByteArray("error: no vond-exe not found/no/vond\n");
}

void ConvertTest::withoutAToolNothingElseHappens()
{
    QFETCH(const QString, path);
    const MessageCatcher catcher;
    OutputCatcher errors(OutputCatcher::Channel::Error);
    jobs::Registry registry;
    Connection connection(&registry);
    connection.m_requestId = QStringLiteral("before");
    QTEST(connection.convert(path), "answer");
    QTEST(errors.take(), "line");
    QCOMPARE(catcher.messages(), QStringList());
    QCOMPARE(connection.m_requestId, QStringLiteral("before"));
    QVERIFY(!connection.m_process);
}

void ConvertTest::aToolThatCannotBeStartedIsReportedAndAnsweredEmpty()
{
    const OwnWorkFolder folder;
    const MessageCatcher catcher;
    OutputCatcher errors(OutputCatcher::Channel::Error);
    jobs::Registry registry;
    Connection connection(&registry);
    QCOMPARE(connection.convert(folder.path()), QString());
    QCOMPARE(errors.take(),
             "vond process timeout converting: " + folder.path().toLocal8Bit() + "/a.b.c\n");
    QVERIFY(registry.isEmpty());
}

void ConvertTest::aZeroCharacterStartsNothing()
{
    const OwnWorkFolder folder;
    const MessageCatcher catcher;
    OutputCatcher errors(OutputCatcher::Channel::Error);
    jobs::Registry registry;
    Connection connection(&registry);
    faketool::behave("print nothing");
    QCOMPARE(connection.convert(faketool::path(), R"({"fileName": "a\u0000b", "reqestID": "r1"})"),
             QString());
    QVERIFY(errors.take().startsWith("error: zero character in an argument, "
                                     "the tool is not started\n"
                                     "vond process timeout converting: "));
    QVERIFY(!faketool::ran());
    QVERIFY(registry.isEmpty());
}

void ConvertTest::aToolThatDiesIsNotTreatedSpecially()
{
    const OwnWorkFolder folder;
    const MessageCatcher catcher;
    OutputCatcher errors(OutputCatcher::Channel::Error);
    jobs::Registry registry;
    Connection connection(&registry);
    faketool::behave("die by a signal");
    QCOMPARE(connection.convert(faketool::path()), QStringLiteral("a_X.c"));
    QCOMPARE(errors.take(), QByteArray());
    QCOMPARE(connection.m_lastStdOutMsg, QStringLiteral("half\n"));
}

void ConvertTest::aBodyThatIsNoJsonRunsTheToolWithEmptyValues()
{
    const OwnWorkFolder folder;
    const MessageCatcher catcher;
    jobs::Registry registry;
    Connection connection(&registry);
    faketool::behave("error on standard error");
    QVERIFY(!connection.convert(faketool::path(), "no JSON").isEmpty());
    QCOMPARE(faketool::arguments().value(1),
             QStringLiteral("--stopfile=") + folder.filePath(QStringLiteral(".txt")));
    const QStringList end{QString(),
                          folder.filePath(QString()),
                          QStringLiteral("-o"),
                          folder.filePath(QStringLiteral("_"))};
    QCOMPARE(faketool::arguments().mid(5), end);
}

void ConvertTest::anUnknownWorkFolderFallsBackInEveryPath()
{
    setWorkFolder(QStringLiteral("/no/such/folder"));
    const MessageCatcher catcher;
    jobs::Registry registry;
    Connection connection(&registry);
    faketool::behave("print nothing");
    QCOMPARE(connection.convert(faketool::path()), QStringLiteral("a_X.c"));
    const QString temp = QDir::tempPath();
    QCOMPARE(faketool::arguments().value(1), QStringLiteral("--stopfile=%1/c1.txt").arg(temp));
    QCOMPARE(faketool::arguments().value(6), temp + QStringLiteral("/a.b.c"));
    QCOMPARE(faketool::arguments().value(8), temp + QStringLiteral("/a_X.c"));
}

VOND_TEST(ConvertTest);
#include "converttest.moc"
