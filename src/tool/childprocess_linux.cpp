#include "base/filedescriptor.h"
#include "tool/childprocess.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QStandardPaths>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstring>
#include <fcntl.h>
#include <limits>
#include <poll.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace tool {

namespace {

constexpr std::size_t readBytes = 65536; // no packet is larger

// A write that does not fit into the pipe continues when there is room, after a moment that the
// writer needs to notice. Such writes are reassembled up to this size.
constexpr int restOfWriteMs = 10;
constexpr int largestWrite = 1048576;

constexpr int writesInATurn = 64; // then the end and the deadline are checked again
constexpr int lookAgainMs = 5; // for the end, where the system cannot signal it
constexpr int killedWaitMs = 30000; // for a process that the system cannot kill at once

struct Pipe
{
    base::FileDescriptor readEnd;
    base::FileDescriptor writeEnd;
};

// Whether the pipe could be made; sets errno if not.
bool makePipe(Pipe *made, int flags = 0)
{
    std::array<int, 2> ends = {};
    if (::pipe2(ends.data(), O_CLOEXEC | flags) != 0) {
        return false;
    }
    *made = Pipe{base::FileDescriptor(ends[0]), base::FileDescriptor(ends[1])};
    return true;
}

// A pipe that preserves write boundaries (pipe(7), O_DIRECT): each write of up to a page is read
// separately. A plain pipe on a system that has no such pipes.
bool makePacketPipe(Pipe *made)
{
    return makePipe(made, O_DIRECT) || (errno == EINVAL && makePipe(made));
}

bool makeNonBlocking(const base::FileDescriptor &descriptor)
{
    return ::fcntl(descriptor.get(), F_SETFL, O_NONBLOCK) == 0;
}

// A descriptor that becomes readable when the process ends. None on a system, or in a sandbox, that
// lacks them, or when no descriptor is free.
base::FileDescriptor openProcess(pid_t pid)
{
    // By its number: glibc 2.36 declares the function in a way that C++ cannot link.
    return base::FileDescriptor(static_cast<int>(::syscall(SYS_pidfd_open, pid, 0)));
}

// How the system is to create the process.
class SpawnSettings
{
public:
    SpawnSettings()
        : m_error(::posix_spawnattr_init(&m_attributes))
    {
        m_error = m_error != 0 ? m_error : ::posix_spawn_file_actions_init(&m_actions);
    }

    ~SpawnSettings()
    {
        (void)::posix_spawn_file_actions_destroy(&m_actions);
        (void)::posix_spawnattr_destroy(&m_attributes);
    }

    SpawnSettings(const SpawnSettings &) = delete;
    SpawnSettings &operator=(const SpawnSettings &) = delete;
    SpawnSettings(SpawnSettings &&) = delete;
    SpawnSettings &operator=(SpawnSettings &&) = delete;

    void useDefaultSignals()
    {
        sigset_t all;
        sigset_t none;
        // Not sigfillset(): it omits the two signals that glibc reserves, and glibc would then make
        // the program ignore those.
        std::memset(&all, 0xff, sizeof all);
        (void)::sigemptyset(&none);
        note(::posix_spawnattr_setsigdefault(&m_attributes, &all));
        note(::posix_spawnattr_setsigmask(&m_attributes, &none));
        note(::posix_spawnattr_setflags(&m_attributes,
                                        POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK));
    }

    void useDescriptors(const base::FileDescriptor &in,
                        const base::FileDescriptor &out,
                        const base::FileDescriptor &err)
    {
        note(::posix_spawn_file_actions_adddup2(&m_actions, in.get(), STDIN_FILENO));
        note(::posix_spawn_file_actions_adddup2(&m_actions, out.get(), STDOUT_FILENO));
        note(::posix_spawn_file_actions_adddup2(&m_actions, err.get(), STDERR_FILENO));
        note(::posix_spawn_file_actions_addclosefrom_np(&m_actions, STDERR_FILENO + 1));
    }

    int spawn(pid_t *pid, char *const *words) const
    {
        return m_error != 0
            ? m_error
            : ::posix_spawn(pid, words[0], &m_actions, &m_attributes, words, ::environ);
    }

private:
    void note(int error)
    {
        m_error = m_error != 0 ? m_error : error;
    }

