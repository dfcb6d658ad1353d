#include "settings/keys.h"
#include "tests/support/ownfolders.h"
#include "tests/support/serviceundertest.h"
#include "tests/support/testmain.h"

#include <QObject>
#include <QScopedPointer>
#include <QTest>
#include <QTextCodec>

// The settings commands as an administrator uses them: the built executable, its arguments, its
// channels, its exit status.
class SettingsCommandsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void withNothingStoredGetTempFolderPrintsAnEmptyOne();
    void anExistingTempFolderIsPrinted();
    void aMissingTempFolderIsPrintedAndComplainedOf();
    void aTempFolderIsPrintedAsUtf8();
    void forAnExistingTempFolderTheDebugLineComesFirst();
    void forAMissingTempFolderTheOutputComesFirst();

    void aFolderIsStoredAsItStands_data();
    void aFolderIsStoredAsItStands();
    void aFolderThatDoesNotExistIsStoredAndThenReported();

    void setLoggingStoresATruthValue_data();
    void setLoggingStoresATruthValue();
    void setLoggingWithAnotherValueComplainsAndStoresNothing_data();
    void setLoggingWithAnotherValueComplainsAndStoresNothing();

    void otherWordsAreUnknown_data();
    void otherWordsAreUnknown();

    void everyRunLeavesTheProbe_data();
    void everyRunLeavesTheProbe();

    void withLoggingOnTheDebugStreamGoesIntoTheLogFile();

private:
    [[nodiscard]] QByteArray prefsLine() const;

    QScopedPointer<ServiceUnderTest> m_service;
};

void SettingsCommandsTest::initTestCase()
{
    // Arguments are passed to a process in the local encoding, whatever the caller's is.
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
}

void SettingsCommandsTest::init()
{
    m_service.reset(new ServiceUnderTest);
}

// The first line of every run on the debug stream.
QByteArray SettingsCommandsTest::prefsLine() const
{
    QString place;
    QDebug(&place) << m_service->settingsFile(); // quoted as the debug stream does
    return "server prefs " + place.trimmed().toUtf8() + '\n';
}

void SettingsCommandsTest::withNothingStoredGetTempFolderPrintsAnEmptyOne()
{
    const auto ended = m_service->run({QStringLiteral("getTempFolder")});

    QCOMPARE(ended.output, QByteArray("TempFolder:\n"));
    QCOMPARE(ended.error,
             prefsLine()
                 + "Error? temp folder does not exist: \"\"\n"
                   "TempFolder does not exist:\n");
    QCOMPARE(ended.status, 0);
}

void SettingsCommandsTest::anExistingTempFolderIsPrinted()
{
    const QString folder = m_service->temporaryFolder();
    m_service->setSetting(settings::tempFolderKey, folder);

    const auto ended = m_service->run({QStringLiteral("getTempFolder")});

    QCOMPARE(ended.output, "TempFolder:" + folder.toUtf8() + "\n");
    QCOMPARE(ended.error, prefsLine() + "temp folder is: \"" + folder.toUtf8() + "\"\n");
    QCOMPARE(ended.status, 0);
}

void SettingsCommandsTest::aMissingTempFolderIsPrintedAndComplainedOf()
{
    m_service->setSetting(settings::tempFolderKey, QStringLiteral("/no/such folder"));

    const auto ended = m_service->run({QStringLiteral("getTempFolder")});

    QCOMPARE(ended.output, QByteArray("TempFolder:/no/such folder\n"));
    QCOMPARE(ended.error,
             prefsLine()
                 + "Error? temp folder does not exist: \"/no/such folder\"\n"
                   "TempFolder does not exist:/no/such folder\n");
    QCOMPARE(ended.status, 0);
}

void SettingsCommandsTest::aTempFolderIsPrintedAsUtf8()
{
    m_service->setSetting(settings::tempFolderKey, QStringLiteral(u"/no/f\u00fcr"));

    const auto ended = m_service->run({QStringLiteral("getTempFolder")});

    QCOMPARE(ended.output, QByteArray("TempFolder:/no/f\xc3\xbcr\n"));
    QVERIFY(ended.error.endsWith("TempFolder does not exist:/no/f\xc3\xbcr\n"));
}

