#include "app/descriptorlimit.h"
#include "settings/keys.h"
#include "tests/support/ownfolders.h"
#include "tests/support/rawclient.h"
#include "tests/support/serviceundertest.h"
#include "tests/support/testmain.h"

#include <QDir>
#include <QFile>
#include <QHostAddress>
#include <QObject>
#include <QRegularExpression>
#include <QScopedPointer>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>
#include <QTextCodec>

#ifndef Q_OS_WIN
#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#endif

namespace {

// A port on which nothing is listening at the moment.
int freePort()
{
    QTcpServer server;
    return server.listen(QHostAddress::LocalHost) ? server.serverPort() : 0;
}

bool answers(const QString &address, quint16 port)
{
    QTcpSocket socket;
    socket.connectToHost(QHostAddress(address), port);
    return socket.waitForConnected(5000);
}

// The service's response to a plain request; a text that says so when there is none.
QByteArray get(quint16 port, const QByteArray &path)
{
    RawClient client(port);
    client.send("GET " + path + " HTTP/1.1\r\nHost: localhost\r\n\r\n");
    const auto response = client.takeResponse();
    return response ? response->body : "no answer to " + path;
}

QByteArray announced(const QByteArray &addressAndPort)
{
    return "\"Running on http://" + addressAndPort + "/ (Press CTRL+C to quit)\"\n";
}

} // namespace

// Starting the service as an operator does: the built executable, its arguments, its channels, its
// exit status.
class StartupTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void threeWordsServe();
    void noWordsServeAsStored();
    void fourWordsServeAsStored();
    void theAnnouncedAddressIsTheCanonicalForm();
    void localhostIsTheIpv4LoopbackAlone();
    void everyInterfaceIsOpenedOnlyWhenAskedFor();
    void aPortOutOfRangeWrapsAroundAndIsAnnouncedAsTyped_data();
    void aPortOutOfRangeWrapsAroundAndIsAnnouncedAsTyped();

    void withoutWordsAndSettingsTheHostIsMissed();
    void withoutAPortSettingThePortIsMissed();
    void fourWordsWithoutSettingsMissTheHost();
    void anEmptyHostWordIsMissed();
    void anEmptyPortWordIsMissed();
    void aPortThatIsNoIntegerIsRejected_data();
    void aPortThatIsNoIntegerIsRejected();
    void aMissingToolOnTheCommandLineIsReportedWithoutALineEnd();
    void theToolIsLookedForBeforeTheHost();
    void aMissingToolInTheSettingsIsOnlyWarnedOf();
    void aHostTextThatIsNoAddressIsAFailedListen_data();
    void aHostTextThatIsNoAddressIsAFailedListen();
    void aPortInUseIsAFailedListen();

    void withLoggingOffNoLogFileIsMade();
    void withLoggingOnTheDebugStreamGoesIntoTheLogFile();
    void withoutALogFolderTheLogIsInTheSystemsTemporaryFolder();
    void aLogFileThatCannotBeOpenedIsReportedAndTheServiceStarts();

    void withLoggingOffTheRouteAnswersWhateverLogFileThereIs();
    void changingTheLogFolderMovesTheRouteAndNotTheWriting();

    void aStoreThatCannotBeWrittenIsServedFromAndSeenToChange();

    void theDescriptorLimitIsRaised();
    void theVersionIsTheBuilds();

private:
    [[nodiscard]] QByteArray prefsLine() const;
    void store(const QString &host, const QString &port, const QString &tool);

    QScopedPointer<ServiceUnderTest> m_service;
    QString m_tool; // it exists, and is never run here
};

void StartupTest::initTestCase()
{
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
}

void StartupTest::init()
{
    m_service.reset(new ServiceUnderTest);
    m_tool = m_service->temporaryFolder() + QStringLiteral(u"/the v\u00f6nd");
    makeFile(m_tool);
}

QByteArray StartupTest::prefsLine() const
{
    QString place;
    QDebug(&place) << m_service->settingsFile(); // quoted as the debug stream does
    return "server prefs " + place.trimmed().toUtf8() + '\n';
}

void StartupTest::store(const QString &host, const QString &port, const QString &tool)
{
    m_service->setSetting(settings::hostIpKey, host);
    m_service->setSetting(settings::portNumberKey, port);
    m_service->setSetting(settings::vondPathKey, tool);
}

