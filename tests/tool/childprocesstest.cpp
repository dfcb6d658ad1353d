#include "tool/childprocess.h"

#include "base/filedescriptor.h"
#include "tests/support/faketool.h"
#include "tests/support/outputcatcher.h"
#include "tests/support/ownfolders.h"
#include "tests/support/testmain.h"

#include <QProcess>
#include <QtTest>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <dirent.h>
#include <exception>
#include <fcntl.h>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <memory>
#include <new>
#include <numeric>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>
#include <vector>

namespace {

using tool::ChildProcess;

constexpr int forEver = -1;
constexpr int shortMs = 300;

// Everything that can be observed of one run.
struct Run
{
    bool hasStarted = false;
    bool hasEnded = false;
    bool isRunningAfterwards = false;
    QByteArray output;
    QByteArray errors;
    QString errorString;
    bool wasAnnounced = false;

    bool operator==(const Run &other) const
    {
        return hasStarted == other.hasStarted && hasEnded == other.hasEnded
            && isRunningAfterwards == other.isRunningAfterwards && output == other.output
            && errors == other.errors && errorString == other.errorString
            && wasAnnounced == other.wasAnnounced;
    }
};

char *toString(const Run &run)
{
    return qstrdup(QStringLiteral("started %1, ended %2, running %3, announced %4, %5 and %6 bytes "
                                  "that begin with %7, error %8")
                       .arg(run.hasStarted)
                       .arg(run.hasEnded)
                       .arg(run.isRunningAfterwards)
                       .arg(run.wasAnnounced)
                       .arg(run.output.size())
                       .arg(run.errors.size())
                       .arg(QString::fromLatin1(run.output.left(100)), run.errorString)
                       .toUtf8()
                       .constData());
}

template <typename Process>
Run runWith(const QString &program, const QStringList &arguments, int msecs = forEver)
{
    Run run;
    Process process;
    QByteArray read;
    QObject::connect(&process, &Process::readyReadStandardOutput, &process, [&] {
        run.wasAnnounced = true;
        read += process.readAllStandardOutput();
    });
    process.start(program, arguments);
    run.hasStarted = process.state() != QProcess::NotRunning;
    run.hasEnded = process.waitForFinished(msecs);
    run.isRunningAfterwards = process.state() == QProcess::Running;
    run.output = read + process.readAllStandardOutput();
    run.errors = process.readAllStandardError();
    if (!run.hasEnded) {
        run.errorString = process.errorString();
        run.errorString.remove(QLatin1String("execvp: ")); // by which call, says QProcess
    }
    return run;
}

// The announced chunks, in order.
std::vector<QByteArray> chunksOf(ChildProcess &process)
{
    std::vector<QByteArray> chunks;
    QObject::connect(&process, &ChildProcess::readyReadStandardOutput, &process, [&] {
        chunks.push_back(process.readAllStandardOutput());
    });
    if (!process.waitForFinished(forEver)) {
        qFatal("the fake tool did not run to completion");
    }
    return chunks;
}

std::vector<qint64> sizes(const std::vector<QByteArray> &chunks)
{
    std::vector<qint64> found;
    found.reserve(chunks.size());
    for (const QByteArray &chunk : chunks) {
        found.push_back(chunk.size());
    }
    return found;
}

// A reader that is as late as possible: everything is written, and the writer has ended.
void waitForTheEndOfAnyChild()
{
    siginfo_t info = {};
    while (::waitid(P_ALL, 0, &info, WEXITED | WNOWAIT) != 0 && errno == EINTR) { }
}

int openDescriptors()
{
    int count = 0;
    DIR *const folder = ::opendir("/proc/self/fd");
    while (::readdir(folder) != nullptr) {
        ++count;
    }
    ::closedir(folder);
    return count;
}

bool hasChildren()
{
    return ::waitid(P_ALL, 0, nullptr, WEXITED | WNOHANG | WNOWAIT) == 0 || errno != ECHILD;
}

// From now on, this system call fails for this thread and the programs that it starts; if a flag is
// given, only if the second argument has it.
void refuse(std::initializer_list<long> calls, int error, unsigned withFlag = 0)
{
    std::vector<sock_filter> filter;
    const auto load = [&filter](std::size_t offset) {
        filter.push_back(BPF_STMT(BPF_LD | BPF_W | BPF_ABS, static_cast<unsigned>(offset)));
    };
    for (const long call : calls) {
        load(offsetof(seccomp_data, nr));
        filter.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K,
                                  static_cast<unsigned>(call),
                                  0,
                                  static_cast<__u8>(withFlag != 0 ? 3 : 1)));
        if (withFlag != 0) {
            load(offsetof(seccomp_data, args) + sizeof(__u64));
            filter.push_back(BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, withFlag, 0, 1));
        }
        filter.push_back(
            BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | static_cast<unsigned>(error)));
    }
    filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
    const sock_fprog program = {static_cast<unsigned short>(filter.size()), filter.data()};
    if (::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0
        || ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0) {
        qFatal("the sandbox cannot be made");
    }
}

