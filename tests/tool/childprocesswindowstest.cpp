// What childprocesstest holds on Linux, as far as Windows has it.
#include "tests/support/faketool.h"
#include "tests/support/outputcatcher.h"
#include "tests/support/ownfolders.h"
#include "tests/support/testmain.h"
#include "tool/childprocess.h"

#include <QElapsedTimer>
#include <QProcess>

#include <algorithm>
#include <array>
#include <new>
#include <thread>
#include <vector>
#include <windows.h>

namespace {

using tool::ChildProcess;

constexpr int forEver = -1;
constexpr int shortMs = 300;

struct Run
{
    bool hasEnded = false;
    QByteArray output;
    QByteArray errors;
    QString errorString; // when it has not ended
};

template <typename Process>
Run runWith(const QString &program, const QStringList &arguments)
{
    Run run;
    Process process;
    process.start(program, arguments);
    run.hasEnded = process.waitForFinished(forEver);
    run.output = process.readAllStandardOutput();
    run.errors = process.readAllStandardError();
    run.errorString = run.hasEnded ? QString() : process.errorString();
    return run;
}

std::vector<QByteArray> chunksOf(ChildProcess &process)
{
    std::vector<QByteArray> chunks;
    QObject::connect(&process, &ChildProcess::readyReadStandardOutput, &process, [&] {
        chunks.push_back(process.readAllStandardOutput());
    });
    if (!process.waitForFinished(forEver)) {
        qFatal("the fake tool was not run to its end");
    }
    return chunks;
}

std::vector<qint64> sizes(const std::vector<QByteArray> &chunks)
{
    std::vector<qint64> found;
    found.reserve(chunks.size());
    for (const QByteArray &chunk : chunks) {
        found.push_back(chunk.size());
    }
    return found;
}

DWORD openHandles()
{
    DWORD count = 0;
    GetProcessHandleCount(GetCurrentProcess(), &count);
    return count;
}

} // namespace

class ChildProcessWindowsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void aRunLooksAsWithQProcess_data();
    void aRunLooksAsWithQProcess();
    void argumentsArriveAsTheyAre();
    void aProgramThatCannotBeStartedIsTold();
    void aBatchFileIsNotStarted();
    void theNextStartForgetsTheRunBefore();
    void eachWriteIsAChunkHoweverLateItIsRead();
    void aLongWriteIsOneChunk_data();
    void aLongWriteIsOneChunk();
    void writesBySixteenAtOnceAreNeverMistaken();
    void aWriteIsReadAtOnce();
    void theProgramInheritsItsStandardStreamsOnly();
    void standardInputIsOpenAndSilent();
    void whenTheTimeIsUpTheProgramRunsOnUntilTheObjectGoes();
    void endlessOutputKillsTheProgram_data();
    void endlessOutputKillsTheProgram();
    void anExceptionFromASlotLeavesNothingBehind();
    void aHundredRunsLeaveNoHandle();
};

void ChildProcessWindowsTest::initTestCase()
{
    useOwnSettings();
}

void ChildProcessWindowsTest::aRunLooksAsWithQProcess_data()
{
    QTest::addColumn<QStringList>("arguments");
    const QStringList output{QStringLiteral("-o"), QStringLiteral("/nowhere/a.tif")};

    QTest::newRow("progress, then a file") << output;
    QTest::newRow("error on standard error") << QStringList();
    QTest::newRow("error about the last argument") << QStringList(QStringLiteral("a.tif"));
    QTest::newRow("print its arguments")
        << QStringList{QStringLiteral("two words"), QString(), QStringLiteral("\u00e4\u20ac")};
    QTest::newRow("text and status three") << QStringList();
    QTest::newRow("print nothing") << QStringList();
    QTest::newRow("bytes with a zero") << QStringList();
    QTest::newRow("much on both channels") << QStringList();
    QTest::newRow("writes of these sizes")
        << QStringList{QStringLiteral("70000"), QStringLiteral("~1000"), QStringLiteral("4096")};
    QTest::newRow("its name and folder") << QStringList();
    QTest::newRow("close its output and go on") << QStringList();
}

void ChildProcessWindowsTest::aRunLooksAsWithQProcess()
{
    QFETCH(const QStringList, arguments);
    faketool::behave(QTest::currentDataTag());
    const Run theirs = runWith<QProcess>(faketool::path(), arguments);
    faketool::behave(QTest::currentDataTag());
    const Run ours = runWith<ChildProcess>(faketool::path(), arguments);
    QVERIFY2(theirs.hasEnded, qPrintable(theirs.errorString));
    QVERIFY2(ours.hasEnded, qPrintable(ours.errorString));
    QCOMPARE(ours.output, theirs.output);
    QCOMPARE(ours.errors, theirs.errors);
}