void StartupTest::threeWordsServe()
{
    QVERIFY(m_service->start({QStringLiteral("127.0.0.1"), QStringLiteral("0"), m_tool}));

    QTRY_COMPARE(m_service->error(),
                 prefsLine() + "host: \"127.0.0.1\"\nport: \"0\"\nvondPath: \"" + m_tool.toUtf8()
                     + "\"\n" + announced("127.0.0.1:0"));
    QCOMPARE(m_service->output(), QByteArray());
    QVERIFY(answers(QStringLiteral("127.0.0.1"), m_service->port()));
    QVERIFY(m_service->isRunning());
}

void StartupTest::noWordsServeAsStored()
{
    store(QStringLiteral("127.0.0.1"), QStringLiteral("0"), m_tool);

    QVERIFY(m_service->start(QStringList()));

    QTRY_COMPARE(m_service->error(), prefsLine() + announced("127.0.0.1:0"));
    QCOMPARE(m_service->output(), QByteArray());
    QVERIFY(answers(QStringLiteral("127.0.0.1"), m_service->port()));
}

void StartupTest::fourWordsServeAsStored()
{
    store(QStringLiteral("127.0.0.1"), QStringLiteral("0"), m_tool);
    const QString other = QStringLiteral("other");

    QVERIFY(m_service->start({other, other, other, other}));

    QTRY_COMPARE(m_service->error(), prefsLine() + announced("127.0.0.1:0"));
}

void StartupTest::theAnnouncedAddressIsTheCanonicalForm()
{
    store(QStringLiteral("127.1"), QStringLiteral(" 0 "), m_tool);

    QVERIFY(m_service->start(QStringList()));

    QTRY_COMPARE(m_service->error(), prefsLine() + announced("127.0.0.1:0"));
}

void StartupTest::localhostIsTheIpv4LoopbackAlone()
{
    QVERIFY(m_service->start({QStringLiteral("localhost"), QStringLiteral("0"), m_tool}));

    QTRY_COMPARE(m_service->error(),
                 prefsLine() + "host: \"localhost\"\nport: \"0\"\nvondPath: \"" + m_tool.toUtf8()
                     + "\"\n" + announced("127.0.0.1:0"));
    QVERIFY(answers(QStringLiteral("127.0.0.1"), m_service->port()));
    QVERIFY(!answers(QStringLiteral("127.0.0.2"), m_service->port()));
}

void StartupTest::everyInterfaceIsOpenedOnlyWhenAskedFor()
{
    QVERIFY(m_service->start({QStringLiteral("0.0.0.0"), QStringLiteral("0"), m_tool}));

    QTRY_VERIFY(m_service->error().endsWith(announced("0.0.0.0:0")));
    QVERIFY(answers(QStringLiteral("127.0.0.2"), m_service->port()));
}

void StartupTest::aPortOutOfRangeWrapsAroundAndIsAnnouncedAsTyped_data()
{
    QTest::addColumn<int>("beyond");

    QTest::newRow("too large") << 65536;
    QTest::newRow("negative") << -65536;
}

void StartupTest::aPortOutOfRangeWrapsAroundAndIsAnnouncedAsTyped()
{
    QFETCH(const int, beyond);
    const int port = freePort();
    const QString typed = QString::number(port + beyond);

    QVERIFY(m_service->start({QStringLiteral("127.0.0.1"), typed, m_tool}));

    QCOMPARE(int(m_service->port()), port);
    QTRY_VERIFY(m_service->error().endsWith(announced("127.0.0.1:" + typed.toUtf8())));
}

void StartupTest::withoutWordsAndSettingsTheHostIsMissed()
{
    const auto ended = m_service->run({});

    QCOMPARE(ended.output, QByteArray());
    QCOMPARE(ended.error, prefsLine() + "error: no hostIP set\n");
    QCOMPARE(ended.status, 255);
}

void StartupTest::withoutAPortSettingThePortIsMissed()
{
    m_service->setSetting(settings::hostIpKey, QStringLiteral("127.0.0.1"));

    const auto ended = m_service->run({});

    QCOMPARE(ended.output, QByteArray());
    QCOMPARE(ended.error, prefsLine() + "error: no portNumber set\n");
    QCOMPARE(ended.status, 255);
}

void StartupTest::fourWordsWithoutSettingsMissTheHost()
{
    const auto ended = m_service->run(
        {QStringLiteral("127.0.0.1"), QStringLiteral("0"), m_tool, QStringLiteral("x")});

    QCOMPARE(ended.error, prefsLine() + "error: no hostIP set\n");
    QCOMPARE(ended.status, 255);
}

