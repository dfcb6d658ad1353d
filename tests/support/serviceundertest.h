#pragma once

#include <QByteArray>
#include <QLatin1String>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <QVariant>

// The built service as a process of its own. It has its own settings store and temporary folder,
// both empty at first and gone with this object, which also stops it. Nothing of the caller's
// settings, locale or message rules reaches it.
class ServiceUnderTest
{
public:
    // A run that ended. The status is what the system keeps of it: -1 shows as 255. A crash shows
    // as -1.
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

    // What the service takes for the system's temporary folder.
    [[nodiscard]] QString temporaryFolder() const;

    // For the runs that follow.
    void setEnvironment(const QString &name, const QString &value);

    // A run that is to end by itself, on the same store; beside one that serves, if there is one.
    // Merged channels come as one output, in the order of writing.
    [[nodiscard]] Ended run(const QStringList &words,
                            QProcess::ProcessChannelMode channels = QProcess::SeparateChannels);

    // Starts serving and waits until it listens. False when it ended instead, or did not listen in
    // time; the texts then tell why. The first form serves on a free port of 127.0.0.1.
    [[nodiscard]] bool start(const QString &toolPath);
    [[nodiscard]] bool start(const QStringList &words);

    [[nodiscard]] quint16 port() const; // the one it really listens on
    [[nodiscard]] qint64 processId() const;
    [[nodiscard]] bool isRunning() const;

    // What the one that serves has written so far.
    [[nodiscard]] QByteArray output() const;
    [[nodiscard]] QByteArray error() const;

    // Ends the one that serves from outside, as an operator would.
    void stop();

private:
    QTemporaryDir m_folder;
    QProcessEnvironment m_environment;
    QProcess m_process;
    quint16 m_port = 0;
};