// Runs the function in a separate thread, with which the sandbox ends.
template <typename Function>
void inAThread(Function function)
{
    std::thread(function).join();
}

// Runs the function simultaneously in this many threads, each with a number.
template <typename Function>
void inThreads(std::size_t count, Function function)
{
    std::vector<std::thread> threads;
    threads.reserve(count);
    for (std::size_t number = 0; number < count; ++number) {
        threads.emplace_back(function, number);
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
}

class DescriptorLimit
{
public:
    explicit DescriptorLimit(int freeNumbers)
    {
        std::vector<base::FileDescriptor> open;
        for (int i = 0; i <= freeNumbers; ++i) {
            open.emplace_back(::dup(STDERR_FILENO));
        }
        ::getrlimit(RLIMIT_NOFILE, &m_before);
        const rlimit limit = {static_cast<rlim_t>(open.back().get()), m_before.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &limit);
    }

    ~DescriptorLimit()
    {
        ::setrlimit(RLIMIT_NOFILE, &m_before);
    }

    DescriptorLimit(const DescriptorLimit &) = delete;
    DescriptorLimit &operator=(const DescriptorLimit &) = delete;
    DescriptorLimit(DescriptorLimit &&) = delete;
    DescriptorLimit &operator=(DescriptorLimit &&) = delete;

private:
    rlimit m_before = {};
};

class SignalDisposition
{
public:
    SignalDisposition(int signal, void (*disposition)(int))
        : m_signal(signal)
        , m_before(::signal(signal, disposition))
    {
    }

    ~SignalDisposition()
    {
        ::signal(m_signal, m_before);
    }

    SignalDisposition(const SignalDisposition &) = delete;
    SignalDisposition &operator=(const SignalDisposition &) = delete;
    SignalDisposition(SignalDisposition &&) = delete;
    SignalDisposition &operator=(SignalDisposition &&) = delete;

private:
    int m_signal;
    void (*m_before)(int);
};

} // namespace

class ChildProcessTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup() const;

    void aRunLooksAsWithQProcess_data();
    void aRunLooksAsWithQProcess();
    void aProgramThatCannotBeStartedLooksAsWithQProcess_data();
    void aProgramThatCannotBeStartedLooksAsWithQProcess();
    void aNameWithoutSlashIsSearchedInPath();
    void withoutAProgramTheWaitFailsAtOnce();
    void theNextStartForgetsTheRunBefore();

    void eachWriteIsAChunkHoweverLateItIsRead();
    void aLongWriteIsOneChunk_data();
    void aLongWriteIsOneChunk();
    void aWriteOfAWholePageMayComeWithTheNext();
    void writesBySixteenAtOnceAreNeverMistaken();
    void aMillionWritesOfAByteAllArrive();
    void withoutPacketPipesAPlainOneServes();

    void theProgramHasItsStandardStreamsAndNoOtherDescriptor();
    void theProgramHasDefaultSignals();
    void standardInputIsOpenAndSilent();

    void theEndCountsAndNotTheEndOfThePipes();
    void aProcessLeftBehindThatWritesOnDoesNotHoldTheWait();
    void withoutProcessDescriptorsTheEndIsFoundToo();
    void anEndThatTheSystemHasReapedIsAnEnd();
    void whenTheTimeIsUpTheProgramRunsOnUntilTheObjectGoes();
    void aFloodEndsWhenTheTimeIsUp();
    void endlessOutputKillsTheProgram_data();
    void endlessOutputKillsTheProgram();
    void whatIsTakenDoesNotCountAsKept();
    void anExceptionFromASlotLeavesNothingBehind() const;
    void aProcessThatCannotBeCreatedIsAFailedStart();
    void tooFewDescriptorsAreAFailedStart() const;

