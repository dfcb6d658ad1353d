#include "app/inheritedstate.h"

#include "tests/support/testmain.h"

#include <QObject>
#include <QTest>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

// Runs the function in a copy of this process, whose signals and descriptors it may change. Returns
// its result.
template <typename Function>
int inACopy(Function function)
{
    const pid_t copy = ::fork();
    if (copy == 0) {
        std::_Exit(function());
    }
    int status = 0;
    while (::waitpid(copy, &status, 0) < 0 && errno == EINTR) { }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace

class InheritedStateTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aWriteToAReaderThatHasGoneOnlyFails();
    void aFileThatGrowsTooLargeOnlyFails();
    void childrenAreWaitedFor();
    void closedStandardStreamsLeadNowhere();
    void openStandardStreamsStay();
};

void InheritedStateTest::aWriteToAReaderThatHasGoneOnlyFails()
{
    const auto write = [] {
        int ends[2] = {}; // NOLINT(modernize-avoid-c-arrays): the system's call wants one
        if (::pipe(ends) != 0) {
            return -1;
        }
        ::close(ends[0]);
        return ::write(ends[1], "x", 1) < 0 ? errno : 0;
    };
    QCOMPARE(inACopy([&] {
                 std::signal(SIGPIPE, SIG_DFL);
                 app::settleInheritedState();
                 return write();
             }),
             EPIPE);
}

void InheritedStateTest::aFileThatGrowsTooLargeOnlyFails()
{
    QCOMPARE(inACopy([] {
                 app::settleInheritedState();
                 const rlimit none = {0, RLIM_INFINITY};
                 ::setrlimit(RLIMIT_FSIZE, &none);
                 const int file = ::open("/tmp", O_TMPFILE | O_WRONLY, 0600);
                 return file >= 0 && ::write(file, "x", 1) < 0 ? errno : 0;
             }),
             EFBIG);
}

void InheritedStateTest::childrenAreWaitedFor()
{
    QCOMPARE(inACopy([] {
                 std::signal(SIGCHLD, SIG_IGN);
                 app::settleInheritedState();
                 const pid_t child = ::fork();
                 if (child == 0) {
                     std::_Exit(7);
                 }
                 int status = 0;
                 return ::waitpid(child, &status, 0) == child ? WEXITSTATUS(status) : 1;
             }),
             7);
}

void InheritedStateTest::closedStandardStreamsLeadNowhere()
{
    QCOMPARE(inACopy([] {
                 ::close(STDIN_FILENO);
                 ::close(STDERR_FILENO);
                 app::settleInheritedState();
                 const int next = ::open("/dev/null", O_RDONLY);
                 char byte = 0;
                 const bool leadNowhere =
                     ::read(STDIN_FILENO, &byte, 1) == 0 && ::write(STDERR_FILENO, "x", 1) == 1;
                 return leadNowhere && next > STDERR_FILENO ? 0 : 1;
             }),
             0);
}

void InheritedStateTest::openStandardStreamsStay()
{
    QCOMPARE(inACopy([] {
                 int ends[2] = {}; // NOLINT(modernize-avoid-c-arrays): the system's call wants one
                 if (::pipe(ends) != 0) {
                     return -1;
                 }
                 ::dup2(ends[1], STDERR_FILENO);
                 const int before = ::dup(STDIN_FILENO);
                 ::close(before);
                 app::settleInheritedState();
                 const int after = ::dup(STDIN_FILENO);
                 char byte = 0;
                 return ::write(STDERR_FILENO, "x", 1) == 1 && before == after
                         && ::read(ends[0], &byte, 1) == 1
                     ? int(byte)
                     : 0;
             }),
             int('x'));
}

VOND_TEST_WITHOUT_APPLICATION(InheritedStateTest);
#include "inheritedstatetest.moc"