void SettingsCommandsTest::forAnExistingTempFolderTheDebugLineComesFirst()
{
    const QByteArray folder = m_service->temporaryFolder().toUtf8();
    m_service->setSetting(settings::tempFolderKey, m_service->temporaryFolder());

    const auto ended = m_service->run({QStringLiteral("getTempFolder")}, QProcess::MergedChannels);

    QCOMPARE(ended.output,
             prefsLine() + "temp folder is: \"" + folder + "\"\nTempFolder:" + folder + "\n");
}

void SettingsCommandsTest::forAMissingTempFolderTheOutputComesFirst()
{
    m_service->setSetting(settings::tempFolderKey, QStringLiteral("/no"));

    const auto ended = m_service->run({QStringLiteral("getTempFolder")}, QProcess::MergedChannels);

    QCOMPARE(ended.output,
             prefsLine()
                 + "TempFolder:/no\n"
                   "Error? temp folder does not exist: \"/no\"\n"
                   "TempFolder does not exist:/no\n");
}

void SettingsCommandsTest::aFolderIsStoredAsItStands_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QByteArray>("label");
    QTest::addColumn<QByteArray>("key");
    QTest::addColumn<QString>("folder");

    struct FolderCommand
    {
        const char *command;
        const char *label;
        const char *key;
    };

    for (const FolderCommand &one :
         {FolderCommand{"setTempFolder", "setting temp folder in prefs:", "TempFolder"},
          FolderCommand{"setLogFolder", "setting log file folder in prefs:", "LogFolder"}}) {
        const auto row = [&one](const char *name, const QString &folder) {
            QTest::addRow("%s %s", one.command, name)
                << QString::fromLatin1(one.command) << QByteArray(one.label) << QByteArray(one.key)
                << folder;
        };
        row("an existing folder", QStringLiteral("/tmp"));
        row("a missing folder", QStringLiteral("/no/such/folder"));
        row("blanks around are kept", QStringLiteral(" /a b "));
        row("a slash at the end is kept", QStringLiteral("/tmp/"));
        row("nothing", QString());
        row("commas, quotes, backslashes and place markers", QStringLiteral("a,b;\"c\"\\%1@()"));
        row("other scripts", QStringLiteral(u"/f\u00fcr/\u2206"));
    }
}

void SettingsCommandsTest::aFolderIsStoredAsItStands()
{
    QFETCH(const QString, command);
    QFETCH(const QByteArray, label);
    QFETCH(const QByteArray, key);
    QFETCH(const QString, folder);

    const auto ended = m_service->run({command, folder});

    QCOMPARE(ended.output, QByteArray());
    QCOMPARE(ended.error, prefsLine() + label + " " + folder.toUtf8() + "\n");
    QCOMPARE(ended.status, 0);
    const QVariant stored = m_service->setting(QLatin1String(key));
    QVERIFY(stored.isValid());
    QCOMPARE(stored.toString(), folder);
}

void SettingsCommandsTest::aFolderThatDoesNotExistIsStoredAndThenReported()
{
    QCOMPARE(m_service->run({QStringLiteral("setTempFolder"), QStringLiteral("/no/such")}).status,
             0);

    const auto ended = m_service->run({QStringLiteral("getTempFolder")});

    QCOMPARE(ended.output, QByteArray("TempFolder:/no/such\n"));
    QVERIFY(ended.error.endsWith("TempFolder does not exist:/no/such\n"));
}

void SettingsCommandsTest::setLoggingStoresATruthValue_data()
{
    QTest::addColumn<QString>("value");
    QTest::addColumn<bool>("stored");

    QTest::newRow("0 is off") << "0" << false;
    QTest::newRow("1 is on") << "1" << true;
}

void SettingsCommandsTest::setLoggingStoresATruthValue()
{
    QFETCH(const QString, value);
    QFETCH(const bool, stored);

    const auto ended = m_service->run({QStringLiteral("setLogging"), value});

    QCOMPARE(ended.output, QByteArray());
    QCOMPARE(ended.error,
             prefsLine() + "setting server logging in prefs: " + value.toUtf8() + "\n");
    QCOMPARE(ended.status, 0);
    const QVariant setting = m_service->setting(settings::serverLoggingKey);
    QCOMPARE(setting.toString(), stored ? QStringLiteral("true") : QStringLiteral("false"));
    QCOMPARE(setting.toBool(), stored);
}