private:
    int m_descriptors = 0;
};

void ChildProcessTest::initTestCase()
{
    useOwnSettings();
}

void ChildProcessTest::init()
{
    m_descriptors = openDescriptors();
}

void ChildProcessTest::cleanup() const
{
    QCOMPARE(openDescriptors(), m_descriptors);
    QVERIFY(!hasChildren());
}

void ChildProcessTest::aRunLooksAsWithQProcess_data()
{
    QTest::addColumn<QStringList>("arguments");
    const QStringList output{QStringLiteral("-o"), QStringLiteral("/nowhere/a.tif")};

    QTest::newRow("progress, then a file") << output;
    QTest::newRow("progress at the end") << output;
    QTest::newRow("an output file") << output;
    QTest::newRow("a file and no words") << output;
    QTest::newRow("error on standard error") << QStringList();
    QTest::newRow("error about the last argument") << QStringList(QStringLiteral("a.tif"));
    QTest::newRow("two lines in one chunk") << QStringList();
    QTest::newRow("print its arguments")
        << QStringList{QStringLiteral("two words"), QString(), QStringLiteral("\u00e4\u20ac")};
    QTest::newRow("text and status three") << QStringList();
    QTest::newRow("print nothing") << QStringList();
    QTest::newRow("bytes that are no UTF-8") << QStringList();
    QTest::newRow("bytes with a zero") << QStringList();
    QTest::newRow("much on both channels") << QStringList();
    QTest::newRow("die by a signal") << QStringList();
    QTest::newRow("writes of these sizes")
        << QStringList{QStringLiteral("70000"), QStringLiteral("~1000"), QStringLiteral("4096")};
    QTest::newRow("its standard input") << QStringList();
    QTest::newRow("its name and folder") << QStringList();
    QTest::newRow("close its output and go on") << QStringList();
    QTest::newRow("no such behaviour") << QStringList();
}

void ChildProcessTest::aRunLooksAsWithQProcess()
{
    QFETCH(const QStringList, arguments);
    faketool::behave(QTest::currentDataTag());
    const Run theirs = runWith<QProcess>(faketool::path(), arguments);
    faketool::behave(QTest::currentDataTag());
    const Run ours = runWith<ChildProcess>(faketool::path(), arguments);
    QVERIFY(theirs.hasStarted && theirs.hasEnded);
    QCOMPARE(ours, theirs);
}

void ChildProcessTest::aProgramThatCannotBeStartedLooksAsWithQProcess_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<int>("rights");

    QTest::newRow("is not there") << QByteArray() << -1;
    QTest::newRow("is not executable") << QByteArray("#!/bin/sh\n") << 0600;
    QTest::newRow("has no interpreter") << QByteArray("echo hello\n") << 0700;
    QTest::newRow("has an interpreter that is not there")
        << QByteArray("#!/no/such/interpreter\n") << 0700;
    QTest::newRow("is empty") << QByteArray() << 0700;
    QTest::newRow("is a folder") << QByteArray() << -2;
}

