#include "tool/childprocess.h"
#include "tool/windowscommandline.h"

#include <QDeadlineTimer>
#include <QRandomGenerator>

#include <algorithm>
#include <array>
#include <utility>
#include <vector>
#include <windows.h>

namespace tool {

namespace {

constexpr DWORD readBytes = 65536;
constexpr DWORD pipeBytes = 65536; // how far the program may be ahead of the reader
constexpr int largestWrite = 1048576; // a longer one is announced in parts
constexpr int writesInATurn = 64; // then the end and the deadline are checked again
constexpr DWORD killedWaitMs = 30000; // for a process that the system cannot kill at once

// Owns a system handle and closes it. Null means none.
class Handle
{
public:
    Handle() = default;

    explicit Handle(HANDLE handle)
        : m_handle(handle == INVALID_HANDLE_VALUE ? nullptr : handle)
    {
    }

    ~Handle()
    {
        close();
    }

    Handle(const Handle &) = delete;
    Handle &operator=(const Handle &) = delete;

    Handle(Handle &&other) noexcept
        : m_handle(std::exchange(other.m_handle, nullptr))
    {
    }

    Handle &operator=(Handle &&other) noexcept
    {
        close();
        m_handle = std::exchange(other.m_handle, nullptr);
        return *this;
    }

    [[nodiscard]] HANDLE get() const
    {
        return m_handle;
    }

    [[nodiscard]] bool isOpen() const
    {
        return m_handle != nullptr;
    }

    void close()
    {
        if (isOpen()) {
            (void)CloseHandle(std::exchange(m_handle, nullptr));
        }
    }

private:
    HANDLE m_handle = nullptr;
};

struct Pipe
{
    Handle ours;
    Handle theirs;
};

SECURITY_ATTRIBUTES inheritable()
{
    SECURITY_ATTRIBUTES attributes = {};
    attributes.nLength = sizeof attributes;
    attributes.bInheritHandle = TRUE;
    return attributes;
}

// Whether the pipe could be made; sets the system's error code if not. So does the next one.
bool makeInputPipe(Pipe *made)
{
    HANDLE readEnd = nullptr;
    HANDLE writeEnd = nullptr;
    if (CreatePipe(&readEnd, &writeEnd, nullptr, 0) == 0) {
        return false;
    }
    *made = Pipe{Handle(writeEnd), Handle(readEnd)};
    return SetHandleInformation(readEnd, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT) != 0;
}

// A pipe that can be read while the thread also waits for something else, which only a named pipe
// supports. `mode` says whether it preserves write boundaries.
bool makeOutputPipe(Pipe *made, DWORD mode)
{
    const QString name = QStringLiteral("\\\\.\\pipe\\vond-%1-%2")
                             .arg(GetCurrentProcessId())
                             .arg(QRandomGenerator::system()->generate64(), 0, 16);
    const auto *const native = reinterpret_cast<const wchar_t *>(name.utf16());
    Handle ours(
        CreateNamedPipeW(native,
                         PIPE_ACCESS_INBOUND | FILE_FLAG_OVERLAPPED | FILE_FLAG_FIRST_PIPE_INSTANCE,
                         mode | PIPE_WAIT | PIPE_REJECT_REMOTE_CLIENTS,
                         1,
                         0,
                         pipeBytes,
                         0,
                         nullptr));
    if (!ours.isOpen()) {
        return false;
    }
    SECURITY_ATTRIBUTES attributes = inheritable();
    Handle theirs(CreateFileW(native, GENERIC_WRITE, 0, &attributes, OPEN_EXISTING, 0, nullptr));
    if (!theirs.isOpen()) {
        return false;
    }
    *made = Pipe{std::move(ours), std::move(theirs)};
    return true;
}

// The only handles that a process inherits, of all that are inheritable at the moment: other
// threads start tools at the same time.
class InheritedHandles
{
public:
    explicit InheritedHandles(std::array<HANDLE, 3> handles)
        : m_handles(handles)
    {
        SIZE_T size = 0;
        (void)InitializeProcThreadAttributeList(nullptr, 1, 0, &size); // says the size
        m_memory.resize(size);
        m_isMade = InitializeProcThreadAttributeList(list(), 1, 0, &size) != 0
            && UpdateProcThreadAttribute(list(),
                                         0,
                                         PROC_THREAD_ATTRIBUTE_HANDLE_LIST,
                                         m_handles.data(),
                                         sizeof m_handles,
                                         nullptr,
                                         nullptr)
                != 0;
    }

    ~InheritedHandles()
    {
        if (m_isMade) {
            DeleteProcThreadAttributeList(list());
        }
    }

    InheritedHandles(const InheritedHandles &) = delete;
    InheritedHandles &operator=(const InheritedHandles &) = delete;
    InheritedHandles(InheritedHandles &&) = delete;
    InheritedHandles &operator=(InheritedHandles &&) = delete;

