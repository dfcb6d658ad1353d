#include "tool/childprocess.h"

#include "tests/support/childrun.h"
#include "tests/support/faketool.h"
#include "tests/support/inthreads.h"
#include "tests/support/openresources.h"
#include "tests/support/outputcatcher.h"
#include "tests/support/ownfolders.h"
#include "tests/support/testmain.h"

#include <QProcess>
#include <QTest>

#include <algorithm>
#include <array>
#include <cstddef>
#include <new>
#include <vector>

namespace {

using tool::ChildProcess;
using namespace childrun;

} // namespace

// What holds on every system; childprocesslinuxtest and childprocesswindowstest have the rest.
class ChildProcessTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup() const;

    void aRunLooksAsWithQProcess_data();
    void aRunLooksAsWithQProcess();
    void withoutAProgramTheWaitFailsAtOnce();
    void theNextStartForgetsTheRunBefore();
    void eachWriteIsAChunkHoweverLateItIsRead();
    void writesBySixteenAtOnceAreNeverMistaken();
    void standardInputIsOpenAndSilent();
    void whenTheTimeIsUpTheProgramRunsOnUntilTheObjectGoes();
    void aFloodEndsWhenTheTimeIsUp();
    void endlessOutputKillsTheProgram_data();
    void endlessOutputKillsTheProgram();
    void whatIsTakenDoesNotCountAsKept();
    void anExceptionFromASlotLeavesNothingBehind() const;

private:
    int m_descriptors = 0;
};

void ChildProcessTest::initTestCase()
{
    useOwnSettings();
}

void ChildProcessTest::init()
{
    m_descriptors = openDescriptors();
}

void ChildProcessTest::cleanup() const
{
    QCOMPARE(openDescriptors(), m_descriptors);
    QVERIFY(!hasChildren());
}

void ChildProcessTest::aRunLooksAsWithQProcess_data()
{
    QTest::addColumn<QStringList>("arguments");
    const QStringList output{QStringLiteral("-o"), QStringLiteral("/nowhere/a.tif")};

    QTest::newRow("progress, then a file") << output;
    QTest::newRow("progress at the end") << output;
    QTest::newRow("an output file") << output;
    QTest::newRow("a file and no words") << output;
    QTest::newRow("error on standard error") << QStringList();
    QTest::newRow("error about the last argument") << QStringList(QStringLiteral("a.tif"));
    QTest::newRow("two lines in one chunk") << QStringList();
    QTest::newRow("print its arguments")
        << QStringList{QStringLiteral("two words"), QString(), QStringLiteral("\u00e4\u20ac")};
    QTest::newRow("text and status three") << QStringList();
    QTest::newRow("print nothing") << QStringList();
    QTest::newRow("bytes with a zero") << QStringList();
    QTest::newRow("much on both channels") << QStringList();
    QTest::newRow("writes of these sizes")
        << QStringList{QStringLiteral("70000"), QStringLiteral("~1000"), QStringLiteral("4096")};
    QTest::newRow("its standard input") << QStringList();
    QTest::newRow("its name and folder") << QStringList();
    QTest::newRow("close its output and go on") << QStringList();
#ifdef Q_OS_LINUX
    QTest::newRow("bytes that are no UTF-8") << QStringList();
    QTest::newRow("die by a signal") << QStringList();
    QTest::newRow("no such behaviour") << QStringList();
#endif
}

void ChildProcessTest::aRunLooksAsWithQProcess()
{
    QFETCH(const QStringList, arguments);
    faketool::behave(QTest::currentDataTag());
    const Run theirs = runWith<QProcess>(faketool::path(), arguments);
    faketool::behave(QTest::currentDataTag());
    const Run ours = runWith<ChildProcess>(faketool::path(), arguments);
    QVERIFY(theirs.hasStarted && theirs.hasEnded);
    QCOMPARE(ours, theirs);
}

void ChildProcessTest::withoutAProgramTheWaitFailsAtOnce()
{
    ChildProcess process;
    QVERIFY(!process.waitForFinished(forEver));
    QCOMPARE(process.state(), QProcess::NotRunning);
}

void ChildProcessTest::theNextStartForgetsTheRunBefore()
{
    faketool::behave("text and status three");
    ChildProcess process;
    process.start(QStringLiteral("/no/such/program"), {});
    QVERIFY(!process.errorString().isEmpty());
    process.start(faketool::path(), {});
    QCOMPARE(process.errorString(), QString());
    QVERIFY(process.waitForFinished(forEver));
    process.start(faketool::path(), {});
    QVERIFY(process.waitForFinished(forEver));
    QCOMPARE(process.readAllStandardOutput(), QByteArray("fake tool 1.0 \xe2\x82\xac\n"));
    QCOMPARE(process.readAllStandardError(), QByteArray("a warning\n"));
}