void ChildProcessTest::aProgramThatCannotBeStartedLooksAsWithQProcess()
{
    QFETCH(const QByteArray, content);
    QFETCH(const int, rights);
    const OwnWorkFolder folder;
    QString program = folder.filePath(QStringLiteral("program"));
    if (rights >= 0) {
        makeFile(program, content);
        QCOMPARE(::chmod(QFile::encodeName(program).constData(), static_cast<mode_t>(rights)), 0);
    } else if (rights == -2) {
        program = folder.path();
    }
    const Run theirs = runWith<QProcess>(program, {});
    Run ours = runWith<ChildProcess>(program, {});
    QVERIFY(!ours.hasStarted); // QProcess notices when it waits
    QVERIFY(!ours.errorString.isEmpty());
    ours.hasStarted = theirs.hasStarted;
    QCOMPARE(ours, theirs);
}

void ChildProcessTest::aNameWithoutSlashIsSearchedInPath()
{
    const QStringList arguments{QStringLiteral("hello")};
    const Run ours = runWith<ChildProcess>(QStringLiteral("echo"), arguments);
    QCOMPARE(ours, runWith<QProcess>(QStringLiteral("echo"), arguments));
    QCOMPARE(ours.output, QByteArray("hello\n"));

    const QString unknown = QStringLiteral("no-such-program-anywhere");
    Run theirs = runWith<QProcess>(unknown, {});
    theirs.hasStarted = false;
    QCOMPARE(runWith<ChildProcess>(unknown, {}), theirs);
}

void ChildProcessTest::withoutAProgramTheWaitFailsAtOnce()
{
    ChildProcess process;
    QVERIFY(!process.waitForFinished(forEver));
    QCOMPARE(process.state(), QProcess::NotRunning);
}

void ChildProcessTest::theNextStartForgetsTheRunBefore()
{
    faketool::behave("text and status three");
    ChildProcess process;
    process.start(QStringLiteral("/no/such/program"), {});
    QVERIFY(!process.errorString().isEmpty());
    process.start(faketool::path(), {});
    QCOMPARE(process.errorString(), QString());
    QVERIFY(process.waitForFinished(forEver));
    process.start(faketool::path(), {});
    QVERIFY(process.waitForFinished(forEver));
    QCOMPARE(process.readAllStandardOutput(), QByteArray("fake tool 1.0 \xe2\x82\xac\n"));
    QCOMPARE(process.readAllStandardError(), QByteArray("a warning\n"));
}

void ChildProcessTest::eachWriteIsAChunkHoweverLateItIsRead()
{
    faketool::behave("writes of these sizes");
    ChildProcess process;
    const QStringList arguments{QStringLiteral("15"),
                                QStringLiteral("30"),
                                QStringLiteral("1"),
                                QStringLiteral("4095"),
                                QStringLiteral("2")};
    process.start(faketool::path(), arguments);
    waitForTheEndOfAnyChild();
    const std::vector<QByteArray> expected{
        QByteArray(15, 'a'), QByteArray(30, 'b'), "c", QByteArray(4095, 'd'), "ee"};
    QCOMPARE(chunksOf(process), expected);
}

void ChildProcessTest::aLongWriteIsOneChunk_data()
{
    QTest::addColumn<QStringList>("writes");
    QTest::addColumn<bool>("isReadAtTheEnd");
    const QString few = QStringLiteral("7");

    for (const char *const size : {"1", "4095", "4096", "4097", "8192", "10000", "61441"}) {
        // A write of whole pages looks like one that continues, so a pause follows.
        const QStringList writes{few, QLatin1String(size), QStringLiteral("~100000"), few};
        QTest::addRow("%s bytes", size) << writes << false;
    }
    for (const char *const size : {"1", "4095", "4097", "10000"}) {
        QTest::addRow("%s bytes, read at the end", size)
            << QStringList{few, QLatin1String(size), few} << true;
    }
    for (const char *const size : {"70000", "65536", "500000"}) {
        const QStringList writes{few, QLatin1String(size), QStringLiteral("~100000"), few};
        QTest::addRow("%s bytes, more than the pipe holds", size) << writes << false;
    }
}

