#pragma once

#include <QByteArray>
#include <QLatin1String>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <QVariant>

// The built service as a separate process. It has its own settings store and temporary folder, both
// initially empty and deleted with this object, which also stops it. The caller's settings, locale
// and logging rules do not reach it.
class ServiceUnderTest
{
public:
    // A finished run. The status is what the system reports: -1 shows as 255. A crash shows as -1.
    struct Ended
    {
        int status;
        QByteArray output;
        QByteArray error;
    };

    ServiceUnderTest();
    ~ServiceUnderTest();
    ServiceUnderTest(const ServiceUnderTest &) = delete;
    ServiceUnderTest &operator=(const ServiceUnderTest &) = delete;
    ServiceUnderTest(ServiceUnderTest &&) = delete;
    ServiceUnderTest &operator=(ServiceUnderTest &&) = delete;

    // The store as it is now. An absent setting reads as an invalid variant.
    void setSetting(QLatin1String key, const QVariant &value) const;
    [[nodiscard]] QVariant setting(QLatin1String key) const;
    [[nodiscard]] QString settingsFile() const;

    // The service's view of the system's temporary folder.
    [[nodiscard]] QString temporaryFolder() const;

    // For the runs that follow.
    void setEnvironment(const QString &name, const QString &value);

    // A run that should end on its own, on the same store; in parallel to a serving one, if any.
    // Merged channels are returned as one output, in the order of writing.
    [[nodiscard]] Ended run(const QStringList &words,
                            QProcess::ProcessChannelMode channels = QProcess::SeparateChannels);

    // Starts serving and waits until it listens. False when it ended instead, or did not listen in
    // time; its output then says why. The first form serves on a free port of 127.0.0.1.
    [[nodiscard]] bool start(const QString &toolPath);
    [[nodiscard]] bool start(const QStringList &words);

    [[nodiscard]] quint16 port() const; // the actual one
    [[nodiscard]] qint64 processId() const;
    [[nodiscard]] bool isRunning() const;

    // What the serving process has written so far.
    [[nodiscard]] QByteArray output() const;
    [[nodiscard]] QByteArray error() const;

    // Ends the serving process from outside, as an operator would.
    void stop();

private:
    QTemporaryDir m_folder;
    QProcessEnvironment m_environment;
    QProcess m_process;
    quint16 m_port = 0;
};
