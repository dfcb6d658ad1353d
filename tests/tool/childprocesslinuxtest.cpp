#include "base/filedescriptor.h"
#include "tests/support/childrun.h"
#include "tests/support/faketool.h"
#include "tests/support/inthreads.h"
#include "tests/support/openresources.h"
#include "tests/support/ownfolders.h"
#include "tests/support/resourcelimit.h"
#include "tests/support/testmain.h"
#include "tool/childprocess.h"

#include <QProcess>
#include <QTest>

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
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>
#include <vector>

namespace {

using tool::ChildProcess;
using namespace childrun;

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

// The limit under which exactly so many descriptors are free.
rlim_t limitThatLeaves(int freeNumbers)
{
    std::vector<base::FileDescriptor> open;
    for (int i = 0; i <= freeNumbers; ++i) {
        open.emplace_back(::dup(STDERR_FILENO));
    }
    return static_cast<rlim_t>(open.back().get());
}

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

class ChildProcessLinuxTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup() const;

    void aProgramThatCannotBeStartedLooksAsWithQProcess_data();
    void aProgramThatCannotBeStartedLooksAsWithQProcess();
    void aNameWithoutSlashIsSearchedInPath();
    void aLongWriteIsOneChunk_data();
    void aLongWriteIsOneChunk();
    void aWriteOfAWholePageMayComeWithTheNext();
    void aMillionWritesOfAByteAllArrive();
    void withoutPacketPipesAPlainOneServes();
    void theProgramHasItsStandardStreamsAndNoOtherDescriptor();
    void theProgramHasDefaultSignals();
    void theEndCountsAndNotTheEndOfThePipes();
    void aProcessLeftBehindThatWritesOnDoesNotHoldTheWait();
    void withoutProcessDescriptorsTheEndIsFoundToo();
    void anEndThatTheSystemHasReapedIsAnEnd();
    void aProcessThatCannotBeCreatedIsAFailedStart();
    void tooFewDescriptorsAreAFailedStart() const;

private:
    int m_descriptors = 0;
};

void ChildProcessLinuxTest::initTestCase()
{
    useOwnSettings();
}

void ChildProcessLinuxTest::init()
{
    m_descriptors = openDescriptors();
}

void ChildProcessLinuxTest::cleanup() const
{
    QCOMPARE(openDescriptors(), m_descriptors);
    QVERIFY(!hasChildren());
}

void ChildProcessLinuxTest::aProgramThatCannotBeStartedLooksAsWithQProcess_data()
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

void ChildProcessLinuxTest::aProgramThatCannotBeStartedLooksAsWithQProcess()
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

void ChildProcessLinuxTest::aNameWithoutSlashIsSearchedInPath()
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

void ChildProcessLinuxTest::aLongWriteIsOneChunk_data()
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

void ChildProcessLinuxTest::aLongWriteIsOneChunk()
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
            faketool::waitForTheEnd();
        }
        found = sizes(chunksOf(process));
        QCOMPARE(std::accumulate(found.cbegin(), found.cend(), qint64(0)),
                 std::accumulate(expected.cbegin(), expected.cend(), qint64(0)));
    }
    QCOMPARE(found, expected);
}

void ChildProcessLinuxTest::aWriteOfAWholePageMayComeWithTheNext()
{
    faketool::behave("writes of these sizes");
    ChildProcess process;
    process.start(faketool::path(), {QStringLiteral("4096"), QStringLiteral("5")});
    faketool::waitForTheEnd();
    QCOMPARE(chunksOf(process), std::vector<QByteArray>{QByteArray(4096, 'a') + "bbbbb"});
}

void ChildProcessLinuxTest::aMillionWritesOfAByteAllArrive()
{
    faketool::behave("a million bytes one by one");
    ChildProcess process;
    process.start(faketool::path(), {});
    QVERIFY(process.waitForFinished(forEver));
    QCOMPARE(process.readAllStandardOutput(), QByteArray(1000000, 'x'));
}