void ChildProcessTest::aLongWriteIsOneChunk()
{
    QFETCH(const QStringList, writes);
    QFETCH(const bool, isReadAtTheEnd);
    faketool::behave("writes of these sizes");
    // On a busy machine the reader may sleep through the pause, and the writer of more than the
    // pipe holds may be away for longer than the reader waits for the rest. What is read at the end
    // depends on neither.
    int tries = isReadAtTheEnd ? 1 : 10;
    const std::vector<qint64> expected{7, writes.at(1).toLongLong(), 7};
    std::vector<qint64> found;
    while (found != expected && tries-- > 0) {
        ChildProcess process;
        process.start(faketool::path(), writes);
        if (isReadAtTheEnd) {
            waitForTheEndOfAnyChild();
        }
        found = sizes(chunksOf(process));
        QCOMPARE(std::accumulate(found.cbegin(), found.cend(), qint64(0)),
                 std::accumulate(expected.cbegin(), expected.cend(), qint64(0)));
    }
    QCOMPARE(found, expected);
}

void ChildProcessTest::aWriteOfAWholePageMayComeWithTheNext()
{
    faketool::behave("writes of these sizes");
    ChildProcess process;
    process.start(faketool::path(), {QStringLiteral("4096"), QStringLiteral("5")});
    waitForTheEndOfAnyChild();
    QCOMPARE(chunksOf(process), std::vector<QByteArray>{QByteArray(4096, 'a') + "bbbbb"});
}

void ChildProcessTest::writesBySixteenAtOnceAreNeverMistaken()
{
    constexpr std::size_t clients = 16;
    faketool::behave("writes of these sizes");
    for (const char *const pause : {"~0", "~50", "~200", "~1000", "~5000"}) {
        std::array<bool, clients> isRight = {};
        inThreads(clients, [&isRight, pause](std::size_t client) {
            bool &right = isRight.at(client);
            right = true;
            for (int i = 0; i < 5; ++i) {
                ChildProcess process;
                process.start(faketool::path(),
                              {QStringLiteral("14"), QLatin1String(pause), QStringLiteral("20")});
                right = right && sizes(chunksOf(process)) == std::vector<qint64>{14, 20};
            }
        });
        QVERIFY2(std::all_of(isRight.cbegin(), isRight.cend(), [](bool right) { return right; }),
                 pause);
    }
}

void ChildProcessTest::aMillionWritesOfAByteAllArrive()
{
    faketool::behave("a million bytes one by one");
    ChildProcess process;
    process.start(faketool::path(), {});
    QVERIFY(process.waitForFinished(forEver));
    QCOMPARE(process.readAllStandardOutput(), QByteArray(1000000, 'x'));
}

void ChildProcessTest::withoutPacketPipesAPlainOneServes()
{
    faketool::behave("writes of these sizes");
    inAThread([] {
        refuse({SYS_pipe2}, EINVAL, O_DIRECT);
        ChildProcess process;
        process.start(faketool::path(), {QStringLiteral("3"), QStringLiteral("2")});
        waitForTheEndOfAnyChild();
        QCOMPARE(chunksOf(process), std::vector<QByteArray>{"aaabb"});
    });
}

void ChildProcessTest::theProgramHasItsStandardStreamsAndNoOtherDescriptor()
{
    constexpr std::size_t clients = 50;
    faketool::behave("its descriptors");
    const base::FileDescriptor inheritable(::dup(STDERR_FILENO)); // as a careless library opens it
    std::array<QByteArray, clients> lists;
    inThreads(clients, [&lists](std::size_t client) {
        lists.at(client) = runWith<ChildProcess>(faketool::path(), {}).output;
    });
    for (const QByteArray &list : lists) {
        QCOMPARE(list, QByteArray("0 1 2 "));
    }
}