    posix_spawnattr_t m_attributes = {};
    posix_spawn_file_actions_t m_actions = {};
    int m_error;
};

// Searches as QProcess does: a name that is not found in PATH is used as given.
QString pathOf(const QString &program)
{
    if (program.contains(QLatin1Char('/'))) {
        return program;
    }
    const QString found = QStandardPaths::findExecutable(program);
    return found.isEmpty() ? program : found;
}

std::vector<QByteArray> encodedWords(const QString &program, const QStringList &arguments)
{
    std::vector<QByteArray> words;
    words.reserve(static_cast<std::size_t>(arguments.size()) + 1);
    words.push_back(QFile::encodeName(pathOf(program)));
    for (const QString &argument : arguments) {
        words.push_back(QFile::encodeName(argument));
    }
    return words;
}

// Returns 0 or an error number. The system does not change the words.
int spawnProcess(pid_t *pid, const SpawnSettings &settings, std::vector<QByteArray> &words)
{
    std::vector<char *> pointers;
    pointers.reserve(words.size() + 1);
    for (QByteArray &word : words) {
        pointers.push_back(word.data());
    }
    pointers.push_back(nullptr);
    return settings.spawn(pid, pointers.data());
}

ssize_t readOnce(const base::FileDescriptor &descriptor, char *data, std::size_t size)
{
    ssize_t count = 0;
    do {
        count = ::read(descriptor.get(), data, size);
    } while (count < 0 && errno == EINTR);
    return count;
}

qint64 bytesWaiting(const base::FileDescriptor &pipe)
{
    int waiting = 0;
    return pipe.isOpen() && ::ioctl(pipe.get(), FIONREAD, &waiting) == 0 ? waiting : 0;
}

// The size of a packet that may be part of a longer write.
ssize_t fullPacket()
{
    static const ssize_t pageBytes = ::sysconf(_SC_PAGESIZE);
    return pageBytes;
}

// Whether a writer may have found the pipe full before this many packets were read in a row.
bool mayHaveBeenFull(const base::FileDescriptor &pipe, int packets)
{
    return packets >= ::fcntl(pipe.get(), F_GETPIPE_SZ) / fullPacket();
}

int remainingMs(const QDeadlineTimer &deadline)
{
    constexpr qint64 longest = std::numeric_limits<int>::max();
    return static_cast<int>(deadline.isForever() ? longest
                                                 : std::min(deadline.remainingTime(), longest));
}

} // namespace

struct ChildProcess::Run
{
    Run() = default;
    ~Run();

    Run(const Run &) = delete;
    Run &operator=(const Run &) = delete;
    Run(Run &&) = delete;
    Run &operator=(Run &&) = delete;

    // Returns 0 or an error number.
    int start(std::vector<QByteArray> &words);

    void kill() const;
    bool poll(int timeoutMs, Ready *ready) const;
    bool hasEnded(bool isSaidToHaveEnded);

    pid_t pid = -1; // -1 again once it is reaped: the number may then be reused
    base::FileDescriptor
        process; // readable when it has ended; none where the system has no such descriptors
    base::FileDescriptor stdIn;
    base::FileDescriptor stdOut;
    base::FileDescriptor stdErr;
    QDeadlineTimer restOfWrite; // how long to wait for more before what was read is announced
    int packetsInARow = 0; // read since the pipe was last empty
};

ChildProcess::Run::~Run()
{
    kill();
    stdOut.close(); // further output is of no use
    stdErr.close();
    const QDeadlineTimer deadline(killedWaitMs);
    Ready ready;
    while (!hasEnded(ready.end) && !deadline.hasExpired() && poll(remainingMs(deadline), &ready)) {
    }
}

int ChildProcess::Run::start(std::vector<QByteArray> &words)
{
    Pipe in;
    Pipe out;
    Pipe err;
    if (!makePipe(&in) || !makePacketPipe(&out) || !makePipe(&err) || !makeNonBlocking(out.readEnd)
        || !makeNonBlocking(err.readEnd)) {
        return errno;
    }
    SpawnSettings settings;
    settings.useDefaultSignals();
    settings.useDescriptors(in.readEnd, out.writeEnd, err.writeEnd);
    if (const int error = spawnProcess(&pid, settings, words)) {
        return error;
    }
    in.readEnd.close(); // frees a descriptor for the next one
    process = openProcess(pid);
    stdIn = std::move(in.writeEnd);
    stdOut = std::move(out.readEnd);
    stdErr = std::move(err.readEnd);
    return 0;
}

void ChildProcess::Run::kill() const
{
    if (pid > 0) {
        (void)::kill(pid, SIGKILL);
    }
}