void ChildProcessTest::eachWriteIsAChunkHoweverLateItIsRead()
{
    faketool::behave("writes of these sizes");
    ChildProcess process;
    const QStringList arguments{QStringLiteral("15"),
                                QStringLiteral("30"),
                                QStringLiteral("1"),
                                QStringLiteral("4095"),
                                QStringLiteral("2")};
    process.start(faketool::path(), arguments);
    faketool::waitForTheEnd();
    const std::vector<QByteArray> expected{
        QByteArray(15, 'a'), QByteArray(30, 'b'), "c", QByteArray(4095, 'd'), "ee"};
    QCOMPARE(chunksOf(process), expected);
}

void ChildProcessTest::writesBySixteenAtOnceAreNeverMistaken()
{
    constexpr int clients = 16;
    faketool::behave("writes of these sizes");
    for (const char *const pause : {"~0", "~50", "~200", "~1000", "~5000"}) {
        std::array<bool, clients> isRight = {};
        inThreads(clients, [&isRight, pause](int client) {
            bool &right = isRight.at(static_cast<std::size_t>(client));
            right = true;
            for (int i = 0; i < 5; ++i) {
                ChildProcess process;
                process.start(faketool::path(),
                              {QStringLiteral("14"), QLatin1String(pause), QStringLiteral("20")});
                right = right && sizes(chunksOf(process)) == std::vector<qint64>{14, 20};
            }
        });
        QVERIFY2(std::all_of(isRight.cbegin(), isRight.cend(), [](bool right) { return right; }),
                 pause);
    }
}

void ChildProcessTest::standardInputIsOpenAndSilent()
{
    faketool::behave("its standard input");
    QCOMPARE(runWith<ChildProcess>(faketool::path(), {}).output, QByteArray("open and silent\n"));
}

void ChildProcessTest::whenTheTimeIsUpTheProgramRunsOnUntilTheObjectGoes()
{
    faketool::behave("hang after a word");
    {
        ChildProcess process;
        process.start(faketool::path(), {});
        QVERIFY(!process.waitForFinished(shortMs));
        QCOMPARE(process.state(), QProcess::Running);
        QCOMPARE(process.errorString(), QStringLiteral("Process operation timed out"));
        QCOMPARE(process.readAllStandardOutput(), QByteArray("partial\n"));
        QVERIFY(faketool::isAlive(faketool::processId()));
        QVERIFY(!process.waitForFinished(0));
    }
    QVERIFY(!faketool::isAlive(faketool::processId()));
}

void ChildProcessTest::aFloodEndsWhenTheTimeIsUp()
{
    faketool::behave("print without end");
    ChildProcess process;
    QObject::connect(&process, &ChildProcess::readyReadStandardOutput, &process, [&process] {
        static_cast<void>(process.readAllStandardOutput());
    });
    process.start(faketool::path(), {});
    QVERIFY(!process.waitForFinished(shortMs));
}

void ChildProcessTest::endlessOutputKillsTheProgram_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("standard output") << QStringList();
    QTest::newRow("standard error") << QStringList(QStringLiteral("on standard error"));
}

void ChildProcessTest::endlessOutputKillsTheProgram()
{
    QFETCH(const QStringList, arguments);
    faketool::behave("print without end");
    OutputCatcher operatorLines(OutputCatcher::Channel::Error);
    ChildProcess process;
    process.start(faketool::path(), arguments);
    QVERIFY(process.waitForFinished(forEver));
    QCOMPARE(operatorLines.take(),
             QByteArray("error: the tool printed more than 67108864 bytes, it is killed\n"));
    QVERIFY(!faketool::isAlive(faketool::processId()));
    const QByteArray kept =
        arguments.isEmpty() ? process.readAllStandardOutput() : process.readAllStandardError();
    QVERIFY(kept.size() > ChildProcess::largestOutput);
    QVERIFY(kept.size() < ChildProcess::largestOutput + 1024 * 1024);
}

void ChildProcessTest::whatIsTakenDoesNotCountAsKept()
{
    faketool::behave("writes of these sizes");
    ChildProcess process;
    qint64 taken = 0;
    QObject::connect(&process, &ChildProcess::readyReadStandardOutput, &process, [&] {
        taken += process.readAllStandardOutput().size();
    });
    const QString size = QString::number(ChildProcess::largestOutput / 2);
    process.start(faketool::path(), {size, size, size});
    QVERIFY(process.waitForFinished(forEver));
    QCOMPARE(taken, qint64(ChildProcess::largestOutput) / 2 * 3);
}

void ChildProcessTest::anExceptionFromASlotLeavesNothingBehind() const
{
    faketool::behave("hang after a word");
    ChildProcess process;
    QObject::connect(
        &process, &ChildProcess::readyReadStandardOutput, &process, [] { throw std::bad_alloc(); });
    process.start(faketool::path(), {});
    QVERIFY_EXCEPTION_THROWN(static_cast<void>(process.waitForFinished(forEver)), std::bad_alloc);
    QCOMPARE(process.state(), QProcess::NotRunning);
    QVERIFY(!faketool::isAlive(faketool::processId()));
    QCOMPARE(openDescriptors(), m_descriptors);
    QVERIFY(!hasChildren());
}

VOND_TEST(ChildProcessTest);
#include "childprocesstest.moc"