void StartupTest::anEmptyHostWordIsMissed()
{
    const auto ended = m_service->run({QString(), QStringLiteral("0"), m_tool});

    QCOMPARE(ended.error,
             prefsLine() + "host: \"\"\nport: \"0\"\nvondPath: \"" + m_tool.toUtf8()
                 + "\"\nerror: no hostIP set\n");
    QCOMPARE(ended.status, 255);
}

void StartupTest::anEmptyPortWordIsMissed()
{
    const auto ended = m_service->run({QStringLiteral("127.0.0.1"), QString(), m_tool});

    QCOMPARE(ended.error,
             prefsLine() + "host: \"127.0.0.1\"\nport: \"\"\nvondPath: \"" + m_tool.toUtf8()
                 + "\"\nerror: no portNumber set\n");
    QCOMPARE(ended.status, 255);
}

void StartupTest::aPortThatIsNoIntegerIsRejected_data()
{
    QTest::addColumn<QString>("port");

    QTest::newRow("letters behind") << "8080x";
    QTest::newRow("a fraction") << "80.5";
    QTest::newRow("hexadecimal") << "0x50";
    QTest::newRow("a blank alone") << " ";
    QTest::newRow("larger than any integer") << "2147483648";
}

void StartupTest::aPortThatIsNoIntegerIsRejected()
{
    QFETCH(const QString, port);

    const auto ended = m_service->run({QStringLiteral("127.0.0.1"), port, m_tool});

    QCOMPARE(ended.output, QByteArray());
    QCOMPARE(ended.error,
             prefsLine() + "host: \"127.0.0.1\"\nport: \"" + port.toUtf8() + "\"\nvondPath: \""
                 + m_tool.toUtf8() + "\"\n"
                 + "error: portNumber is not an integer value, eg. 8080\n"
                   "error: portNumber is not an integer value, eg. 8080\n");
    QCOMPARE(ended.status, 255);
}

void StartupTest::aMissingToolOnTheCommandLineIsReportedWithoutALineEnd()
{
    const int port = freePort();

    const auto ended = m_service->run(
        {QStringLiteral("127.0.0.1"), QString::number(port), QStringLiteral(u"/no/v\u00f6nd")});

    QCOMPARE(ended.output, QByteArray());
    QCOMPARE(ended.error,
             prefsLine() + "host: \"127.0.0.1\"\nport: \"" + QByteArray::number(port) + "\"\n"
                 + "wrong vondPath, file does not exist: \"/no/v\xc3\xb6nd\"\n"
                   "wrong vondPath, file does not exist:/no/v\xc3\xb6nd");
    QCOMPARE(ended.status, 255);
    QVERIFY(!answers(QStringLiteral("127.0.0.1"), quint16(port)));
}

void StartupTest::theToolIsLookedForBeforeTheHost()
{
    const auto ended = m_service->run({QString(), QString(), QStringLiteral("/no/vond")});

    QCOMPARE(ended.error,
             prefsLine()
                 + "host: \"\"\nport: \"\"\n"
                   "wrong vondPath, file does not exist: \"/no/vond\"\n"
                   "wrong vondPath, file does not exist:/no/vond");
    QCOMPARE(ended.status, 255);
}

void StartupTest::aMissingToolInTheSettingsIsOnlyWarnedOf()
{
    store(QStringLiteral("127.0.0.1"), QStringLiteral("0"), QStringLiteral(u"/no/v\u00f6nd"));

    QVERIFY(m_service->start(QStringList()));

    QTRY_COMPARE(m_service->error(),
                 prefsLine()
                     + "warning: no vond-exe not found/no/v\xc3\xb6nd\n"
                       "warning: no vond-exe not found \"/no/v\xc3\xb6nd\"\n"
                     + announced("127.0.0.1:0"));
    QVERIFY(answers(QStringLiteral("127.0.0.1"), m_service->port()));
}

void StartupTest::aHostTextThatIsNoAddressIsAFailedListen_data()
{
    QTest::addColumn<QString>("host");

    QTest::newRow("a name") << "server.example";
    QTest::newRow("localhost in another case") << "LOCALHOST";
    QTest::newRow("a star") << "*";
    QTest::newRow("an address with a port") << "127.0.0.1:80";
    QTest::newRow("an address of another machine") << "192.0.2.1";
}

void StartupTest::aHostTextThatIsNoAddressIsAFailedListen()
{
    QFETCH(const QString, host);
    const int port = freePort();
    store(host, QString::number(port), m_tool);

    const auto ended = m_service->run({});

    QCOMPARE(ended.output, QByteArray());
    QCOMPARE(ended.error,
             prefsLine()
                 + "Error: unable to start the http-server:The address is not available\n"
                   "Error: unable to start the http-server: \"The address is not available\"\n");
    QCOMPARE(ended.status, 255);
    QVERIFY(!answers(QStringLiteral("127.0.0.1"), quint16(port)));
}

