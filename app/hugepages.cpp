#include "app/hugepages.h"

#include <QtGlobal> // brings the C library's own macros along

#ifdef __GLIBC__
#include <QByteArray>

#include <array>
#include <cstdio>
#include <cstring>
#include <memory>
#include <sys/auxv.h>
#include <unistd.h>
#endif

namespace app {

#ifdef __GLIBC__

namespace {

constexpr const char *variable = "GLIBC_TUNABLES";
constexpr const char *askForHugePages = "glibc.malloc.hugetlb=1";

constexpr const char *marker = "VONDSERVER_STARTED_AGAIN";

struct CloseFile
{
    void operator()(std::FILE *file) const
    {
        (void)std::fclose(file);
    }
};

// Whether the system gives huge pages to those who ask; it may also give them to all, or to none.
bool systemWantsToBeAsked()
{
    const std::unique_ptr<std::FILE, CloseFile> file(
        std::fopen("/sys/kernel/mm/transparent_hugepage/enabled", "re"));
    std::array<char, 64> choice = {};
    return file && std::fgets(choice.data(), choice.size(), file.get()) != nullptr
        && std::strstr(choice.data(), "[madvise]") != nullptr;
}

// Whether the loader was called with the program as its argument. The system then takes the loader
// for the program.
bool isLoadedByHand()
{
    return ::getauxval(AT_BASE) == 0;
}

void startAgain(char **argv)
{
    std::array<char, 4096> program = {}; // by its path, so that the process keeps its name
    if (::readlink("/proc/self/exe", program.data(), program.size() - 1) <= 0) {
        return;
    }
    qputenv(variable, askForHugePages);
    qputenv(marker, "1");
    ::execv(program.data(), argv); // comes back only when it has failed
    qunsetenv(variable);
    qunsetenv(marker);
}

} // namespace

void useHugePages(char **argv)
{
    // Once is enough, also where something takes the other variable out of the environment, as the
    // loader does for a program with privileges of its own.
    const bool isSecondStart = qEnvironmentVariableIsSet(marker);
    qunsetenv(marker);
    if (qgetenv(variable) == askForHugePages) {
        qunsetenv(variable); // it has done its work, and is not meant for the tool
        return;
    }
    const bool hasOwnChoice = qEnvironmentVariableIsSet(variable); // the operator's: it stays
    if (!isSecondStart && !hasOwnChoice && systemWantsToBeAsked() && !isLoadedByHand()) {
        startAgain(argv);
    }
}

#else

void useHugePages(char ** /*argv*/) { }

#endif

} // namespace app