void ChildProcessWindowsTest::argumentsArriveAsTheyAre()
{
    const QStringList arguments{
        QStringLiteral("plain"),
        QString(),
        QStringLiteral("two words"),
        QStringLiteral(R"(a"b)"),
        QStringLiteral(R"(\\server\share\)"),
        QStringLiteral(R"(with blanks and \\)"),
        QStringLiteral(R"(\"&|<>^%PATH%)"),
        QStringLiteral("tab\tand\nline"),
        QStringLiteral("\u00e4\u20ac\u65e5"),
    };
    faketool::behave("print nothing");
    QVERIFY(runWith<ChildProcess>(faketool::path(), arguments).hasEnded);
    QCOMPARE(faketool::arguments(), arguments);
}

void ChildProcessWindowsTest::aProgramThatCannotBeStartedIsTold()
{
    ChildProcess process;
    process.start(QStringLiteral("C:/no/such/program.exe"), {});
    QCOMPARE(process.state(), QProcess::NotRunning);
    QVERIFY(!process.errorString().isEmpty());
    QVERIFY(!process.waitForFinished(forEver));
}

void ChildProcessWindowsTest::aBatchFileIsNotStarted()
{
    const OwnWorkFolder folder;
    const QString program = folder.filePath(QStringLiteral("vond.bat"));
    makeFile(program, "@echo started\r\n");
    ChildProcess process;
    process.start(program, {});
    QVERIFY(!process.waitForFinished(forEver));
    QCOMPARE(process.readAllStandardOutput(), QByteArray());
    QVERIFY(!process.errorString().isEmpty());
}

void ChildProcessWindowsTest::theNextStartForgetsTheRunBefore()
{
    faketool::behave("text and status three");
    ChildProcess process;
    process.start(QStringLiteral("C:/no/such/program.exe"), {});
    QVERIFY(!process.errorString().isEmpty());
    process.start(faketool::path(), {});
    QCOMPARE(process.errorString(), QString());
    QVERIFY(process.waitForFinished(forEver));
    process.start(faketool::path(), {});
    QVERIFY(process.waitForFinished(forEver));
    QCOMPARE(process.readAllStandardOutput(), QByteArray("stand-in 1.0 \xe2\x82\xac\n"));
    QCOMPARE(process.readAllStandardError(), QByteArray("a warning\n"));
}

void ChildProcessWindowsTest::eachWriteIsAChunkHoweverLateItIsRead()
{
    faketool::behave("writes of these sizes");
    ChildProcess process;
    const QStringList arguments{QStringLiteral("15"),
                                QStringLiteral("30"),
                                QStringLiteral("1"),
                                QStringLiteral("4095"),
                                QStringLiteral("2")};
    process.start(faketool::path(), arguments);
    QTRY_VERIFY(faketool::ran() && !faketool::isAlive(faketool::processId())); // all is written
    const std::vector<QByteArray> expected{
        QByteArray(15, 'a'), QByteArray(30, 'b'), "c", QByteArray(4095, 'd'), "ee"};
    QCOMPARE(chunksOf(process), expected);
}

void ChildProcessWindowsTest::aLongWriteIsOneChunk_data()
{
    QTest::addColumn<QString>("size");
    for (const char *const size : {"1", "4096", "10000", "65536", "65537", "70000", "500000"}) {
        QTest::newRow(size) << size;
    }
}

void ChildProcessWindowsTest::aLongWriteIsOneChunk()
{
    QFETCH(const QString, size);
    faketool::behave("writes of these sizes");
    ChildProcess process;
    process.start(faketool::path(), {QStringLiteral("7"), size, QStringLiteral("7")});
    const std::vector<qint64> expected{7, size.toLongLong(), 7};
    QCOMPARE(sizes(chunksOf(process)), expected);
}

