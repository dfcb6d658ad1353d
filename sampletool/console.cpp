#include "sampletool/console.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace sample {
namespace {

constexpr int finished = 100; // percent
constexpr std::chrono::milliseconds longestWait{1000};
constexpr std::chrono::milliseconds betweenLooks{1};

// True when standard output is a pipe that holds bytes nobody has read yet.
bool readerIsBehind()
{
    struct stat status = {};
    if (::fstat(STDOUT_FILENO, &status) != 0 || !S_ISFIFO(status.st_mode)) {
        return false;
    }
    int unread = 0;
    return ::ioctl(STDOUT_FILENO, FIONREAD, &unread) == 0 && unread > 0;
}

// Do not wait forever for a reader that does not read at all.
void waitForReader()
{
    const auto giveUp = std::chrono::steady_clock::now() + longestWait;
    while (readerIsBehind() && std::chrono::steady_clock::now() < giveUp) {
        std::this_thread::sleep_for(betweenLooks);
    }
}

// One write per text. A channel that nobody reads any more is not a reason to stop working.
void writeAll(int channel, const std::string &text)
{
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t written = ::write(channel, text.data() + done, text.size() - done);
        if (written < 0 && errno != EINTR) {
            return;
        }
        done += static_cast<std::size_t>(std::max<ssize_t>(written, 0));
    }
}

std::string asOneLine(std::string text)
{
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text;
}

} // namespace

void Console::progress(int percent)
{
    if (percent <= m_lastPercent || (percent < finished && readerIsBehind())) {
        return;
    }
    m_lastPercent = percent;
    print("Progress: " + std::to_string(percent) + '%');
}

void Console::print(const std::string &text)
{
    waitForReader();
    writeAll(STDOUT_FILENO, text + '\n');
}

void Console::error(const std::string &text)
{
    writeAll(STDERR_FILENO, "Error: " + asOneLine(text) + '\n');
}

} // namespace sample
