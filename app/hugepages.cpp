#include "app/hugepages.h"

#include <QtGlobal> // brings the C library's own macros along

#ifdef __GLIBC__
#include <QByteArray>

#include <array>
#include <cstdio>
#include <cstring>
#include <memory>
#include <unistd.h>
#endif

namespace app {

#ifdef __GLIBC__

namespace {

constexpr const char *variable = "GLIBC_TUNABLES";
constexpr const char *askForHugePages = "glibc.malloc.hugetlb=1";

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

} // namespace

void useHugePages(char **argv)
{
    if (qEnvironmentVariableIsSet(variable)) {
        // The second time round, or an operator's own choice, which stays.
        if (qgetenv(variable) == askForHugePages) {
            qunsetenv(variable); // it is not meant for the tool
        }
        return;
    }
    if (!systemWantsToBeAsked()) {
        return;
    }
    std::array<char, 4096> program = {}; // by its path, so that the process keeps its name
    if (::readlink("/proc/self/exe", program.data(), program.size() - 1) <= 0) {
        return;
    }
    qputenv(variable, askForHugePages);
    ::execv(program.data(), argv); // comes back only when it has failed
    qunsetenv(variable);
}

#else

void useHugePages(char ** /*argv*/) { }

#endif

} // namespace app