void StartupTest::aPortInUseIsAFailedListen()
{
    QTcpServer other;
    QVERIFY(other.listen(QHostAddress::LocalHost));
    store(QStringLiteral("127.0.0.1"), QString::number(other.serverPort()), m_tool);

    const auto ended = m_service->run({});

    QCOMPARE(ended.error,
             prefsLine()
                 + "Error: unable to start the http-server:The bound address is already in use\n"
                   "Error: unable to start the http-server: "
                   "\"The bound address is already in use\"\n");
    QCOMPARE(ended.status, 255);
}

void StartupTest::withLoggingOffNoLogFileIsMade()
{
    m_service->setSetting(settings::serverLoggingKey, false);

    QVERIFY(m_service->start(m_tool));

    QTRY_VERIFY(m_service->error().endsWith(announced("127.0.0.1:0")));
    QVERIFY(!QFile::exists(m_service->temporaryFolder() + QStringLiteral("/vondServer.log")));
}

void StartupTest::withLoggingOnTheDebugStreamGoesIntoTheLogFile()
{
    const QString folder = m_service->temporaryFolder() + QStringLiteral("/log");
    QVERIFY(QDir().mkdir(folder));
    m_service->setSetting(settings::serverLoggingKey, true);
    m_service->setSetting(settings::logFolderKey, folder);
    const QString path = folder + QStringLiteral("/vondServer.log");

    QVERIFY(m_service->start(m_tool));

    // All lines come from the main thread.
    QTRY_VERIFY(contentOf(path).endsWith(announced("127.0.0.1:0")));
    const QRegularExpression stamp(
        QStringLiteral(R"(^\d\d-\d\d-\d{4} \d\d:\d\d:\d\d:\d{3} (\[T\]:[1-9]\d*): )"));
    const QByteArray content = contentOf(path);
    const QString tag = stamp.match(QString::fromUtf8(content)).captured(1);
    QString texts;
    for (const QString &line : QString::fromUtf8(content).split(QLatin1Char('\n'))) {
        const QRegularExpressionMatch match = stamp.match(line);
        QCOMPARE(match.captured(1), line.isEmpty() ? QString() : tag);
        texts += line.mid(match.capturedLength()) + QLatin1Char('\n');
    }
    QCOMPARE(texts.chopped(1).toUtf8(),
             "Server starting ...\n" + prefsLine()
                 + "host: \"127.0.0.1\"\nport: \"0\"\nvondPath: \"" + m_tool.toUtf8() + "\"\n"
                 + announced("127.0.0.1:0"));
    QCOMPARE(m_service->output(), "logging to:" + path.toUtf8() + "\n");
    QCOMPARE(m_service->error(), QByteArray());
}

void StartupTest::withoutALogFolderTheLogIsInTheSystemsTemporaryFolder()
{
    m_service->setSetting(settings::serverLoggingKey, true);
    const QString path = m_service->temporaryFolder() + QStringLiteral("/vondServer.log");

    QVERIFY(m_service->start(m_tool));

    QTRY_VERIFY(contentOf(path).endsWith(announced("127.0.0.1:0")));
    QCOMPARE(m_service->output(), "logging to:" + path.toUtf8() + "\n");
}

void StartupTest::aLogFileThatCannotBeOpenedIsReportedAndTheServiceStarts()
{
    m_service->setSetting(settings::serverLoggingKey, true);
    QVERIFY(QDir(m_service->temporaryFolder()).mkdir(QStringLiteral("vondServer.log")));

    QVERIFY(m_service->start(m_tool));

    QTRY_COMPARE(m_service->error(),
                 "Log file not opened\n" + prefsLine()
                     + "host: \"127.0.0.1\"\nport: \"0\"\nvondPath: \"" + m_tool.toUtf8() + "\"\n"
                     + announced("127.0.0.1:0"));
    QCOMPARE(m_service->output(), QByteArray());
    QVERIFY(answers(QStringLiteral("127.0.0.1"), m_service->port()));
}

void StartupTest::withLoggingOffTheRouteAnswersWhateverLogFileThereIs()
{
    const QString path = m_service->temporaryFolder() + QStringLiteral("/vondServer.log");
    makeFile(path, "of an earlier run\n");
    QVERIFY(m_service->start(m_tool));

    QCOMPARE(get(m_service->port(), "/getLogFile"), QByteArray("of an earlier run\n"));
    QCOMPARE(contentOf(path), QByteArray("of an earlier run\n"));
}

