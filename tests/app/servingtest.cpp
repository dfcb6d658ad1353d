#include "app/serving.h"

#include "settings/keys.h"
#include "tests/support/messagecatcher.h"
#include "tests/support/outputcatcher.h"
#include "tests/support/ownfolders.h"
#include "tests/support/testmain.h"

#include <QCoreApplication>
#include <QObject>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

// Serving inside this process, where the event loop can be ended. startuptest covers what the
// service prints as a separate process.
class ServingTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void theStatusIsTheEventLoops_data();
    void theStatusIsTheEventLoops();
    void leavingTheEventLoopIsReportedOnTheDebugStream();
    void servingAsStoredReadsTheThreeSettings();
    void aPortStoredAsANumberIsRead();
    void aMissingToolIsOnlyWarnedOf();
    void startFailuresAreMinusOne_data();
    void startFailuresAreMinusOne();

private:
    QScopedPointer<QTemporaryDir> m_folder;
    QString m_tool;
};

void ServingTest::initTestCase()
{
    useOwnSettings();
}

void ServingTest::init()
{
    QSettings().clear();
    m_folder.reset(new QTemporaryDir);
    m_tool = m_folder->filePath(QStringLiteral("vond"));
    makeFile(m_tool);
}

void ServingTest::theStatusIsTheEventLoops_data()
{
    QTest::addColumn<int>("status");

    QTest::newRow("quit") << 0;
    QTest::newRow("left with a status") << 7;
}

void ServingTest::theStatusIsTheEventLoops()
{
    QFETCH(const int, status);
    const MessageCatcher catcher;
    QTimer::singleShot(0, qApp, [status] { QCoreApplication::exit(status); });

    QCOMPARE(app::serveAsGiven("127.0.0.1", "0", m_tool.toUtf8().constData()), status);
}

void ServingTest::leavingTheEventLoopIsReportedOnTheDebugStream()
{
    const MessageCatcher catcher;
    QTimer::singleShot(0, qApp, &QCoreApplication::quit);

    QCOMPARE(app::serveAsGiven("127.0.0.1", "0", m_tool.toUtf8().constData()), 0);

    QCOMPARE(
        catcher.messages(),
        QStringList({QStringLiteral("host: \"127.0.0.1\""),
                     QStringLiteral("port: \"0\""),
                     QStringLiteral("vondPath: \"%1\"").arg(m_tool),
                     QStringLiteral("\"Running on http://127.0.0.1:0/ (Press CTRL+C to quit)\""),
                     QStringLiteral("server exited")}));
}

void ServingTest::servingAsStoredReadsTheThreeSettings()
{
    QSettings().setValue(settings::hostIpKey, QStringLiteral("127.0.0.1"));
    QSettings().setValue(settings::portNumberKey, QStringLiteral("0"));
    QSettings().setValue(settings::vondPathKey, m_tool);
    const MessageCatcher catcher;
    QTimer::singleShot(0, qApp, &QCoreApplication::quit);

    QCOMPARE(app::serveAsStored(QSettings()), 0);

    QCOMPARE(
        catcher.messages(),
        QStringList({QStringLiteral("\"Running on http://127.0.0.1:0/ (Press CTRL+C to quit)\""),
                     QStringLiteral("server exited")}));
}

void ServingTest::aPortStoredAsANumberIsRead()
{
    QSettings().setValue(settings::hostIpKey, QStringLiteral("127.0.0.1"));
    QSettings().setValue(settings::portNumberKey, 65536);
    QSettings().setValue(settings::vondPathKey, m_tool);
    const MessageCatcher catcher;
    QTimer::singleShot(0, qApp, &QCoreApplication::quit);

    QCOMPARE(app::serveAsStored(QSettings()), 0);

    QCOMPARE(catcher.messages().first(),
             QStringLiteral("\"Running on http://127.0.0.1:65536/ (Press CTRL+C to quit)\""));
}

void ServingTest::aMissingToolIsOnlyWarnedOf()
{
    QSettings().setValue(settings::hostIpKey, QStringLiteral("127.0.0.1"));
    QSettings().setValue(settings::portNumberKey, QStringLiteral("0"));
    const MessageCatcher catcher;
    OutputCatcher error(OutputCatcher::Channel::Error);
    QTimer::singleShot(0, qApp, &QCoreApplication::quit);

    QCOMPARE(app::serveAsStored(QSettings()), 0);

    QCOMPARE(error.take(), QByteArray("warning: no vond-exe not found\n"));
    QCOMPARE(catcher.messages().first(), QStringLiteral("warning: no vond-exe not found \"\""));
}

void ServingTest::startFailuresAreMinusOne_data()
{
    QTest::addColumn<QByteArray>("host");
    QTest::addColumn<QByteArray>("port");
    QTest::addColumn<QByteArray>("error");

    const QByteArray address("127.0.0.1");
    QTest::newRow("no host") << QByteArray() << QByteArray("0")
                             << QByteArray("error: no hostIP set\n");
    QTest::newRow("no port") << address << QByteArray() << QByteArray("error: no portNumber set\n");
    QTest::newRow("neither: the host is missed first")
        << QByteArray() << QByteArray() << QByteArray("error: no hostIP set\n");
    QTest::newRow("no number") << address << QByteArray("8080x")
                               << QByteArray("error: portNumber is not an integer value, eg. "
                                             "8080\n");
    QTest::newRow("no address")
        << QByteArray("server.example") << QByteArray("0")
        << QByteArray("Error: unable to start the http-server:The address is not available\n");
}

void ServingTest::startFailuresAreMinusOne()
{
    QFETCH(const QByteArray, host);
    QFETCH(const QByteArray, port);
    QFETCH(const QByteArray, error);
    const MessageCatcher catcher;
    OutputCatcher catcherOfErrors(OutputCatcher::Channel::Error);

    QCOMPARE(app::serveAsGiven(host.constData(), port.constData(), m_tool.toUtf8().constData()),
             -1);

    QCOMPARE(catcherOfErrors.take(), error);
}

VOND_TEST(ServingTest);
#include "servingtest.moc"
