#include "settings/folders.h"

#include "settings/keys.h"
#include "tests/support/messagecatcher.h"
#include "tests/support/ownfolders.h"
#include "tests/support/testmain.h"

#include <QDir>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

class FoldersTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void keysAreNamedAsInTheStore();
    void theWorkFolderIsTheTempFolderWhenNoneIsSet();
    void theWorkFolderIsTheTempFolderWhenTheOneSetDoesNotExist();
    void theWorkFolderIsTheOneSetWhenItExists();
    void aChangedWorkFolderIsSeenByTheNextCall();
    void aFallbackIsSilent();
    void theLogFolderIsTheTempFolderWhenNoneIsSet();
    void theLogFolderIsTheTempFolderWhenTheOneSetDoesNotExist();
    void theLogFolderIsTheOneSetWhenItExists();
    void aNameIsJoinedWithOneSlash_data();
    void aNameIsJoinedWithOneSlash();
};

void FoldersTest::initTestCase()
{
    useOwnSettings();
}

void FoldersTest::init()
{
    QSettings().clear();
}

void FoldersTest::keysAreNamedAsInTheStore()
{
    QCOMPARE(settings::tempFolderKey, QLatin1String("TempFolder"));
    QCOMPARE(settings::logFolderKey, QLatin1String("LogFolder"));
    QCOMPARE(settings::serverLoggingKey, QLatin1String("ServerLogging"));
    QCOMPARE(settings::hostIpKey, QLatin1String("hostIP"));
    QCOMPARE(settings::portNumberKey, QLatin1String("portNumber"));
    QCOMPARE(settings::vondPathKey, QLatin1String("vondPath"));
    QCOMPARE(settings::probeKey, QLatin1String("test1"));
}

void FoldersTest::theWorkFolderIsTheTempFolderWhenNoneIsSet()
{
    QCOMPARE(settings::workFolder(), QDir::tempPath());
}

void FoldersTest::theWorkFolderIsTheTempFolderWhenTheOneSetDoesNotExist()
{
    setWorkFolder(QStringLiteral("/no/such/folder"));
    QCOMPARE(settings::workFolder(), QDir::tempPath());
}

void FoldersTest::theWorkFolderIsTheOneSetWhenItExists()
{
    const QTemporaryDir folder;
    setWorkFolder(folder.path());
    QCOMPARE(settings::workFolder(), folder.path());
}

void FoldersTest::aChangedWorkFolderIsSeenByTheNextCall()
{
    const QTemporaryDir first;
    const QTemporaryDir second;
    setWorkFolder(first.path());
    QCOMPARE(settings::workFolder(), first.path());
    setWorkFolder(second.path());
    QCOMPARE(settings::workFolder(), second.path());
}

void FoldersTest::aFallbackIsSilent()
{
    setWorkFolder(QStringLiteral("/no/such/folder"));
    const MessageCatcher catcher;
    QCOMPARE(settings::workFolder(), QDir::tempPath());
    QCOMPARE(settings::logFolder(), QDir::tempPath());
    QCOMPARE(catcher.messages(), QStringList());
}

void FoldersTest::theLogFolderIsTheTempFolderWhenNoneIsSet()
{
    QCOMPARE(settings::logFolder(), QDir::tempPath());
}

void FoldersTest::theLogFolderIsTheTempFolderWhenTheOneSetDoesNotExist()
{
    QSettings().setValue(settings::logFolderKey, QStringLiteral("/no/such/folder"));
    QCOMPARE(settings::logFolder(), QDir::tempPath());
}

void FoldersTest::theLogFolderIsTheOneSetWhenItExists()
{
    const QTemporaryDir folder;
    QSettings().setValue(settings::logFolderKey, folder.path());
    QCOMPARE(settings::logFolder(), folder.path());
}

void FoldersTest::aNameIsJoinedWithOneSlash_data()
{
    QTest::addColumn<QString>("folder");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("path");

    QTest::newRow("plain") << "/tmp"
                           << "a.tif"
                           << "/tmp/a.tif";
    QTest::newRow("a trailing slash of the folder stays") << "/tmp/"
                                                          << "a.tif"
                                                          << "/tmp//a.tif";
    QTest::newRow("no name: the folder with a slash") << "/tmp"
                                                      << ""
                                                      << "/tmp/";
    QTest::newRow("a marker in the folder is filled too") << "/t%2mp"
                                                          << "a"
                                                          << "/tamp/a";
    QTest::newRow("a marker in the name stays") << "/tmp"
                                                << "a%2"
                                                << "/tmp/a%2";
    QTest::newRow("a folder part of the name stays") << "/tmp"
                                                     << "../a"
                                                     << "/tmp/../a";
}

void FoldersTest::aNameIsJoinedWithOneSlash()
{
    QFETCH(const QString, folder);
    QFETCH(const QString, name);
    QTEST(settings::filePathIn(folder, name), "path");
}

VOND_TEST(FoldersTest);
#include "folderstest.moc"