// Waits until there is something to do. False when waiting failed; errno says why.
bool ChildProcess::Run::poll(int timeoutMs, Ready *ready) const
{
    std::array<pollfd, 3> entries = {{{process.get(), POLLIN, 0}, // skipped if there is none
                                      {stdOut.get(), POLLIN, 0},
                                      {stdErr.get(), POLLIN, 0}}};
    const int timeout = process.isOpen() ? timeoutMs : std::min(timeoutMs, lookAgainMs);
    if (::poll(entries.data(), entries.size(), timeout) < 0) {
        return errno == EINTR;
    }
    *ready = {entries[0].revents != 0, entries[1].revents != 0, entries[2].revents != 0};
    return true;
}

// Whether the program has ended; reaps it.
bool ChildProcess::Run::hasEnded(bool isSaidToHaveEnded)
{
    if (pid > 0 && (isSaidToHaveEnded || !process.isOpen())) {
        pid_t reaped = 0;
        do {
            reaped = ::waitpid(pid, nullptr, WNOHANG);
        } while (reaped < 0 && errno == EINTR);
        if (reaped != 0) {
            pid = -1;
        }
    }
    return pid < 0;
}

void ChildProcess::RunDeleter::operator()(Run *run) const
{
    delete run;
}

// Returns why the program could not be started.
QString ChildProcess::begin(const QString &program, const QStringList &arguments)
{
    std::vector<QByteArray> words = encodedWords(program, arguments);
    std::unique_ptr<Run, RunDeleter> run(new Run);
    if (const int error = run->start(words)) {
        return qt_error_string(error);
    }
    m_run = std::move(run);
    return {};
}

bool ChildProcess::poll(const QDeadlineTimer &deadline, Ready *ready)
{
    int timeout = remainingMs(deadline);
    if (m_unannounced > 0) {
        timeout = std::min(timeout, remainingMs(m_run->restOfWrite));
    }
    if (!m_run->poll(timeout, ready)) {
        m_errorString = qt_error_string(errno);
        return false;
    }
    return true;
}

bool ChildProcess::hasEnded(const Ready &ready)
{
    return m_run->hasEnded(ready.end);
}

void ChildProcess::kill()
{
    m_run->kill();
}

void ChildProcess::readWrites(const Ready &ready)
{
    if (ready.output) {
        for (int i = 0; i < writesInATurn && readWrite() > 0 && m_unannounced == 0; ++i) { }
    } else if (m_unannounced > 0 && m_run->restOfWrite.hasExpired()) {
        announce();
    }
}

// Reads one write of the program and announces it unless more of it may follow. Returns the number
// of bytes read.
qint64 ChildProcess::readWrite()
{
    std::array<char, readBytes> buffer; // NOLINT(cppcoreguidelines-pro-type-member-init): read into
    qint64 size = 0;
    const bool goesOn = m_unannounced > 0;
    while (m_run->stdOut.isOpen()) {
        const ssize_t count = readOnce(m_run->stdOut, buffer.data(), buffer.size());
        if (count < 0 && errno == EAGAIN) {
            const int packets = std::exchange(m_run->packetsInARow, 0);
            if (m_unannounced > 0 && (goesOn || mayHaveBeenFull(m_run->stdOut, packets))) {
                m_run->restOfWrite.setRemainingTime(restOfWriteMs);
                return size;
            }
            break;
        }
        if (count <= 0) {
            m_run->stdOut.close(); // nobody writes any more
            break;
        }
        ++m_run->packetsInARow;
        size += count;
        m_unannounced += static_cast<int>(count);
        keep(&m_output, buffer.data(), count);
        if (count != fullPacket() || m_unannounced >= largestWrite) {
            break;
        }
    }
    announce();
    return size;
}

qint64 ChildProcess::readErrors()
{
    std::array<char, readBytes> buffer; // NOLINT(cppcoreguidelines-pro-type-member-init): read into
    const ssize_t count =
        m_run->stdErr.isOpen() ? readOnce(m_run->stdErr, buffer.data(), buffer.size()) : 0;
    if (count > 0) {
        keep(&m_errors, buffer.data(), count);
    } else if (count == 0 || errno != EAGAIN) {
        m_run->stdErr.close();
    }
    return count;
}

// Reads what the program left in the pipes, and no more: a process that it started may hold them
// open and keep writing.
void ChildProcess::readRest()
{
    qint64 errors = bytesWaiting(m_run->stdErr);
    for (qint64 size = errors; errors > 0 && size > 0; errors -= size) {
        size = readErrors();
    }
    qint64 output = bytesWaiting(m_run->stdOut);
    for (qint64 size = output; output > 0 && size > 0; output -= size) {
        size = readWrite();
    }
    announce();
}

} // namespace tool
