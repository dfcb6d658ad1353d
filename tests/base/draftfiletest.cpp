#include "base/draftfile.h"

#include "tests/support/ownfolders.h"
#include "tests/support/testmain.h"

#include <QTest>

using base::DraftFile;

Q_DECLARE_METATYPE(base::DraftFile::Ability)

// What holds whatever the file system supports.
class DraftFileTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void nothingOfItIsLeftWithoutAName_data()
    {
        abilities();
    }

    void nothingOfItIsLeftWithoutAName();

    void aNewNameComesWithAllBytes_data()
    {
        abilities();
    }

    void aNewNameComesWithAllBytes();

    void aNameThatIsTakenIsLeftAlone_data()
    {
        abilities();
    }

    void aNameThatIsTakenIsLeftAlone();

    void aFileIsReplacedInOneStep_data()
    {
        abilities();
    }

    void aFileIsReplacedInOneStep();

    void aNameThatCannotBeGivenIsReportedInTheSystemsWords_data()
    {
        abilities();
    }

    void aNameThatCannotBeGivenIsReportedInTheSystemsWords();

    void aFolderThatIsNotThereIsReportedInTheSystemsWords_data()
    {
        abilities();
    }

    void aFolderThatIsNotThereIsReportedInTheSystemsWords();

    void anEmptiedFileIsWrittenAgain_data()
    {
        abilities();
    }

    void anEmptiedFileIsWrittenAgain();

private:
    static void abilities();
};

void DraftFileTest::abilities()
{
    QTest::addColumn<DraftFile::Ability>("ability");

    QTest::newRow("files without a name") << DraftFile::Ability::FileWithoutName;
    QTest::newRow("renaming to a new name") << DraftFile::Ability::RenameToNewName;
    QTest::newRow("neither") << DraftFile::Ability::Least;
}

void DraftFileTest::nothingOfItIsLeftWithoutAName()
{
    QFETCH(const DraftFile::Ability, ability);
    const OwnWorkFolder folder;
    {
        DraftFile draft(folder.path(), ability);
        QVERIFY(draft.isOpen());
        QVERIFY(draft.write("abc"));
    }
    QCOMPARE(folder.names(), QStringList());
}

void DraftFileTest::aNewNameComesWithAllBytes()
{
    QFETCH(const DraftFile::Ability, ability);
    const OwnWorkFolder folder;
    const QString path = folder.filePath(QString(255, QLatin1Char('n')));
    {
        DraftFile draft(folder.path(), ability);
        QVERIFY(draft.write("abc"));
        QVERIFY(!QFile::exists(path));
        QCOMPARE(draft.nameNew(path), DraftFile::Naming::Done);
    }
    QCOMPARE(contentOf(path), QByteArray("abc"));
    QCOMPARE(folder.names().size(), 1);
}

void DraftFileTest::aNameThatIsTakenIsLeftAlone()
{
    QFETCH(const DraftFile::Ability, ability);
    const OwnWorkFolder folder;
    const QString path = folder.filePath(QStringLiteral("a"));
    makeFile(path, "old");
    {
        DraftFile draft(folder.path(), ability);
        QVERIFY(draft.write("abc"));
        QCOMPARE(draft.nameNew(path), DraftFile::Naming::Taken);
    }
    QCOMPARE(contentOf(path), QByteArray("old"));
    QCOMPARE(folder.names().size(), 1);
}

void DraftFileTest::aFileIsReplacedInOneStep()
{
    QFETCH(const DraftFile::Ability, ability);
    const OwnWorkFolder folder;
    const QString path = folder.filePath(QStringLiteral("a"));
    makeFile(path, "the old one");
    QFile reader(path);
    QVERIFY(reader.open(QIODevice::ReadOnly));
    {
        DraftFile draft(folder.path(), ability);
        QVERIFY(draft.write("abc"));
        QCOMPARE(contentOf(path), QByteArray("the old one"));
        QCOMPARE(draft.nameOver(path), DraftFile::Naming::Done);
    }
    QCOMPARE(reader.readAll(), QByteArray("the old one"));
    QCOMPARE(contentOf(path), QByteArray("abc"));
    QCOMPARE(folder.names().size(), 1);
}

void DraftFileTest::aNameThatCannotBeGivenIsReportedInTheSystemsWords()
{
    QFETCH(const DraftFile::Ability, ability);
    const OwnWorkFolder folder;
    {
        DraftFile draft(folder.path(), ability);
        QVERIFY(draft.write("abc"));
        QCOMPARE(draft.nameNew(folder.filePath(QString(256, QLatin1Char('n')))),
                 DraftFile::Naming::Failed);
        QCOMPARE(draft.errorString(), QStringLiteral("File name too long"));
    }
    QCOMPARE(folder.names(), QStringList());
}

void DraftFileTest::aFolderThatIsNotThereIsReportedInTheSystemsWords()
{
    QFETCH(const DraftFile::Ability, ability);
    const DraftFile draft(QStringLiteral("/no/such/folder"), ability);
    QVERIFY(!draft.isOpen());
    QCOMPARE(draft.errorString(), QStringLiteral("No such file or directory"));
}

void DraftFileTest::anEmptiedFileIsWrittenAgain()
{
    QFETCH(const DraftFile::Ability, ability);
    const OwnWorkFolder folder;
    const QString path = folder.filePath(QStringLiteral("a"));
    DraftFile draft(folder.path(), ability);
    QVERIFY(draft.write("abc"));
    QVERIFY(draft.clear());
    QVERIFY(draft.write("x"));
    QCOMPARE(draft.nameNew(path), DraftFile::Naming::Done);
    QCOMPARE(contentOf(path), QByteArray("x"));
}

VOND_TEST(DraftFileTest);
#include "draftfiletest.moc"