void ChildProcessWindowsTest::writesBySixteenAtOnceAreNeverMistaken()
{
    constexpr std::size_t clients = 16;
    faketool::behave("writes of these sizes");
    for (const char *const pause : {"~0", "~1000", "~5000"}) {
        std::array<bool, clients> isRight = {};
        std::vector<std::thread> threads;
        for (bool &right : isRight) {
            threads.emplace_back([&right, pause] {
                right = true;
                for (int i = 0; i < 3; ++i) {
                    ChildProcess process;
                    process.start(
                        faketool::path(),
                        {QStringLiteral("14"), QLatin1String(pause), QStringLiteral("20")});
                    right = right && sizes(chunksOf(process)) == std::vector<qint64>{14, 20};
                }
            });
        }
        for (std::thread &thread : threads) {
            thread.join();
        }
        QVERIFY2(std::all_of(isRight.cbegin(), isRight.cend(), [](bool right) { return right; }),
                 pause);
    }
}

void ChildProcessWindowsTest::aWriteIsReadAtOnce()
{
    faketool::behave("writes of these sizes");
    ChildProcess process;
    qint64 first = 0;
    QElapsedTimer timer;
    QObject::connect(&process, &ChildProcess::readyReadStandardOutput, &process, [&] {
        if (process.readAllStandardOutput().startsWith('a')) {
            timer.start();
        } else {
            first = timer.elapsed();
        }
    });
    // The second comes 200 ms after the first; Qt would look for it after some 300.
    process.start(faketool::path(),
                  {QStringLiteral("5"),
                   QStringLiteral("~200000"),
                   QStringLiteral("6"),
                   QStringLiteral("~300000")});
    QVERIFY(process.waitForFinished(forEver));
    QVERIFY2(first < 250, qPrintable(QString::number(first)));
}

void ChildProcessWindowsTest::theProgramInheritsItsStandardStreamsOnly()
{
    SECURITY_ATTRIBUTES inheritable = {sizeof inheritable, nullptr, TRUE};
    const HANDLE event = CreateEventW(&inheritable, TRUE, FALSE, nullptr);
    faketool::behave("has it this event");
    const QString number = QString::number(reinterpret_cast<quintptr>(event));
    const Run run = runWith<ChildProcess>(faketool::path(), {number});
    CloseHandle(event);
    QCOMPARE(run.output, QByteArray("no\n"));
}

void ChildProcessWindowsTest::standardInputIsOpenAndSilent()
{
    faketool::behave("its standard input");
    QCOMPARE(runWith<ChildProcess>(faketool::path(), {}).output, QByteArray("open and silent\n"));
}

void ChildProcessWindowsTest::whenTheTimeIsUpTheProgramRunsOnUntilTheObjectGoes()
{
    faketool::behave("hang after a word");
    {
        ChildProcess process;
        process.start(faketool::path(), {});
        QTRY_VERIFY(faketool::ran());
        QVERIFY(!process.waitForFinished(shortMs));
        QCOMPARE(process.state(), QProcess::Running);
        QCOMPARE(process.errorString(), QStringLiteral("Process operation timed out"));
        QCOMPARE(process.readAllStandardOutput(), QByteArray("partial\n"));
        QVERIFY(faketool::isAlive(faketool::processId()));
        QVERIFY(!process.waitForFinished(0));
    }
    QVERIFY(!faketool::isAlive(faketool::processId()));
}

void ChildProcessWindowsTest::endlessOutputKillsTheProgram_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("standard output") << QStringList();
    QTest::newRow("standard error") << QStringList(QStringLiteral("on standard error"));
}

void ChildProcessWindowsTest::endlessOutputKillsTheProgram()
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

void ChildProcessWindowsTest::anExceptionFromASlotLeavesNothingBehind()
{
    faketool::behave("hang after a word");
    ChildProcess process;
    QObject::connect(
        &process, &ChildProcess::readyReadStandardOutput, &process, [] { throw std::bad_alloc(); });
    process.start(faketool::path(), {});
    QVERIFY_EXCEPTION_THROWN(static_cast<void>(process.waitForFinished(forEver)), std::bad_alloc);
    QCOMPARE(process.state(), QProcess::NotRunning);
    QVERIFY(!faketool::isAlive(faketool::processId()));
}

void ChildProcessWindowsTest::aHundredRunsLeaveNoHandle()
{
    faketool::behave("text and status three");
    QVERIFY(runWith<ChildProcess>(faketool::path(), {}).hasEnded); // what the first run leaves
    const DWORD before = openHandles();
    for (int i = 0; i < 100; ++i) {
        QVERIFY(runWith<ChildProcess>(faketool::path(), {}).hasEnded);
    }
    QCOMPARE(openHandles(), before);
}

VOND_TEST(ChildProcessWindowsTest);
#include "childprocesswindowstest.moc"
