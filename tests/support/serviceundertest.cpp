#include "tests/support/serviceundertest.h"

#include "tests/support/listeningport.h"
#include "tests/support/ownfolders.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QSettings>

namespace {

constexpr int patienceMs = 30000; // far more than ever needed, even under a sanitizer
constexpr int glanceMs = 5;

// The texts that it prints, with line ends as everywhere.
QByteArray printed(QByteArray text)
{
    return text.replace("\r\n", "\n");
}

} // namespace

ServiceUnderTest::ServiceUnderTest()
    : m_environment(QProcessEnvironment::systemEnvironment())
{
    const QDir folder(m_folder.path());
    for (const char *const name : {"config", "systemconfig", "tmp"}) {
        if (!folder.mkdir(QString::fromLatin1(name))) {
            qFatal("could not make the folders of the service under test");
        }
    }
    m_environment.insert(QStringLiteral("XDG_CONFIG_HOME"),
                         m_folder.filePath(QStringLiteral("config")));
    m_environment.insert(QStringLiteral("XDG_CONFIG_DIRS"),
                         m_folder.filePath(QStringLiteral("systemconfig")));
#ifdef Q_OS_WIN
    m_environment.insert(QStringLiteral("TMP"), QDir::toNativeSeparators(temporaryFolder()));
    QSettings(settingsFile(), QSettings::NativeFormat).clear(); // there is one for all tests
#else
    m_environment.insert(QStringLiteral("TMPDIR"), temporaryFolder());
#endif
    m_environment.insert(QStringLiteral("LC_ALL"), QStringLiteral("C.UTF-8"));
    // The debug stream without any logging rules, on standard error and not in the journal.
    m_environment.insert(QStringLiteral("QT_FORCE_STDERR_LOGGING"), QStringLiteral("1"));
    for (const char *const name :
         {"QT_LOGGING_TO_CONSOLE", "QT_LOGGING_RULES", "QT_LOGGING_CONF", "QT_MESSAGE_PATTERN"}) {
        m_environment.remove(QString::fromLatin1(name));
    }
}

ServiceUnderTest::~ServiceUnderTest()
{
    stop();
}

void ServiceUnderTest::setSetting(QLatin1String key, const QVariant &value) const
{
    QSettings(settingsFile(), QSettings::NativeFormat).setValue(key, value);
}

QVariant ServiceUnderTest::setting(QLatin1String key) const
{
    return QSettings(settingsFile(), QSettings::NativeFormat).value(key);
}

QString ServiceUnderTest::settingsFile() const
{
#ifdef Q_OS_WIN
    return QStringLiteral("\\HKEY_CURRENT_USER\\Software\\meridane\\vondServer");
#else
    return m_folder.filePath(QStringLiteral("config/meridane/vondServer.conf"));
#endif
}

QString ServiceUnderTest::temporaryFolder() const
{
    return m_folder.filePath(QStringLiteral("tmp"));
}

void ServiceUnderTest::setEnvironment(const QString &name, const QString &value)
{
    m_environment.insert(name, value);
}

ServiceUnderTest::Ended ServiceUnderTest::run(const QStringList &words,
                                              QProcess::ProcessChannelMode channels)
{
    QProcess process;
    process.setProcessChannelMode(channels);
    process.setProcessEnvironment(m_environment);
    process.setStandardInputFile(QProcess::nullDevice());
    process.start(QStringLiteral(SERVICE_PATH), words);
    if (!process.waitForFinished(patienceMs)) {
        qWarning("the service did not end by itself: %s", qPrintable(process.errorString()));
        process.kill();
        (void)process.waitForFinished(patienceMs);
    }
    const bool ended = process.exitStatus() == QProcess::NormalExit;
    constexpr int kept = 0xff; // of a status, by Unix
    return {ended ? process.exitCode() & kept : -1,
            printed(process.readAllStandardOutput()),
            printed(process.readAllStandardError())};
}

bool ServiceUnderTest::start(const QString &toolPath)
{
    return start({QStringLiteral("127.0.0.1"), QStringLiteral("0"), toolPath});
}

bool ServiceUnderTest::start(const QStringList &words)
{
    stop();
    m_port = 0;
    m_process.setProcessEnvironment(m_environment);
    m_process.setStandardInputFile(QProcess::nullDevice());
    // Files, so that a service which writes a lot never waits for the test to read.
    m_process.setStandardOutputFile(m_folder.filePath(QStringLiteral("output")));
    m_process.setStandardErrorFile(m_folder.filePath(QStringLiteral("error")));
    m_process.start(QStringLiteral(SERVICE_PATH), words);

    const QDeadlineTimer deadline(patienceMs);
    while (m_port == 0 && m_process.state() != QProcess::NotRunning && !deadline.hasExpired()) {
        (void)m_process.waitForFinished(glanceMs); // lets time pass, and notices its end
        m_port = listeningPort(processId());
    }
    return m_port != 0;
}

quint16 ServiceUnderTest::port() const
{
    return m_port;
}

qint64 ServiceUnderTest::processId() const
{
    return m_process.processId();
}

bool ServiceUnderTest::isRunning() const
{
    return m_process.state() == QProcess::Running;
}

QByteArray ServiceUnderTest::output() const
{
    return printed(contentOf(m_folder.filePath(QStringLiteral("output"))));
}

QByteArray ServiceUnderTest::error() const
{
    return printed(contentOf(m_folder.filePath(QStringLiteral("error"))));
}

void ServiceUnderTest::stop()
{
    if (m_process.state() == QProcess::NotRunning) {
        return;
    }
#ifdef Q_OS_WIN
    m_process.kill(); // a program without a window cannot be asked
#else
    m_process.terminate();
#endif
    if (!m_process.waitForFinished(patienceMs)) {
        qWarning("the service did not let itself be stopped");
        m_process.kill();
        (void)m_process.waitForFinished(patienceMs);
    }
}