void SettingsCommandsTest::setLoggingWithAnotherValueComplainsAndStoresNothing_data()
{
    QTest::addColumn<QString>("value");
    QTest::addColumn<QVariant>("before");

    QTest::newRow("yes") << "yes" << QVariant();
    QTest::newRow("yes, while it is off") << "yes" << QVariant(QStringLiteral("false"));
    QTest::newRow("nothing") << "" << QVariant();
    QTest::newRow("a blank before") << " 1" << QVariant();
    QTest::newRow("two digits") << "01" << QVariant();
    QTest::newRow("true") << "true" << QVariant();
    QTest::newRow("two") << "2" << QVariant();
}

void SettingsCommandsTest::setLoggingWithAnotherValueComplainsAndStoresNothing()
{
    QFETCH(const QString, value);
    QFETCH(const QVariant, before);
    if (before.isValid()) {
        m_service->setSetting(settings::serverLoggingKey, before);
    }

    const auto ended = m_service->run({QStringLiteral("setLogging"), value});

    QCOMPARE(ended.output, QByteArray());
    QCOMPARE(ended.error,
             prefsLine() + "setting server logging in prefs: " + value.toUtf8() + "\n"
                 + "setLogging:wrong argument:" + value.toUtf8() + ", use '0' or '1'.\n");
    QCOMPARE(ended.status, 0);
    QCOMPARE(m_service->setting(settings::serverLoggingKey), before);
}

void SettingsCommandsTest::otherWordsAreUnknown_data()
{
    QTest::addColumn<QStringList>("words");

    const auto row = [](const char *name, const char *words) {
        QTest::newRow(name) << QString::fromUtf8(words).split(QLatin1Char('|'));
    };
    row("a longer word", "getTempFolders");
    row("another case", "gettempfolder");
    row("an empty word", "");
    row("a setting command without its value", "setTempFolder");
    row("a question for help", "--help");
    row("a word in another script", "f\xc3\xbcr");
    row("getTempFolder with a value", "getTempFolder|/tmp");
    row("two words of no meaning", "127.0.0.1|8080");
}

void SettingsCommandsTest::otherWordsAreUnknown()
{
    QFETCH(const QStringList, words);

    const auto ended = m_service->run(words);

    QCOMPARE(ended.output, QByteArray());
    QCOMPARE(ended.error, prefsLine() + "Unknown command:" + words.first().toUtf8() + "\n");
    QCOMPARE(ended.status, 255);
}

void SettingsCommandsTest::everyRunLeavesTheProbe_data()
{
    QTest::addColumn<QStringList>("words");

    const auto row = [](const char *name, const QStringList &words) {
        QTest::newRow(name) << words;
    };
    const QString value = QStringLiteral("1");
    row("getTempFolder", {QStringLiteral("getTempFolder")});
    row("setTempFolder", {QStringLiteral("setTempFolder"), value});
    row("setLogging", {QStringLiteral("setLogging"), value});
    row("setLogFolder", {QStringLiteral("setLogFolder"), value});
    row("an unknown command", {value});
    row("serving that fails", {value, value, QStringLiteral("/no/such/tool")});
    row("serving with nothing stored", {});
}

void SettingsCommandsTest::everyRunLeavesTheProbe()
{
    QFETCH(const QStringList, words);
    QVERIFY(!m_service->setting(settings::probeKey).isValid());

    (void)m_service->run(words);

    QCOMPARE(m_service->setting(settings::probeKey), QVariant(QStringLiteral("servertester")));
}

void SettingsCommandsTest::withLoggingOnTheDebugStreamGoesIntoTheLogFile()
{
    m_service->setSetting(settings::serverLoggingKey, true);
    const QString path = m_service->temporaryFolder() + QStringLiteral("/vondServer.log");

    const auto ended = m_service->run({QStringLiteral("getTempFolder")});

    QCOMPARE(ended.output, "logging to:" + path.toUtf8() + "\nTempFolder:\n");
    QCOMPARE(ended.error, QByteArray("TempFolder does not exist:\n"));
    const QList<QByteArray> lines = contentOf(path).split('\n');
    QCOMPARE(lines.size(), 4);
    QVERIFY(lines.at(0).endsWith(": Server starting ..."));
    QVERIFY(lines.at(1).endsWith(": " + prefsLine().trimmed()));
    QVERIFY(lines.at(2).endsWith(": Error? temp folder does not exist: \"\""));
    QCOMPARE(lines.at(3), QByteArray());
}

VOND_TEST(SettingsCommandsTest);
#include "settingscommandstest.moc"