void ChildProcessLinuxTest::withoutPacketPipesAPlainOneServes()
{
    faketool::behave("writes of these sizes");
    inAThread([] {
        refuse({SYS_pipe2}, EINVAL, O_DIRECT);
        ChildProcess process;
        process.start(faketool::path(), {QStringLiteral("3"), QStringLiteral("2")});
        faketool::waitForTheEnd();
        QCOMPARE(chunksOf(process), std::vector<QByteArray>{"aaabb"});
    });
}

void ChildProcessLinuxTest::theProgramHasItsStandardStreamsAndNoOtherDescriptor()
{
    constexpr int clients = 50;
    faketool::behave("its descriptors");
    const base::FileDescriptor inheritable(::dup(STDERR_FILENO)); // as a careless library opens it
    std::array<QByteArray, clients> lists;
    inThreads(clients, [&lists](int client) {
        lists.at(static_cast<std::size_t>(client)) =
            runWith<ChildProcess>(faketool::path(), {}).output;
    });
    for (const QByteArray &list : lists) {
        QCOMPARE(list, QByteArray("0 1 2 "));
    }
}

void ChildProcessLinuxTest::theProgramHasDefaultSignals()
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

void ChildProcessLinuxTest::theEndCountsAndNotTheEndOfThePipes()
{
    faketool::behave("leave a process behind");
    const Run run = runWith<ChildProcess>(faketool::path(), {});
    QVERIFY(faketool::isAlive(faketool::processId()));
    ::kill(static_cast<pid_t>(faketool::processId()), SIGKILL);
    QVERIFY(run.hasEnded);
    QCOMPARE(run.output, QByteArray("the tool's last word\n"));
}

void ChildProcessLinuxTest::aProcessLeftBehindThatWritesOnDoesNotHoldTheWait()
{
    faketool::behave("leave a process behind");
    const Run run = runWith<ChildProcess>(faketool::path(), {QStringLiteral("writing")});
    ::kill(static_cast<pid_t>(faketool::processId()), SIGKILL);
    QVERIFY(run.hasEnded);
    QVERIFY(run.output.startsWith("the tool's last word\n"));
}

void ChildProcessLinuxTest::withoutProcessDescriptorsTheEndIsFoundToo()
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

void ChildProcessLinuxTest::anEndThatTheSystemHasReapedIsAnEnd()
{
    faketool::behave("text and status three");
    const SignalDisposition ignored(SIGCHLD, SIG_IGN);
    const Run run = runWith<ChildProcess>(faketool::path(), {});
    QVERIFY(run.hasEnded);
    QCOMPARE(run.output, QByteArray("fake tool 1.0 \xe2\x82\xac\n"));
}

void ChildProcessLinuxTest::aProcessThatCannotBeCreatedIsAFailedStart()
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

void ChildProcessLinuxTest::tooFewDescriptorsAreAFailedStart() const
{
    faketool::behave("print nothing");
    for (int room = 0; room < tool::descriptorsOfAStart; ++room) {
        ChildProcess process;
        {
            const ResourceLimit lowered(RLIMIT_NOFILE, limitThatLeaves(room));
            process.start(faketool::path(), {});
        }
        QCOMPARE(process.state(), QProcess::NotRunning);
        QCOMPARE(process.errorString(), qt_error_string(EMFILE));
        QCOMPARE(openDescriptors(), m_descriptors);
    }
    ChildProcess process;
    {
        const ResourceLimit lowered(RLIMIT_NOFILE, limitThatLeaves(tool::descriptorsOfAStart));
        process.start(faketool::path(), {});
    }
    QCOMPARE(openDescriptors(), m_descriptors + tool::descriptorsOfARun);
    QVERIFY(process.waitForFinished(forEver));
}

VOND_TEST(ChildProcessLinuxTest);
#include "childprocesslinuxtest.moc"
