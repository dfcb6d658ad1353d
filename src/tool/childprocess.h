#pragma once

#include <QProcess>
#include <QtGlobal>

#if defined(Q_OS_LINUX) || defined(Q_OS_WIN)
#include <QByteArray>
#include <QObject>
#include <QString>
#include <QStringList>

#include <memory>

class QDeadlineTimer;
#endif

namespace tool {

#if defined(Q_OS_LINUX) || defined(Q_OS_WIN)

// The descriptors that a run takes during start(), and after start() has returned: both ends of
// three pipes, then our ends and one that refers to the process.
constexpr int descriptorsOfAStart = 6;
constexpr int descriptorsOfARun = 4;

// One run of a program, with the part of QProcess's interface that the service uses and the same
// behaviour, with three exceptions. It does not fork: a fork copies the page tables of the whole
// service (docs/performance.md). It emits readyReadStandardOutput() once for each write of the
// program, however late this thread reads it. And it limits the output that it keeps.
//
// The program gets this process's environment and working directory, and no descriptors but its
// standard streams; its standard input is a pipe that stays open and empty. Its exit status is
// discarded. On Linux it gets default signal dispositions and an empty signal mask, and this
// process's standard input, output and error must be open. On Windows it gets no console window,
// and a batch file is not started: the shell that runs it parses arguments by rules of its own.
//
// To be used in one thread. Nothing happens between calls: waitForFinished() reads the output.
class ChildProcess : public QObject
{
    Q_OBJECT

public:
    // The most unread output of one channel, in bytes. No real tool prints as much; one that never
    // stopped printing would bring down the whole service.
    static constexpr int largestOutput = 64 * 1024 * 1024;

    explicit ChildProcess(QObject *parent = nullptr);

    // Kills a program that is still running and waits for its end.
    ~ChildProcess() override;

    ChildProcess(const ChildProcess &) = delete;
    ChildProcess &operator=(const ChildProcess &) = delete;
    ChildProcess(ChildProcess &&) = delete;
    ChildProcess &operator=(ChildProcess &&) = delete;

    // Starts the program; a name without a slash is searched for, in PATH last. If it cannot be
    // started, state() stays QProcess::NotRunning and errorString() says why. Must not be called
    // while a program is running. Throws std::bad_alloc.
    void start(const QString &program, const QStringList &arguments);

    // Waits until the program has ended, for at most `msecs` milliseconds; -1 waits without limit.
    // What counts is the end of the program, not of its output, which other processes may hold
    // open. False on timeout, when no program is running, or when waiting itself fails. A program
    // whose output exceeds largestOutput is killed, with a line for the operator; the output until
    // then is kept.
    //
    // An exception from a slot, or std::bad_alloc, kills the program and propagates.
    [[nodiscard]] bool waitForFinished(int msecs);

    // Takes the output that has been read and not taken yet.
    [[nodiscard]] QByteArray readAllStandardOutput();
    [[nodiscard]] QByteArray readAllStandardError();

    // QProcess::NotRunning or QProcess::Running.
    [[nodiscard]] QProcess::ProcessState state() const;

    // Why the last start or wait failed: the system's error text.
    [[nodiscard]] QString errorString() const;

Q_SIGNALS:
    // A write of the program has been read. A write longer than a memory page also comes as one, as
    // long as it is below a megabyte; on Linux, one of exactly a page may come together with the
    // next.
    void readyReadStandardOutput();

private:
    // The program and our ends of its pipes, by the means of the system.
    struct Run;

    // Ends the run: kills a program that is still running and waits for its end.
    struct RunDeleter
    {
        void operator()(Run *run) const;
    };

    // What there is to do.
    struct Ready
    {
        bool end = false;
        bool output = false;
        bool errors = false;
    };

    // Of the system: childprocess_linux.cpp, childprocess_windows.cpp.
    QString begin(const QString &program, const QStringList &arguments);
    bool poll(const QDeadlineTimer &deadline, Ready *ready);
    bool hasEnded(const Ready &ready);
    void readWrites(const Ready &ready);
    qint64 readWrite();
    qint64 readErrors();
    void readRest();
    void kill();

    void announce();
    void keep(QByteArray *channel, const char *data, qint64 size);

    std::unique_ptr<Run, RunDeleter> m_run; // while the program is running
    QByteArray m_output; // not taken yet
    QByteArray m_errors;
    QString m_errorString;
    int m_unannounced = 0; // bytes of a write that may continue
    bool m_isFlooding = false;
};

#else

constexpr int descriptorsOfAStart = 12;
constexpr int descriptorsOfARun = descriptorsOfAStart;

using ChildProcess = QProcess;

#endif

} // namespace tool
