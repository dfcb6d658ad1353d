#include "tests/support/serviceundertest.h"

#include "tests/support/ownfolders.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QSet>
#include <QSettings>

#include <unistd.h>

namespace {

constexpr int patienceMs = 30000; // far more than ever needed, even under a sanitizer
constexpr int glanceMs = 5;

// The sockets that a process holds, as the system numbers them.
QSet<QByteArray> socketsOf(qint64 processId)
{
    QSet<QByteArray> sockets;
    const QDir descriptors(QStringLiteral("/proc/%1/fd").arg(processId));
    const QStringList names = descriptors.entryList(QDir::Files | QDir::System);
    for (const QString &name : names) {
        // Read literally: "socket:[12345]" is not a file that a link could lead to.
        QByteArray target(64, '\0');
        const ssize_t length = ::readlink(QFile::encodeName(descriptors.filePath(name)).constData(),
                                          target.data(),
                                          static_cast<size_t>(target.size()));
        target.truncate(static_cast<int>(qMax<ssize_t>(length, 0)));
        if (target.startsWith("socket:[")) {
            sockets.insert(target.mid(8).chopped(1));
        }
    }
    return sockets;
}

// The port on which one of the sockets listens, from one of the system's tables, or 0.
quint16 listeningPort(const QString &table, const QSet<QByteArray> &sockets)
{
    QFile file(table);
    if (!file.open(QIODevice::ReadOnly)) {
        return 0; // no IPv6 here, or the process is gone
    }
    const QList<QByteArray> lines = file.readAll().split('\n');
    for (const QByteArray &line : lines) {
        // sl, local address:port, remote address:port, state, ... the tenth is the socket's number
        const QList<QByteArray> fields = line.simplified().split(' ');
        const bool listens = fields.size() > 9 && fields.at(3) == "0A";
        if (listens && sockets.contains(fields.at(9))) {
            return fields.at(1).split(':').at(1).toUShort(nullptr, 16);
        }
    }
    return 0;
}

quint16 listeningPort(qint64 processId)
{
    const QSet<QByteArray> sockets = socketsOf(processId);
    const QString tables = QStringLiteral("/proc/%1/net/").arg(processId);
    const quint16 port = listeningPort(tables + QStringLiteral("tcp"), sockets);
    return port != 0 ? port : listeningPort(tables + QStringLiteral("tcp6"), sockets);
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
    m_environment.insert(QStringLiteral("TMPDIR"), temporaryFolder());
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
    return m_folder.filePath(QStringLiteral("config/meridane/vondServer.conf"));
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
    return {ended ? process.exitCode() : -1,
            process.readAllStandardOutput(),
            process.readAllStandardError()};
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
    return contentOf(m_folder.filePath(QStringLiteral("output")));
}

QByteArray ServiceUnderTest::error() const
{
    return contentOf(m_folder.filePath(QStringLiteral("error")));
}

void ServiceUnderTest::stop()
{
    if (m_process.state() == QProcess::NotRunning) {
        return;
    }
    m_process.terminate();
    if (!m_process.waitForFinished(patienceMs)) {
        qWarning("the service did not let itself be stopped");
        m_process.kill();
        (void)m_process.waitForFinished(patienceMs);
    }
}
