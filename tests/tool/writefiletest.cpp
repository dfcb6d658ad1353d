#include "tool/writefile.h"

#include "tests/support/outputcatcher.h"
#include "tests/support/ownfolders.h"
#include "tool/writebase64file.h"

#include <QtTest>

class WriteFileTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aFileIsMadeWithItsBytes();
    void aFileThatIsThereIsReplaced();
    void aFolderIsNotWrittenAndTheReasonComesBack();
    void aZeroCharacterInTheNameWritesNoFileAtAll();
    void aVeryLongNameIsRefusedByTheSystem();
    void base64IsDecodedAndThePathComesBack();
    void aTakenNameIsLeftAloneAndTheNumberedPathComesBack();
    void anEmptyTextMakesAnEmptyFile();
    void badBase64IsWrittenWithoutAWord_data();
    void badBase64IsWrittenWithoutAWord();
    void theFolderItselfAsTargetIsWrittenUnderANumber();
    void aFileThatCannotBeMadeIsToldWithThePathThatWasAskedFor();
    void aFreePathThatCannotBeMadeIsTold();
    void aZeroCharacterIsToldAndNothingIsWritten();
};

void WriteFileTest::aFileIsMadeWithItsBytes()
{
    const OwnWorkFolder folder;
    const QString path = folder.filePath(QStringLiteral("a.bin"));
    QVERIFY(!tool::writeFile(path, QByteArray("\0\xff\r\n", 4)));
    QCOMPARE(contentOf(path), QByteArray("\0\xff\r\n", 4));
}

void WriteFileTest::aFileThatIsThereIsReplaced()
{
    const OwnWorkFolder folder;
    const QString path = folder.filePath(QStringLiteral("a.bin"));
    makeFile(path, "something long");
    QVERIFY(!tool::writeFile(path, "short"));
    QCOMPARE(contentOf(path), QByteArray("short"));
}

void WriteFileTest::aFolderIsNotWrittenAndTheReasonComesBack()
{
    const OwnWorkFolder folder;
    QCOMPARE(tool::writeFile(folder.path(), "x").value_or(QString()),
             QStringLiteral("Is a directory"));
}

void WriteFileTest::aZeroCharacterInTheNameWritesNoFileAtAll()
{
    const OwnWorkFolder folder;
    const QString name = QStringLiteral("a") + QChar(0) + QStringLiteral("b");
    QCOMPARE(tool::writeFile(folder.filePath(name), "x").value_or(QString()),
             QStringLiteral("zero character in the name"));
    QCOMPARE(folder.names(), QStringList());
}

void WriteFileTest::aVeryLongNameIsRefusedByTheSystem()
{
    const OwnWorkFolder folder;
    QCOMPARE(
        tool::writeFile(folder.filePath(QString(300, QLatin1Char('n'))), "x").value_or(QString()),
        QStringLiteral("File name too long"));
}

void WriteFileTest::base64IsDecodedAndThePathComesBack()
{
    const OwnWorkFolder folder;
    const QString path = folder.filePath(QStringLiteral("a.tif"));
    QCOMPARE(tool::writeBase64File(path, QStringLiteral("AP8Kew==")), path);
    QCOMPARE(contentOf(path), QByteArray("\0\xff\n{", 4));
}

void WriteFileTest::aTakenNameIsLeftAloneAndTheNumberedPathComesBack()
{
    const OwnWorkFolder folder;
    const QString path = folder.filePath(QStringLiteral("a.tif"));
    const QString numbered = folder.filePath(QStringLiteral("a_1.tif"));
    makeFile(path, "old");
    QCOMPARE(tool::writeBase64File(path, QStringLiteral("bmV3")), numbered);
    QCOMPARE(contentOf(path), QByteArray("old"));
    QCOMPARE(contentOf(numbered), QByteArray("new"));
}

void WriteFileTest::anEmptyTextMakesAnEmptyFile()
{
    const OwnWorkFolder folder;
    const QString path = folder.filePath(QStringLiteral("a.tif"));
    QCOMPARE(tool::writeBase64File(path, QString()), path);
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
    QCOMPARE(tool::writeBase64File(path, text), path);
    QCOMPARE(errors.take(), QByteArray());
    QTEST(contentOf(path), "bytes");
}

void WriteFileTest::theFolderItselfAsTargetIsWrittenUnderANumber()
{
    const OwnWorkFolder folder;
    QCOMPARE(tool::writeBase64File(folder.filePath(QString()), QStringLiteral("bmV3")),
             folder.filePath(QStringLiteral("_1.")));
    QCOMPARE(contentOf(folder.filePath(QStringLiteral("_1."))), QByteArray("new"));
}

void WriteFileTest::aFileThatCannotBeMadeIsToldWithThePathThatWasAskedFor()
{
    // The free name for a file in a folder with a dot lies in a folder that is not there.
    const OwnWorkFolder folder;
    QVERIFY(QDir(folder.path()).mkdir(QStringLiteral("v1.2")));
    const QString path = folder.filePath(QStringLiteral("v1.2/raw"));
    makeFile(path);
    OutputCatcher errors(OutputCatcher::Channel::Error);
    QCOMPARE(tool::writeBase64File(path, QStringLiteral("bmV3")), QString());
    QCOMPARE(errors.take(),
             "Could not open " + path.toLocal8Bit() + " for writing: No such file or directory\n");
}

void WriteFileTest::aFreePathThatCannotBeMadeIsTold()
{
    const QString path = QStringLiteral("/no/such/folder/a.tif");
    OutputCatcher errors(OutputCatcher::Channel::Error);
    QCOMPARE(tool::writeBase64File(path, QStringLiteral("bmV3")), QString());
    QCOMPARE(errors.take(),
             QByteArray("Could not open /no/such/folder/a.tif for writing: "
                        "No such file or directory\n"));
}

void WriteFileTest::aZeroCharacterIsToldAndNothingIsWritten()
{
    const OwnWorkFolder folder;
    const QString path = folder.filePath(QStringLiteral("a") + QChar(0) + QStringLiteral("b"));
    OutputCatcher errors(OutputCatcher::Channel::Error);
    QCOMPARE(tool::writeBase64File(path, QStringLiteral("bmV3")), QString());
    QCOMPARE(errors.take(),
             "Could not open " + folder.path().toLocal8Bit()
                 + "/a for writing: zero character in the name\n");
    QCOMPARE(folder.names(), QStringList());
}

QTEST_GUILESS_MAIN(WriteFileTest)
#include "writefiletest.moc"
