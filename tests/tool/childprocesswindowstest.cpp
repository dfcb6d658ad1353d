#include "tests/support/childrun.h"
#include "tests/support/faketool.h"
#include "tests/support/openresources.h"
#include "tests/support/ownfolders.h"
#include "tests/support/testmain.h"
#include "tool/childprocess.h"

#include <QProcess>

#include <vector>
#include <windows.h>

namespace {

using tool::ChildProcess;
using namespace childrun;

} // namespace

class ChildProcessWindowsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void argumentsArriveAsTheyAre();
    void aProgramThatCannotBeStartedIsTold();
    void aBatchFileIsNotStarted();
    void aLongWriteIsOneChunk_data();
    void aLongWriteIsOneChunk();
    void aWriteIsReadWhileTheProgramRuns();
    void theProgramInheritsItsStandardStreamsOnly();
    void aHundredRunsLeaveNoHandle();
};

void ChildProcessWindowsTest::initTestCase()
{
    useOwnSettings();
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

void ChildProcessWindowsTest::aWriteIsReadWhileTheProgramRuns()
{
    faketool::behave("writes of these sizes");
    ChildProcess process;
    int announced = 0;
    QObject::connect(
        &process, &ChildProcess::readyReadStandardOutput, &process, [&announced] { ++announced; });
    process.start(faketool::path(),
                  {QStringLiteral("5"),
                   QStringLiteral("~200000"),
                   QStringLiteral("6"),
                   QStringLiteral("~600000000")}); // ten minutes: never to its end
    while (announced < 2) {
        QVERIFY(!process.waitForFinished(shortMs));
    }
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

void ChildProcessWindowsTest::aHundredRunsLeaveNoHandle()
{
    faketool::behave("text and status three");
    QVERIFY(runWith<ChildProcess>(faketool::path(), {}).hasEnded); // what the first run leaves
    const int before = openDescriptors();
    for (int i = 0; i < 100; ++i) {
        QVERIFY(runWith<ChildProcess>(faketool::path(), {}).hasEnded);
    }
    QCOMPARE(openDescriptors(), before);
}

VOND_TEST(ChildProcessWindowsTest);
#include "childprocesswindowstest.moc"