    [[nodiscard]] bool isMade() const
    {
        return m_isMade;
    }

    [[nodiscard]] LPPROC_THREAD_ATTRIBUTE_LIST list()
    {
        return reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(m_memory.data());
    }

private:
    std::array<HANDLE, 3> m_handles; // read when the process is created
    std::vector<char> m_memory;
    bool m_isMade = false;
};

// Our end of one of the program's output pipes. A read is always pending on it, until the end.
class Channel
{
public:
    enum class State
    {
        Waiting, // nothing has come
        Part, // of a write; the rest is there, too
        Whole,
        Ended // nobody writes any more
    };

    explicit Channel(Handle pipe)
        : m_pipe(std::move(pipe))
        , m_done(CreateEventW(nullptr, TRUE, FALSE, nullptr))
    {
        m_read.hEvent = m_done.get();
    }

    ~Channel()
    {
        close();
    }

    Channel(const Channel &) = delete;
    Channel &operator=(const Channel &) = delete;
    Channel(Channel &&) = delete;
    Channel &operator=(Channel &&) = delete;

    [[nodiscard]] bool isOpen() const
    {
        return m_pipe.isOpen();
    }

    // Signalled when the pending read has completed.
    [[nodiscard]] HANDLE done() const
    {
        return m_done.get();
    }

    void beginRead()
    {
        if (!isOpen()) {
            return;
        }
        m_isReading = true;
        if (ReadFile(m_pipe.get(), m_bytes.data(), readBytes, nullptr, &m_read) == 0) {
            const DWORD error = GetLastError();
            m_isReading = error == ERROR_IO_PENDING || error == ERROR_MORE_DATA;
            if (!m_isReading) {
                close();
            }
        }
    }

    // The result of the read, and the number of bytes. Then a new one must be started.
    State takeRead(DWORD *size, bool wait = false)
    {
        *size = 0;
        if (!m_isReading) {
            return State::Ended;
        }
        const bool isWhole = GetOverlappedResult(m_pipe.get(), &m_read, size, wait) != 0;
        const DWORD error = isWhole ? ERROR_SUCCESS : GetLastError();
        if (error == ERROR_IO_INCOMPLETE) {
            return State::Waiting;
        }
        m_isReading = false;
        if (!isWhole && error != ERROR_MORE_DATA) {
            close();
            return State::Ended;
        }
        return isWhole ? State::Whole : State::Part;
    }

    [[nodiscard]] const char *bytes() const
    {
        return m_bytes.data();
    }

    // What is in the pipe. It is empty while a read is pending.
    [[nodiscard]] DWORD bytesWaiting() const
    {
        DWORD waiting = 0;
        return isOpen() && PeekNamedPipe(m_pipe.get(), nullptr, 0, nullptr, &waiting, nullptr) != 0
            ? waiting
            : 0;
    }

