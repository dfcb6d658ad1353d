// A tool that prints what conversions do: progress lines, each in a separate write, and then, in
// another one, the name of its output, which is never the planned name. The configuration sets the
// number of lines and the pause in microseconds after the last of them: "-c 3-50".
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <sys/prctl.h>
#include <unistd.h>

namespace {

bool say(const std::string &text)
{
    return ::write(STDOUT_FILENO, text.data(), text.size()) == static_cast<ssize_t>(text.size());
}

void wait(long microseconds)
{
    constexpr long inASecond = 1000000;
    timespec left = {microseconds / inASecond, microseconds % inASecond * 1000};
    while (microseconds > 0 && ::nanosleep(&left, &left) != 0 && errno == EINTR) { }
}

// "folder.old/name.tif" becomes "folder.old/name_1.tif".
std::string withNumber(std::string path)
{
    const std::size_t dot = path.rfind('.');
    const std::size_t slash = path.rfind('/');
    const bool hasDot = dot != std::string::npos && (slash == std::string::npos || dot > slash);
    return path.insert(hasDot ? dot : path.size(), "_1");
}

} // namespace

int main(int argc, char **argv)
{
    const char *configuration = nullptr;
    const char *output = nullptr;
    for (int i = 1; i + 1 < argc; ++i) {
        configuration = std::strcmp(argv[i], "-c") == 0 ? argv[i + 1] : configuration;
        output = std::strcmp(argv[i], "-o") == 0 ? argv[i + 1] : output;
    }
    if (configuration == nullptr || output == nullptr) {
        return EXIT_FAILURE;
    }
    char *rest = nullptr;
    const long lines = std::strtol(configuration, &rest, 10);
    const long gap = *rest == '-' ? std::strtol(rest + 1, nullptr, 10) : 0;
    (void)::prctl(PR_SET_TIMERSLACK, 1); // otherwise a wait is 50 microseconds longer
    bool said = true;
    for (long line = 1; said && line <= lines; ++line) {
        said = say("Progress: " + std::to_string(line * 100 / lines) + "%\n");
    }
    wait(gap);
    return said && say("Output file: " + withNumber(output) + '\n') ? EXIT_SUCCESS : EXIT_FAILURE;
}
