#include "app/run.h"

#include "settings/keys.h"
#include "tests/support/messagecatcher.h"
#include "tests/support/outputcatcher.h"
#include "tests/support/ownfolders.h"
#include "tests/support/testmain.h"

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QObject>
#include <QSettings>
#include <QTest>

#include <array>

namespace {

// The state of the application object when it was created, inside run().
struct Identity
{
    QString organization;
    QString domain;
    QString name;
    QByteArray eventDispatcher;
};

Identity seen;

void look()
{
    seen.organization = QCoreApplication::organizationName();
    seen.domain = QCoreApplication::organizationDomain();
    seen.name = QCoreApplication::applicationName();
    seen.eventDispatcher = QAbstractEventDispatcher::instance()->metaObject()->className();
}

// The exit status of the program when run with one word.
int runWith(QByteArray word)
{
    QByteArray program("vondServer");
    std::array<char *, 3> words = {program.data(), word.data(), nullptr};
    int count = 2;
    return app::run(count, words.data());
}

} // namespace

Q_COREAPP_STARTUP_FUNCTION(look)

// The whole program inside this process, which has no application object of its own.
class RunTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void theIdentityIsSetBeforeTheApplicationIsMade();
    void theEventDispatcherIsQtsOwn();
    void theProbeIsWrittenAndItsPlaceReportedBeforeAnyCommand();
    void aSettingThatIsNoTruthValueLeavesLoggingOff_data();
    void aSettingThatIsNoTruthValueLeavesLoggingOff();
};

void RunTest::initTestCase()
{
    useOwnSettings();
}

void RunTest::init()
{
    QSettings().clear();
    seen = {};
}

void RunTest::theIdentityIsSetBeforeTheApplicationIsMade()
{
    QCoreApplication::setOrganizationName({});
    QCoreApplication::setOrganizationDomain({});
    QCoreApplication::setApplicationName({});
    const MessageCatcher catcher;
    OutputCatcher error(OutputCatcher::Channel::Error);

    QCOMPARE(runWith("unknown"), -1);

    QCOMPARE(seen.organization, QStringLiteral("meridane"));
    QCOMPARE(seen.domain, QStringLiteral("meridane.example"));
    QCOMPARE(seen.name, QStringLiteral("vondServer"));
    QCOMPARE(error.take(), QByteArray("Unknown command:unknown\n"));
}

void RunTest::theEventDispatcherIsQtsOwn()
{
    qunsetenv("QT_NO_GLIB");
    const MessageCatcher catcher;
    OutputCatcher error(OutputCatcher::Channel::Error);

    QCOMPARE(runWith("unknown"), -1);
    (void)error.take();

#ifdef Q_OS_WIN
    QCOMPARE(seen.eventDispatcher, QByteArray("QEventDispatcherWin32"));
#else
    QCOMPARE(seen.eventDispatcher, QByteArray("QEventDispatcherUNIX"));
#endif
    QCOMPARE(qgetenv("QT_NO_GLIB"), QByteArray("1"));
}

void RunTest::theProbeIsWrittenAndItsPlaceReportedBeforeAnyCommand()
{
    const MessageCatcher catcher;
    OutputCatcher output(OutputCatcher::Channel::Output);
    OutputCatcher error(OutputCatcher::Channel::Error);

    QCOMPARE(runWith("getTempFolder"), 0);
    (void)error.take();

    QCOMPARE(output.take(), QByteArray("TempFolder:\n"));
    QString place;
    QDebug(&place) << QSettings().fileName(); // quoted as the debug stream does
    QCOMPARE(catcher.messages(),
             QStringList({QStringLiteral("server prefs ") + place.trimmed(),
                          QStringLiteral("Error? temp folder does not exist: \"\"")}));
    QCOMPARE(QSettings().value(settings::probeKey), QVariant(QStringLiteral("servertester")));
}

void RunTest::aSettingThatIsNoTruthValueLeavesLoggingOff_data()
{
    QTest::addColumn<QVariant>("stored");

    QTest::newRow("absent") << QVariant();
    QTest::newRow("false") << QVariant(false);
    QTest::newRow("zero") << QVariant(QStringLiteral("0"));
    QTest::newRow("an empty text") << QVariant(QStringLiteral(""));
}

void RunTest::aSettingThatIsNoTruthValueLeavesLoggingOff()
{
    QFETCH(const QVariant, stored);
    if (stored.isValid()) {
        QSettings().setValue(settings::serverLoggingKey, stored);
    }
    const MessageCatcher catcher;
    OutputCatcher output(OutputCatcher::Channel::Output);
    OutputCatcher error(OutputCatcher::Channel::Error);

    QCOMPARE(runWith("unknown"), -1);
    (void)error.take();

    QCOMPARE(output.take(), QByteArray());
    QCOMPARE(catcher.messages().size(), 1);
}

VOND_TEST_WITHOUT_APPLICATION(RunTest);
#include "runtest.moc"
