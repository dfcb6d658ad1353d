#include "jobs/cancel.h"

#include "tests/support/faketool.h"
#include "tests/support/outputcatcher.h"
#include "tests/support/ownfolders.h"
#include "tests/support/systemtexts.h"
#include "tests/support/testmain.h"

#include <QTest>

class CancelTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void aCancelLeavesItsStopFileAndAnswersTheId();
    void cancellingTwiceRewritesTheFile();
    void theToolIsNotRun();
    void withoutAToolNoFileIsWritten_data();
    void withoutAToolNoFileIsWritten();
    void anIdThatIsNoFileNameIsReportedAndAnsweredEmpty_data();
    void anIdThatIsNoFileNameIsReportedAndAnsweredEmpty();
    void aZeroCharacterWritesNoFileOfAnotherName();
};

void CancelTest::initTestCase()
{
    useOwnSettings();
}

void CancelTest::aCancelLeavesItsStopFileAndAnswersTheId()
{
    const OwnWorkFolder folder;
    QCOMPARE(jobs::cancelConversion(faketool::path(), QStringLiteral("job7")),
             QStringLiteral("job7"));
    QCOMPARE(folder.names(), QStringList{QStringLiteral("job7.txt")});
    QCOMPARE(contentOf(folder.filePath(QStringLiteral("job7.txt"))),
             QByteArray("This is a stop file."));
}

void CancelTest::cancellingTwiceRewritesTheFile()
{
    const OwnWorkFolder folder;
    makeFile(folder.filePath(QStringLiteral("job7.txt")), "something longer than the stop file");
    const QString id = QStringLiteral("job7");
    QCOMPARE(jobs::cancelConversion(faketool::path(), id), id);
    QCOMPARE(jobs::cancelConversion(faketool::path(), id), id);
    QCOMPARE(contentOf(folder.filePath(QStringLiteral("job7.txt"))),
             QByteArray("This is a stop file."));
}

void CancelTest::theToolIsNotRun()
{
    const OwnWorkFolder folder;
    faketool::behave("print nothing");
    QCOMPARE(jobs::cancelConversion(faketool::path(), QString()), QString());
    QVERIFY(!faketool::ran());
    QCOMPARE(folder.names(), QStringList{QStringLiteral(".txt")}); // the empty ID is an ID
}

void CancelTest::withoutAToolNoFileIsWritten_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("answer");

    QTest::newRow("no path") << ""
                             << "error: no vondPath set";
    QTest::newRow("no tool") << "/no/vond"
                             << "error: no vond-exe not found:/no/vond";
}

void CancelTest::withoutAToolNoFileIsWritten()
{
    QFETCH(const QString, path);
    const OwnWorkFolder folder;
    OutputCatcher errors(OutputCatcher::Channel::Error);
    QTEST(jobs::cancelConversion(path, QStringLiteral("job7")), "answer");
    QVERIFY(errors.take().startsWith("error: no vond"));
    QCOMPARE(folder.names(), QStringList());
}

void CancelTest::anIdThatIsNoFileNameIsReportedAndAnsweredEmpty_data()
{
    QTest::addColumn<QString>("id");
    QTest::addColumn<QByteArray>("reason");

    QTest::newRow("in a missing folder") << "none/job7" << systemtexts::of(systemtexts::noFolder);
#ifndef Q_OS_WIN // which gives one of several reasons
    QTest::newRow("too long") << QString(300, QLatin1Char('n'))
                              << systemtexts::of(systemtexts::longName);
#endif
}

void CancelTest::anIdThatIsNoFileNameIsReportedAndAnsweredEmpty()
{
    QFETCH(const QString, id);
    QFETCH(const QByteArray, reason);
    const OwnWorkFolder folder;
    OutputCatcher errors(OutputCatcher::Channel::Error);
    QCOMPARE(jobs::cancelConversion(faketool::path(), id), QString());
    QCOMPARE(errors.take(),
             "Could not open " + folder.filePath(id).toLocal8Bit() + ".txt for writing: " + reason
                 + '\n');
}

void CancelTest::aZeroCharacterWritesNoFileOfAnotherName()
{
    const OwnWorkFolder folder;
    OutputCatcher errors(OutputCatcher::Channel::Error);
    QCOMPARE(jobs::cancelConversion(faketool::path(), QStringLiteral("a") + QChar(0)), QString());
    QCOMPARE(errors.take(),
             "Could not open " + folder.path().toLocal8Bit()
                 + "/a for writing: zero character in the name\n");
    QCOMPARE(folder.names(), QStringList());
}

VOND_TEST(CancelTest);
#include "canceltest.moc"
