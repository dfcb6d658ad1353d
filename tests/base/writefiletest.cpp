#include "base/writefile.h"

#include "commands/writebase64file.h"
#include "tests/support/inthreads.h"
#include "tests/support/outputcatcher.h"
#include "tests/support/ownfolders.h"
#include "tests/support/systemtexts.h"
#include "tests/support/testmain.h"

#include <QFile>
#include <QTest>

#include <atomic>

namespace {

// As in successive requests.
QString writeBase64File(const QString &path, const QString &text)
{
    tool::ClaimedPaths claims;
    return commands::writeBase64File(path, text, &claims);
}

} // namespace

// What holds on every system; writefilelinuxtest has the rest.
class WriteFileTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aFileIsMadeWithItsBytes();
    void aFileThatIsThereIsReplaced();
    void aFolderIsNotWrittenAndTheReasonComesBack();
    void aZeroCharacterInTheNameWritesNoFileAtAll();
    void aVeryLongNameIsRejectedByTheSystem();
    void base64IsDecodedAndThePathComesBack();
    void aTakenNameIsLeftAloneAndTheNumberedPathComesBack();
    void anEmptyTextMakesAnEmptyFile();
    void badBase64IsWrittenWithoutAWord_data();
    void badBase64IsWrittenWithoutAWord();
    void theFolderItselfAsTargetIsWrittenUnderANumber();
    void aFileThatCannotBeMadeIsReportedWithThePathThatWasAskedFor();
    void aFreePathThatCannotBeMadeIsReported();
    void aZeroCharacterIsReportedAndNothingIsWritten();
    void aFileThatIsBeingReadIsWritten();
    void theLongestNameIsWrittenAndReplaced();
    void writersOfOneNameLeaveOneOfTheirFiles();
    void writersOfNewFilesAllGetAnother();
};

void WriteFileTest::aFileIsMadeWithItsBytes()
{
    const OwnWorkFolder folder;
    const QString path = folder.filePath(QStringLiteral("a.bin"));
    QVERIFY(!base::writeFile(path, QByteArray("\0\xff\r\n", 4)));
    QCOMPARE(contentOf(path), QByteArray("\0\xff\r\n", 4));
}

void WriteFileTest::aFileThatIsThereIsReplaced()
{
    const OwnWorkFolder folder;
    const QString path = folder.filePath(QStringLiteral("a.bin"));
    makeFile(path, "something long");
    QVERIFY(!base::writeFile(path, "short"));
    QCOMPARE(contentOf(path), QByteArray("short"));
}

void WriteFileTest::aFolderIsNotWrittenAndTheReasonComesBack()
{
    const OwnWorkFolder folder;
#ifdef Q_OS_WIN
    const QString reason = QString::fromUtf8(systemtexts::of(systemtexts::isFolder));
#else
    const QString reason = QStringLiteral("Is a directory");
#endif
    QCOMPARE(base::writeFile(folder.path(), "x").value_or(QString()), reason);
}

void WriteFileTest::aZeroCharacterInTheNameWritesNoFileAtAll()
{
    const OwnWorkFolder folder;
    const QString name = QStringLiteral("a") + QChar(0) + QStringLiteral("b");
    QCOMPARE(base::writeFile(folder.filePath(name), "x").value_or(QString()),
             QStringLiteral("zero character in the name"));
    QCOMPARE(folder.names(), QStringList());
}

void WriteFileTest::aVeryLongNameIsRejectedByTheSystem()
{
    const OwnWorkFolder folder;
    const QString reason =
        base::writeFile(folder.filePath(QString(300, QLatin1Char('n'))), "x").value_or(QString());
#ifdef Q_OS_WIN // which gives one of several reasons
    QVERIFY(!reason.isEmpty());
#else
    QCOMPARE(reason, QStringLiteral("File name too long"));
#endif
    QCOMPARE(folder.names(), QStringList());
}

void WriteFileTest::base64IsDecodedAndThePathComesBack()
{
    const OwnWorkFolder folder;
    const QString path = folder.filePath(QStringLiteral("a.tif"));
    QCOMPARE(writeBase64File(path, QStringLiteral("AP8Kew==")), path);
    QCOMPARE(contentOf(path), QByteArray("\0\xff\n{", 4));
}

void WriteFileTest::aTakenNameIsLeftAloneAndTheNumberedPathComesBack()
{
    const OwnWorkFolder folder;
    const QString path = folder.filePath(QStringLiteral("a.tif"));
    const QString numbered = folder.filePath(QStringLiteral("a_1.tif"));
    makeFile(path, "old");
    QCOMPARE(writeBase64File(path, QStringLiteral("bmV3")), numbered);
    QCOMPARE(contentOf(path), QByteArray("old"));
    QCOMPARE(contentOf(numbered), QByteArray("new"));
}

void WriteFileTest::anEmptyTextMakesAnEmptyFile()
{
    const OwnWorkFolder folder;
    const QString path = folder.filePath(QStringLiteral("a.tif"));
    QCOMPARE(writeBase64File(path, QString()), path);
    QVERIFY(QFile::exists(path));
    QCOMPARE(contentOf(path), QByteArray());
}

void WriteFileTest::badBase64IsWrittenWithoutAWord_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QByteArray>("bytes");

    QTest::newRow("no padding") << "bmV" << QByteArray("ne");
    QTest::newRow("line ends are skipped") << "bm\r\nV3" << QByteArray("new");
    QTest::newRow("foreign characters are skipped") << "b*m\u00e4V\u20ac3" << QByteArray("new");
    QTest::newRow("nothing but foreign characters") << "***" << QByteArray();
    QTest::newRow("a single character") << "b" << QByteArray();
}

