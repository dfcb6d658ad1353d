#include "jobs/upload.h"

#include "tests/support/messagecatcher.h"
#include "tests/support/outputcatcher.h"
#include "tests/support/ownfolders.h"
#include "tests/support/testmain.h"

#include <QDir>
#include <QSettings>
#include <QTest>

namespace {

const QByteArray ok("{\"ok\": true}");

} // namespace

class UploadTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void theBodyIsStoredUnderTheName();
    void anEmptyBodyMakesAnEmptyFile();
    void anEmptyBodyEmptiesAFileThatIsThere();
    void theSecondUploadOfANameReplacesTheFirst();
    void withoutAWorkFolderTheFileGoesToTheTempFolder();
    void aNameThatCannotBeWrittenIsAnsweredAndNothingIsReported_data();
    void aNameThatCannotBeWrittenIsAnsweredAndNothingIsReported();
    void aNameWithAFolderPartWritesNothingAndIsLogged_data();
    void aNameWithAFolderPartWritesNothingAndIsLogged();
    void folderPartsAreKnownByThePlatformsMarks_data();
    void folderPartsAreKnownByThePlatformsMarks();
};

void UploadTest::initTestCase()
{
    useOwnSettings();
}

void UploadTest::theBodyIsStoredUnderTheName()
{
    const OwnWorkFolder folder;
    QCOMPARE(jobs::upload(QStringLiteral("a b.tif"), QByteArray("\0\xff\r\n", 4)), ok);
    QCOMPARE(contentOf(folder.filePath(QStringLiteral("a b.tif"))), QByteArray("\0\xff\r\n", 4));
}

void UploadTest::anEmptyBodyMakesAnEmptyFile()
{
    const OwnWorkFolder folder;
    QCOMPARE(jobs::upload(QStringLiteral("a"), QByteArray()), ok);
    QCOMPARE(folder.names(), QStringList{QStringLiteral("a")});
    QCOMPARE(contentOf(folder.filePath(QStringLiteral("a"))), QByteArray());
}

void UploadTest::anEmptyBodyEmptiesAFileThatIsThere()
{
    const OwnWorkFolder folder;
    makeFile(folder.filePath(QStringLiteral("a")), "old");
    QCOMPARE(jobs::upload(QStringLiteral("a"), QByteArray()), ok);
    QCOMPARE(contentOf(folder.filePath(QStringLiteral("a"))), QByteArray());
}

void UploadTest::theSecondUploadOfANameReplacesTheFirst()
{
    const OwnWorkFolder folder;
    QCOMPARE(jobs::upload(QStringLiteral("a"), "the first, longer"), ok);
    QCOMPARE(jobs::upload(QStringLiteral("a"), "the second"), ok);
    QCOMPARE(contentOf(folder.filePath(QStringLiteral("a"))), QByteArray("the second"));
    QCOMPARE(folder.names(), QStringList{QStringLiteral("a")});
}

void UploadTest::withoutAWorkFolderTheFileGoesToTheTempFolder()
{
    QSettings().clear();
    const QString path = QDir::tempPath() + QStringLiteral("/uploadtest.tif");
    QFile::remove(path);
    QCOMPARE(jobs::upload(QStringLiteral("uploadtest.tif"), "x"), ok);
    QCOMPARE(contentOf(path), QByteArray("x"));
    QVERIFY(QFile::remove(path));
}

void UploadTest::aNameThatCannotBeWrittenIsAnsweredAndNothingIsReported_data()
{
    QTest::addColumn<QString>("name");

    QTest::newRow("empty") << "";
    QTest::newRow("the folder itself") << ".";
    QTest::newRow("the folder above") << "..";
    QTest::newRow("a folder inside") << "inside";
    QTest::newRow("very long") << QString(4000, QLatin1Char('n'));
    QTest::newRow("a zero character") << QStringLiteral("a") + QChar(0) + QStringLiteral("b");
}

void UploadTest::aNameThatCannotBeWrittenIsAnsweredAndNothingIsReported()
{
    QFETCH(const QString, name);
    const OwnWorkFolder folder;
    QVERIFY(QDir(folder.path()).mkdir(QStringLiteral("inside")));
    const MessageCatcher catcher;
    OutputCatcher errors(OutputCatcher::Channel::Error);
    QCOMPARE(jobs::upload(name, "x"), ok);
    QCOMPARE(errors.take(), QByteArray());
    QCOMPARE(catcher.messages(), QStringList());
    QCOMPARE(folder.names(), QStringList{QStringLiteral("inside")});
}

void UploadTest::aNameWithAFolderPartWritesNothingAndIsLogged_data()
{
    QTest::addColumn<QString>("name");

    QTest::newRow("into a folder") << "inside/a";
    QTest::newRow("out of the folder") << "../uploadtest.escaped";
    QTest::newRow("from the root") << "/tmp/uploadtest.escaped";
    QTest::newRow("a slash in front of a bare name") << "/a";
}

void UploadTest::aNameWithAFolderPartWritesNothingAndIsLogged()
{
    QFETCH(const QString, name);
    const OwnWorkFolder folder;
    QVERIFY(QDir(folder.path()).mkdir(QStringLiteral("inside")));
    const MessageCatcher catcher;
    QCOMPARE(jobs::upload(name, "x"), ok);
    QCOMPARE(
        catcher.messages(),
        QStringList{QStringLiteral("upload refused, name with a folder part: \"%1\"").arg(name)});
    QVERIFY(!QFile::exists(folder.filePath(name)));
    QVERIFY(!QFile::exists(name));
    QCOMPARE(folder.names(), QStringList{QStringLiteral("inside")});
}

void UploadTest::folderPartsAreKnownByThePlatformsMarks_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("marks");
    QTest::addColumn<bool>("leadsOut");

    QTest::newRow("bare name") << "a b.c"
                               << "/\\:" << false;
    QTest::newRow("empty name") << ""
                                << "/\\:" << false;
    QTest::newRow("slash") << "a/b"
                           << "/" << true;
    QTest::newRow("slash on Windows") << "a/b"
                                      << "/\\:" << true;
    QTest::newRow("backslash is part of a name elsewhere") << "a\\b"
                                                           << "/" << false;
    QTest::newRow("backslash on Windows") << "..\\b"
                                          << "/\\:" << true;
    QTest::newRow("colon is part of a name elsewhere") << "c:b"
                                                       << "/" << false;
    QTest::newRow("drive on Windows") << "c:b"
                                      << "/\\:" << true;
}

void UploadTest::folderPartsAreKnownByThePlatformsMarks()
{
    QFETCH(const QString, name);
    QFETCH(const QString, marks);
    const QByteArray latin = marks.toLatin1();
    QTEST(jobs::hasFolderPart(name, QLatin1String(latin)), "leadsOut");
}

VOND_TEST(UploadTest);
#include "uploadtest.moc"