void ChildProcessTest::theProgramHasDefaultSignals()
{
    faketool::behave("its signals");
    const SignalDisposition pipe(SIGPIPE, SIG_IGN);
    const SignalDisposition fileSize(SIGXFSZ, SIG_IGN);
    const SignalDisposition hangUp(SIGHUP, SIG_IGN);
    sigset_t before;
    sigset_t all;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &before);
    const Run run = runWith<ChildProcess>(faketool::path(), {});
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    QCOMPARE(run.output, QByteArray("SigBlk:\t0000000000000000\nSigIgn:\t0000000000000000\n"));
}

void ChildProcessTest::standardInputIsOpenAndSilent()
{
    faketool::behave("its standard input");
    QCOMPARE(runWith<ChildProcess>(faketool::path(), {}).output, QByteArray("open and silent\n"));
}

void ChildProcessTest::theEndCountsAndNotTheEndOfThePipes()
{
    faketool::behave("leave a process behind");
    const Run run = runWith<ChildProcess>(faketool::path(), {});
    QVERIFY(faketool::isAlive(faketool::processId()));
    ::kill(static_cast<pid_t>(faketool::processId()), SIGKILL);
    QVERIFY(run.hasEnded);
    QCOMPARE(run.output, QByteArray("the tool's last word\n"));
}

void ChildProcessTest::aProcessLeftBehindThatWritesOnDoesNotHoldTheWait()
{
    faketool::behave("leave a process behind");
    const Run run = runWith<ChildProcess>(faketool::path(), {QStringLiteral("writing")});
    ::kill(static_cast<pid_t>(faketool::processId()), SIGKILL);
    QVERIFY(run.hasEnded);
    QVERIFY(run.output.startsWith("the tool's last word\n"));
}

void ChildProcessTest::withoutProcessDescriptorsTheEndIsFoundToo()
{
    inAThread([] {
        refuse({SYS_pidfd_open}, ENOSYS);
        faketool::behave("much on both channels");
        const Run run = runWith<ChildProcess>(faketool::path(), {});
        QVERIFY(run.hasEnded);
        QCOMPARE(run.output.size(), 1024 * 1024);
        QCOMPARE(run.errors.size(), 1024 * 1024);
        faketool::behave("close its output and go on");
        QVERIFY(runWith<ChildProcess>(faketool::path(), {}).hasEnded);
        faketool::behave("hang after a word");
        const Run hanging = runWith<ChildProcess>(faketool::path(), {}, shortMs);
        QVERIFY(!hanging.hasEnded);
        QCOMPARE(hanging.output, QByteArray("partial\n"));
        QVERIFY(!faketool::isAlive(faketool::processId()));
    });
}

void ChildProcessTest::anEndThatTheSystemHasReapedIsAnEnd()
{
    faketool::behave("text and status three");
    const SignalDisposition ignored(SIGCHLD, SIG_IGN);
    const Run run = runWith<ChildProcess>(faketool::path(), {});
    QVERIFY(run.hasEnded);
    QCOMPARE(run.output, QByteArray("fake tool 1.0 \xe2\x82\xac\n"));
}

void ChildProcessTest::whenTheTimeIsUpTheProgramRunsOnUntilTheObjectGoes()
{
    faketool::behave("hang after a word");
    {
        ChildProcess process;
        process.start(faketool::path(), {});
        QVERIFY(!process.waitForFinished(shortMs));
        QCOMPARE(process.state(), QProcess::Running);
        QCOMPARE(process.errorString(), QStringLiteral("Process operation timed out"));
        QCOMPARE(process.readAllStandardOutput(), QByteArray("partial\n"));
        QVERIFY(faketool::isAlive(faketool::processId()));
        QVERIFY(!process.waitForFinished(0));
    }
    QVERIFY(!faketool::isAlive(faketool::processId()));
}

void ChildProcessTest::aFloodEndsWhenTheTimeIsUp()
{
    faketool::behave("print without end");
    ChildProcess process;
    QObject::connect(&process, &ChildProcess::readyReadStandardOutput, &process, [&process] {
        static_cast<void>(process.readAllStandardOutput());
    });
    process.start(faketool::path(), {});
    QVERIFY(!process.waitForFinished(shortMs));
}