    void close()
    {
        if (std::exchange(m_isReading, false)) {
            DWORD size = 0; // the system writes into the buffer until it says otherwise
            (void)CancelIoEx(m_pipe.get(), &m_read);
            (void)GetOverlappedResult(m_pipe.get(), &m_read, &size, TRUE);
        }
        m_pipe.close();
    }

private:
    Handle m_pipe;
    Handle m_done;
    OVERLAPPED m_read = {};
    bool m_isReading = false;
    std::array<char, readBytes>
        m_bytes; // NOLINT(cppcoreguidelines-pro-type-member-init): read into
};

DWORD remainingMs(const QDeadlineTimer &deadline)
{
    constexpr qint64 longest = INFINITE - 1;
    return deadline.isForever()
        ? INFINITE
        : static_cast<DWORD>(std::min<qint64>(deadline.remainingTime(), longest));
}

bool isSignalled(HANDLE handle)
{
    return WaitForSingleObject(handle, 0) == WAIT_OBJECT_0;
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
    DWORD start(const QString &commandLine);

    void kill() const
    {
        (void)TerminateProcess(process.get(), 1);
    }

    Handle process; // signalled at its end
    Handle stdIn;
    std::unique_ptr<Channel> stdOut; // both from the start
    std::unique_ptr<Channel> stdErr;
};

ChildProcess::Run::~Run()
{
    if (process.isOpen()) {
        kill();
        (void)WaitForSingleObject(process.get(), killedWaitMs);
    }
}

DWORD ChildProcess::Run::start(const QString &commandLine)
{
    Pipe in;
    Pipe out;
    Pipe err;
    if (!makeInputPipe(&in) || !makeOutputPipe(&out, PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE)
        || !makeOutputPipe(&err, PIPE_TYPE_BYTE | PIPE_READMODE_BYTE)) {
        return GetLastError();
    }
    InheritedHandles inherited({in.theirs.get(), out.theirs.get(), err.theirs.get()});
    if (!inherited.isMade()) {
        return GetLastError();
    }
    auto outChannel = std::make_unique<Channel>(std::move(out.ours));
    auto errChannel = std::make_unique<Channel>(std::move(err.ours));
    STARTUPINFOEXW info = {};
    info.StartupInfo.cb = sizeof info;
    info.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
    info.StartupInfo.hStdInput = in.theirs.get();
    info.StartupInfo.hStdOutput = out.theirs.get();
    info.StartupInfo.hStdError = err.theirs.get();
    info.lpAttributeList = inherited.list();
    QString line = commandLine; // the system writes into it
    PROCESS_INFORMATION made = {};
    // The program is searched for as in QProcess: by the first word of the command line.
    if (CreateProcessW(nullptr,
                       reinterpret_cast<wchar_t *>(line.data()),
                       nullptr,
                       nullptr,
                       TRUE,
                       CREATE_NO_WINDOW | EXTENDED_STARTUPINFO_PRESENT,
                       nullptr,
                       nullptr,
                       &info.StartupInfo,
                       &made)
        == 0) {
        return GetLastError();
    }
    const Handle thread(made.hThread);
    process = Handle(made.hProcess);
    stdIn = std::move(in.ours);
    stdOut = std::move(outChannel);
    stdErr = std::move(errChannel);
    return ERROR_SUCCESS;
    // These ends are closed here, so that the pipes end with the program.
}

void ChildProcess::RunDeleter::operator()(Run *run) const
{
    delete run;
}

// Returns why the program could not be started.
QString ChildProcess::begin(const QString &program, const QStringList &arguments)
{
    if (isBatchFile(program)) {
        return QStringLiteral("A batch file is not started");
    }
    std::unique_ptr<Run, RunDeleter> run(new Run);
    if (const DWORD error = run->start(windowsCommandLine(program, arguments))) {
        return qt_error_string(static_cast<int>(error));
    }
    m_run = std::move(run);
    m_run->stdOut->beginRead();
    m_run->stdErr->beginRead();
    return {};
}

bool ChildProcess::poll(const QDeadlineTimer &deadline, Ready *ready)
{
    std::array<HANDLE, 3> handles = {m_run->process.get()};
    DWORD count = 1;
    for (const Channel *const channel : {m_run->stdOut.get(), m_run->stdErr.get()}) {
        if (channel->isOpen()) {
            handles.at(count++) = channel->done();
        }
    }
    if (WaitForMultipleObjects(count, handles.data(), FALSE, remainingMs(deadline))
        == WAIT_FAILED) {
        m_errorString = qt_error_string(static_cast<int>(GetLastError()));
        return false;
    }
    *ready = {isSignalled(m_run->process.get()),
              m_run->stdOut->isOpen() && isSignalled(m_run->stdOut->done()),
              m_run->stdErr->isOpen() && isSignalled(m_run->stdErr->done())};
    return true;
}

bool ChildProcess::hasEnded(const Ready &ready)
{
    return ready.end;
}

void ChildProcess::kill()
{
    m_run->kill();
}

void ChildProcess::readWrites(const Ready &ready)
{
    for (int i = 0; ready.output && i < writesInATurn && readWrite() > 0; ++i) { }
}

// Reads one write of the program and announces it. Returns the number of bytes read; empty writes
// are skipped.
qint64 ChildProcess::readWrite()
{
    Channel *const channel = m_run->stdOut.get();
    qint64 size = 0;
    for (bool goesOn = true; goesOn;) {
        DWORD count = 0;
        const Channel::State state = channel->takeRead(&count, size > 0);
        if (state == Channel::State::Waiting) {
            return size;
        }
        size += count;
        m_unannounced += static_cast<int>(count);
        keep(&m_output, channel->bytes(), count);
        channel->beginRead();
        goesOn = state != Channel::State::Ended && m_unannounced < largestWrite
            && (state == Channel::State::Part || size == 0);
    }
    announce();
    return size;
}

qint64 ChildProcess::readErrors()
{
    DWORD count = 0;
    if (m_run->stdErr->takeRead(&count) == Channel::State::Waiting) {
        return 0;
    }
    keep(&m_errors, m_run->stdErr->bytes(), count);
    m_run->stdErr->beginRead();
    return count;
}

// What the program left in pending reads and in the pipes, and no more: a process that it started
// may hold them open and keep writing.
void ChildProcess::readRest()
{
    qint64 errors = m_run->stdErr->bytesWaiting();
    for (qint64 size = readErrors(); errors > 0 && size > 0; errors -= size) {
        size = readErrors();
    }
    qint64 output = m_run->stdOut->bytesWaiting();
    for (qint64 size = readWrite(); output > 0 && size > 0; output -= size) {
        size = readWrite();
    }
    announce();
}

} // namespace tool