void WriteFileTest::badBase64IsWrittenWithoutAWord()
{
    QFETCH(const QString, text);
    const OwnWorkFolder folder;
    const QString path = folder.filePath(QStringLiteral("a.bin"));
    OutputCatcher errors(OutputCatcher::Channel::Error);
    QCOMPARE(writeBase64File(path, text), path);
    QCOMPARE(errors.take(), QByteArray());
    QTEST(contentOf(path), "bytes");
}

void WriteFileTest::theFolderItselfAsTargetIsWrittenUnderANumber()
{
    const OwnWorkFolder folder;
    QCOMPARE(writeBase64File(folder.filePath(QString()), QStringLiteral("bmV3")),
             folder.filePath(QStringLiteral("_1.")));
    QCOMPARE(contentOf(folder.filePath(QStringLiteral("_1."))), QByteArray("new"));
}

void WriteFileTest::aFileThatCannotBeMadeIsReportedWithThePathThatWasAskedFor()
{
    // The free name for a file in a folder with a dot is in a folder that does not exist.
    const OwnWorkFolder folder;
    QVERIFY(QDir(folder.path()).mkdir(QStringLiteral("v1.2")));
    const QString path = folder.filePath(QStringLiteral("v1.2/raw"));
    makeFile(path);
    OutputCatcher errors(OutputCatcher::Channel::Error);
    QCOMPARE(writeBase64File(path, QStringLiteral("bmV3")), QString());
    QCOMPARE(errors.take(),
             "Could not open " + path.toLocal8Bit()
                 + " for writing: " + systemtexts::of(systemtexts::noFolder) + '\n');
}

void WriteFileTest::aFreePathThatCannotBeMadeIsReported()
{
    const QString path = QStringLiteral("/no/such/folder/a.tif");
    OutputCatcher errors(OutputCatcher::Channel::Error);
    QCOMPARE(writeBase64File(path, QStringLiteral("bmV3")), QString());
    QCOMPARE(errors.take(),
             "Could not open /no/such/folder/a.tif for writing: "
                 + systemtexts::of(systemtexts::noFolder) + '\n');
}

void WriteFileTest::aZeroCharacterIsReportedAndNothingIsWritten()
{
    const OwnWorkFolder folder;
    const QString path = folder.filePath(QStringLiteral("a") + QChar(0) + QStringLiteral("b"));
    OutputCatcher errors(OutputCatcher::Channel::Error);
    QCOMPARE(writeBase64File(path, QStringLiteral("bmV3")), QString());
    QCOMPARE(errors.take(),
             "Could not open " + folder.path().toLocal8Bit()
                 + "/a for writing: zero character in the name\n");
    QCOMPARE(folder.names(), QStringList());
}

void WriteFileTest::aFileThatIsBeingReadIsWritten()
{
    const OwnWorkFolder folder;
    const QString path = folder.filePath(QStringLiteral("a"));
    makeFile(path, "old");
    QFile reader(path);
    QVERIFY(reader.open(QIODevice::ReadOnly));
    QVERIFY(!base::writeFile(path, "new"));
    QCOMPARE(contentOf(path), QByteArray("new"));
    QCOMPARE(folder.names(), QStringList{QStringLiteral("a")});
}

void WriteFileTest::theLongestNameIsWrittenAndReplaced()
{
    const OwnWorkFolder folder;
    const QString name(255, QLatin1Char('n'));
    QVERIFY(!base::writeFile(folder.filePath(name), "old"));
    QVERIFY(!base::writeFile(folder.filePath(name), "new"));
    QCOMPARE(contentOf(folder.filePath(name)), QByteArray("new"));
    QCOMPARE(folder.names(), QStringList{name});
}

void WriteFileTest::writersOfOneNameLeaveOneOfTheirFiles()
{
    const OwnWorkFolder folder;
    const QString path = folder.filePath(QStringLiteral("a"));
    for (int round = 0; round < 20; ++round) {
        std::atomic<int> refused{0};
        inThreads(4, [&](int number) {
            const QByteArray bytes((number + 1) * 500000, static_cast<char>('a' + number));
            refused += base::writeFile(path, bytes) ? 1 : 0;
        });
        QCOMPARE(refused.load(), 0);
        const QByteArray left = contentOf(path);
        QVERIFY(!left.isEmpty());
        QCOMPARE(left.size(), (left.at(0) - 'a' + 1) * 500000);
        QCOMPARE(left.count(left.at(0)), left.size());
    }
    QCOMPARE(folder.names(), QStringList{QStringLiteral("a")});
}

void WriteFileTest::writersOfNewFilesAllGetAnother()
{
    constexpr int writers = 8;
    constexpr int rounds = 100;
    const OwnWorkFolder folder;
    const QString path = folder.filePath(QStringLiteral("image.jpg"));
    std::atomic<int> wrong{0};
    inThreads(writers, [&](int number) {
        for (int round = 0; round < rounds; ++round) {
            const QByteArray bytes = QByteArray::number(number) + ' ' + QByteArray::number(round);
            const QString written = writeBase64File(path, QString::fromLatin1(bytes.toBase64()));
            wrong += contentOf(written) == bytes ? 0 : 1;
        }
    });
    QCOMPARE(wrong.load(), 0);
    QStringList wanted{QStringLiteral("image.jpg")};
    for (int number = 1; number < writers * rounds; ++number) {
        wanted.append(QStringLiteral("image_%1.jpg").arg(number));
    }
    wanted.sort();
    QStringList names = folder.names();
    names.sort();
    QCOMPARE(names, wanted);
}

VOND_TEST(WriteFileTest);
#include "writefiletest.moc"