void ChildProcessTest::endlessOutputKillsTheProgram_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("standard output") << QStringList();
    QTest::newRow("standard error") << QStringList(QStringLiteral("on standard error"));
}

void ChildProcessTest::endlessOutputKillsTheProgram()
{
    QFETCH(const QStringList, arguments);
    faketool::behave("print without end");
    OutputCatcher operatorLines(OutputCatcher::Channel::Error);
    ChildProcess process;
    process.start(faketool::path(), arguments);
    QVERIFY(process.waitForFinished(forEver));
    QCOMPARE(operatorLines.take(),
             QByteArray("error: the tool printed more than 67108864 bytes, it is killed\n"));
    QVERIFY(!faketool::isAlive(faketool::processId()));
    const QByteArray kept =
        arguments.isEmpty() ? process.readAllStandardOutput() : process.readAllStandardError();
    QVERIFY(kept.size() > ChildProcess::largestOutput);
    QVERIFY(kept.size() < ChildProcess::largestOutput + 1024 * 1024);
}

void ChildProcessTest::whatIsTakenDoesNotCountAsKept()
{
    faketool::behave("writes of these sizes");
    ChildProcess process;
    qint64 taken = 0;
    QObject::connect(&process, &ChildProcess::readyReadStandardOutput, &process, [&] {
        taken += process.readAllStandardOutput().size();
    });
    const QString size = QString::number(ChildProcess::largestOutput / 2);
    process.start(faketool::path(), {size, size, size});
    QVERIFY(process.waitForFinished(forEver));
    QCOMPARE(taken, qint64(ChildProcess::largestOutput) / 2 * 3);
}

void ChildProcessTest::anExceptionFromASlotLeavesNothingBehind() const
{
    faketool::behave("hang after a word");
    ChildProcess process;
    QObject::connect(
        &process, &ChildProcess::readyReadStandardOutput, &process, [] { throw std::bad_alloc(); });
    process.start(faketool::path(), {});
    QVERIFY_EXCEPTION_THROWN(static_cast<void>(process.waitForFinished(forEver)), std::bad_alloc);
    QCOMPARE(process.state(), QProcess::NotRunning);
    QVERIFY(!faketool::isAlive(faketool::processId()));
    QCOMPARE(openDescriptors(), m_descriptors);
    QVERIFY(!hasChildren());
}

void ChildProcessTest::aProcessThatCannotBeCreatedIsAFailedStart()
{
    inAThread([this] {
        refuse({SYS_clone, SYS_clone3}, EAGAIN);
#ifdef SYS_vfork // newer architectures have neither
        refuse({SYS_fork, SYS_vfork}, EAGAIN);
#endif
        ChildProcess process;
        process.start(faketool::path(), {});
        QCOMPARE(process.state(), QProcess::NotRunning);
        QCOMPARE(process.errorString(), qt_error_string(EAGAIN));
        QVERIFY(!process.waitForFinished(forEver));
        QCOMPARE(openDescriptors(), m_descriptors);
    });
}

void ChildProcessTest::tooFewDescriptorsAreAFailedStart() const
{
    faketool::behave("print nothing");
    for (int room = 0; room < tool::descriptorsOfAStart; ++room) {
        ChildProcess process;
        {
            const DescriptorLimit lowered(room);
            process.start(faketool::path(), {});
        }
        QCOMPARE(process.state(), QProcess::NotRunning);
        QCOMPARE(process.errorString(), qt_error_string(EMFILE));
        QCOMPARE(openDescriptors(), m_descriptors);
    }
    ChildProcess process;
    {
        const DescriptorLimit lowered(tool::descriptorsOfAStart);
        process.start(faketool::path(), {});
    }
    QCOMPARE(openDescriptors(), m_descriptors + tool::descriptorsOfARun);
    QVERIFY(process.waitForFinished(forEver));
}

VOND_TEST(ChildProcessTest);
#include "childprocesstest.moc"
