#include "jobs/result.h"

#include "tests/support/messagecatcher.h"
#include "tests/support/outputcatcher.h"
#include "tests/support/ownfolders.h"
#include "tests/support/testmain.h"

#include <QDir>
#include <QTest>

class ResultTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void aFileIsAnsweredWholeAnyNumberOfTimes();
    void aFileThatIsNotThereIsReportedAsNotAvailable_data();
    void aFileThatIsNotThereIsReportedAsNotAvailable();
    void anEmptyFileIsReportedLikeAMissingOne();
    void aFolderIsReportedAsNotOpened();
    void aFileThatEndsBeforeItsSizeIsAnsweredAsFarAsItGoesAndReported();
    void aFileAtTheLimitIsTooBigAndReportedInTwoLines_data();
    void aFileAtTheLimitIsTooBigAndReportedInTwoLines();
};

void ResultTest::initTestCase()
{
    useOwnSettings();
}

void ResultTest::aFileIsAnsweredWholeAnyNumberOfTimes()
{
    const OwnWorkFolder folder;
    const MessageCatcher catcher;
    OutputCatcher errors(OutputCatcher::Channel::Error);
    QByteArray bytes;
    for (int i = 0; i < 100000; ++i) {
        bytes.append(static_cast<char>(i % 251));
    }
    makeFile(folder.filePath(QStringLiteral("a b.bin")), bytes);
    QCOMPARE(jobs::getConversionResult(QStringLiteral("a b.bin")), bytes);
    QCOMPARE(jobs::getConversionResult(QStringLiteral("a b.bin")), bytes);
    QCOMPARE(errors.take(), QByteArray());
    QCOMPARE(catcher.messages(), QStringList());
    QCOMPARE(folder.names(), QStringList{QStringLiteral("a b.bin")});
}

void ResultTest::aFileThatIsNotThereIsReportedAsNotAvailable_data()
{
    QTest::addColumn<QString>("name");

    QTest::newRow("an unknown name") << "no such \u00e4.tif";
    QTest::newRow("a very long name") << QString(5000, QLatin1Char('n'));
    QTest::newRow("a zero character behind the name of a file")
        << QStringLiteral("there") + QChar(0);
}

void ResultTest::aFileThatIsNotThereIsReportedAsNotAvailable()
{
    QFETCH(const QString, name);
    const OwnWorkFolder folder;
    makeFile(folder.filePath(QStringLiteral("there")), "x");
    OutputCatcher errors(OutputCatcher::Channel::Error);
    QCOMPARE(jobs::getConversionResult(name), QByteArray());
    QCOMPARE(errors.take(), "file is not available, Size:0, File:" + name.toUtf8() + '\n');
}

void ResultTest::anEmptyFileIsReportedLikeAMissingOne()
{
    const OwnWorkFolder folder;
    makeFile(folder.filePath(QStringLiteral("a")));
    OutputCatcher errors(OutputCatcher::Channel::Error);
    QCOMPARE(jobs::getConversionResult(QStringLiteral("a")), QByteArray());
    QCOMPARE(errors.take(), QByteArray("file is not available, Size:0, File:a\n"));
}

void ResultTest::aFolderIsReportedAsNotOpened()
{
    const OwnWorkFolder folder;
    QVERIFY(QDir(folder.path()).mkdir(QStringLiteral("d")));
    makeFile(folder.filePath(QStringLiteral("d/a"))); // an empty folder may have size 0
    OutputCatcher errors(OutputCatcher::Channel::Error);
    QCOMPARE(jobs::getConversionResult(QStringLiteral("d")), QByteArray());
#ifdef Q_OS_WIN
    const QByteArray told = "file is not available, Size:0, File:d\n"; // a folder has no size there
#else
    const QByteArray told = "Could not open " + folder.path().toLocal8Bit()
        + "/d for reading: file to open is a directory\n";
#endif
    QCOMPARE(errors.take(), told);
}

void ResultTest::aFileThatEndsBeforeItsSizeIsAnsweredAsFarAsItGoesAndReported()
{
    // The kernel's own files claim a whole page and contain a line.
    const QString promising = QStringLiteral("/sys/kernel/mm/transparent_hugepage/enabled");
    const qint64 size = QFileInfo(promising).size();
    const QByteArray content = contentOf(promising);
#ifdef Q_OS_WIN
    QSKIP("Windows has no files that end before their size");
#endif
    if (content.isEmpty() || content.size() >= size) {
        QSKIP("this machine has no file that ends before its size");
    }
    const OwnWorkFolder folder;
    QVERIFY(QFile::link(promising, folder.filePath(QStringLiteral("a"))));
    OutputCatcher errors(OutputCatcher::Channel::Error);
    QCOMPARE(jobs::getConversionResult(QStringLiteral("a")), content);
    QCOMPARE(errors.take(),
             "file could not be read whole, Read:" + QByteArray::number(content.size())
                 + ", Size:" + QByteArray::number(size) + ", File:a\n");
}

void ResultTest::aFileAtTheLimitIsTooBigAndReportedInTwoLines_data()
{
    QTest::addColumn<qint64>("size");

    QTest::newRow("exactly the limit") << Q_INT64_C(2147483647);
    QTest::newRow("beyond 31 bits") << Q_INT64_C(2147483648);
    QTest::newRow("beyond 32 bits, small in the low ones") << Q_INT64_C(4294967297);
}

void ResultTest::aFileAtTheLimitIsTooBigAndReportedInTwoLines()
{
    QFETCH(const qint64, size);
    const OwnWorkFolder folder;
    QFile file(folder.filePath(QStringLiteral("a")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    QVERIFY(file.resize(size)); // sparse
    OutputCatcher errors(OutputCatcher::Channel::Error);
    QCOMPARE(jobs::getConversionResult(QStringLiteral("a")), QByteArray());
    QCOMPARE(errors.take(),
             "file is too big:, Size:" + QByteArray::number(size)
                 + ", File:a\n"
                   "Max: std::numeric_limits<int32>::max(), Size:2147483647\n");
}

VOND_TEST(ResultTest);
#include "resulttest.moc"
