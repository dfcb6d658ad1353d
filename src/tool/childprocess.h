#pragma once

#include <QProcess>
#include <QtGlobal>

#ifdef Q_OS_LINUX
#include <QByteArray>
#include <QObject>
#include <QString>
#include <QStringList>

#include <memory>

class QDeadlineTimer;
#endif

namespace tool {

#ifdef Q_OS_LINUX

// The descriptors that a run takes from start() on, and once start() has returned: both ends of
// three pipes, then our ends of them and one that refers to the process.
constexpr int descriptorsOfAStart = 6;
constexpr int descriptorsOfARun = 4;

// One run of a program, with the part of QProcess's interface that the service uses and the same
// behaviour, except for two things. It does not fork: a fork copies the page tables of the whole
// service (docs/performance.md). And readyReadStandardOutput() comes once for each write of the
// program, however late this thread gets to read it.
//
// The program gets default signal dispositions, an empty signal mask, this process's environment
// and folder, and no descriptors but its standard streams; standard input is a pipe that stays open
// and silent. Its exit status is not kept. Standard input, output and error of this process must be
// open.
//
// Used in one thread. Nothing happens between the calls: output is read within waitForFinished().
class ChildProcess : public QObject
{
    Q_OBJECT

public:
    // What of one channel waits to be read at the most, in bytes. No real tool says as much; one
    // that never stops talking would take the whole service with it.
    static constexpr int largestOutput = 64 * 1024 * 1024;

    explicit ChildProcess(QObject *parent = nullptr);

    // Kills a program that still runs and waits for its end.
    ~ChildProcess() override;

    ChildProcess(const ChildProcess &) = delete;
    ChildProcess &operator=(const ChildProcess &) = delete;
    ChildProcess(ChildProcess &&) = delete;
    ChildProcess &operator=(ChildProcess &&) = delete;

    // Starts the program with these arguments; one without a slash is searched for in PATH. When it
    // cannot be started, state() stays QProcess::NotRunning and errorString() says why. Must not be
    // called while a program runs. Throws std::bad_alloc.
    void start(const QString &program, const QStringList &arguments);

    // Waits until the program has ended, for so many milliseconds at the most; -1 is for ever. The
    // end of the program counts, not that of its output, which others may hold open. False when the
    // time is up, when there is no program, or when waiting itself failed. A program whose output
    // exceeds largestOutput is killed, the operator is told, and what came before is kept.
    //
    // An exception that leaves a slot, or a lack of memory, kills the program and passes through.
    [[nodiscard]] bool waitForFinished(int msecs);

    // Takes what the program has written and nobody has taken yet.
    [[nodiscard]] QByteArray readAllStandardOutput();
    [[nodiscard]] QByteArray readAllStandardError();

    // QProcess::NotRunning or QProcess::Running.
    [[nodiscard]] QProcess::ProcessState state() const;

    // Why the last start or wait failed, in the system's words.
    [[nodiscard]] QString errorString() const;

Q_SIGNALS:
    // A write of the program has been read. One of more than a memory page comes as one, too, as
    // long as it is below a megabyte; one of exactly a page may come together with what follows.
    void readyReadStandardOutput();

private:
    struct Run;
    struct Ready;

    bool poll(const QDeadlineTimer &deadline, Ready *ready);
    bool hasEnded(bool isSaidToHaveEnded);
    void readWrites();
    qint64 readWrite();
    void announce();
    qint64 readErrors();
    void readRest();
    void keep(QByteArray *channel, const char *data, qint64 size);
    void killAndReap();

    void release();

    std::unique_ptr<Run> m_run; // from a start until its output has been taken
};

#else

constexpr int descriptorsOfAStart = 12;
constexpr int descriptorsOfARun = descriptorsOfAStart;

using ChildProcess = QProcess;

#endif

} // namespace tool