void StartupTest::changingTheLogFolderMovesTheRouteAndNotTheWriting()
{
    m_service->setSetting(settings::serverLoggingKey, true);
    const QString path = m_service->temporaryFolder() + QStringLiteral("/vondServer.log");
    const QString other = m_service->temporaryFolder() + QStringLiteral("/other");
    QVERIFY(QDir().mkdir(other));
    makeFile(other + QStringLiteral("/vondServer.log"), "what lies there\n");
    QVERIFY(m_service->start(m_tool));
    QTRY_VERIFY(contentOf(path).endsWith(announced("127.0.0.1:0")));
    const QByteArray answer = get(m_service->port(), "/getLogFile");
    QCOMPARE(answer, contentOf(path));

    QCOMPARE(m_service->run({QStringLiteral("setLogFolder"), other}).status, 0);

    const QByteArray before = contentOf(path);
    QCOMPARE(get(m_service->port(), "/getLogFile"), QByteArray("what lies there\n"));
    QVERIFY(contentOf(path).startsWith(before));
    QVERIFY(contentOf(path).mid(before.size()).contains(": handling request from client: "));
    QCOMPARE(contentOf(other + QStringLiteral("/vondServer.log")), QByteArray("what lies there\n"));
}

void StartupTest::aStoreThatCannotBeWrittenIsServedFromAndSeenToChange()
{
#ifdef Q_OS_WIN
    QSKIP("the registry is no file");
#else
    // Root may write to any file, unless the programs it starts lack this capability. Other users
    // have nothing to drop.
    (void)::prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE, 0, 0, 0);
    const QStringList folders = {m_service->temporaryFolder() + QStringLiteral("/first"),
                                 m_service->temporaryFolder() + QStringLiteral("/the second")};
    const auto storeReadOnly = [this](const QString &folder) {
        QFile file(m_service->settingsFile());
        QVERIFY(!file.exists() || file.setPermissions(QFile::ReadOwner | QFile::WriteOwner));
        m_service->setSetting(settings::logFolderKey, folder);
        QVERIFY(file.setPermissions(QFile::ReadOwner));
    };
    for (const QString &folder : folders) {
        QVERIFY(QDir().mkdir(folder));
        makeFile(folder + QStringLiteral("/vondServer.log"), "lies in " + folder.toUtf8());
    }
    storeReadOnly(folders.first());

    QVERIFY(m_service->start(m_tool));

    QVERIFY(!m_service->setting(settings::probeKey).isValid());
    QCOMPARE(get(m_service->port(), "/getLogFile"), "lies in " + folders.first().toUtf8());
    // Another process may write, such as an administrator outside the service's sandbox.
    storeReadOnly(folders.last());
    QCOMPARE(get(m_service->port(), "/getLogFile"), "lies in " + folders.last().toUtf8());
#endif
}

void StartupTest::theDescriptorLimitIsRaised()
{
#ifdef Q_OS_WIN
    QSKIP("Windows has no such limit");
#else
    rlimit before = {};
    QCOMPARE(::getrlimit(RLIMIT_NOFILE, &before), 0);
    rlimit low = before;
    low.rlim_cur = 256;
    QCOMPARE(::setrlimit(RLIMIT_NOFILE, &low), 0);
    const bool started = m_service->start(m_tool);
    QCOMPARE(::setrlimit(RLIMIT_NOFILE, &before), 0);
    QVERIFY(started);

    const QByteArray limits =
        contentOf(QStringLiteral("/proc/%1/limits").arg(m_service->processId()));
    const QRegularExpression line(QStringLiteral(R"(Max open files +(\d+) +(\d+) )"));
    const QRegularExpressionMatch match = line.match(QString::fromLatin1(limits));
    QVERIFY2(match.hasMatch(), limits.constData());
    QCOMPARE(match.captured(1).toULongLong(),
             qMin(qulonglong(before.rlim_max), qulonglong(app::mostDescriptors)));
    QCOMPARE(match.captured(2).toULongLong(), qulonglong(before.rlim_max));
#endif
}

void StartupTest::theVersionIsTheBuilds()
{
    QVERIFY(m_service->start(m_tool));

    QCOMPARE(get(m_service->port(), "/vondServerVersion"), QByteArray("vondServer:1.0.2.26"));
}

VOND_TEST(StartupTest);
#include "startuptest.moc"
