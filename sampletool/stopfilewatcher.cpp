#include "sampletool/stopfilewatcher.h"

#include <array>
#include <csignal>
#include <cstdint>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>
#include <utility>

namespace sample {
namespace {

constexpr int lookEveryMs = 50;
constexpr int patienceMs = 500; // until the last resort; everything is gone within a second

// Why the run is to stop: one of these, or the number of a signal.
constexpr int notStopped = 0;
constexpr int stopFileSeen = -1;

sigset_t endingSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        sigaddset(&signals, signal);
    }
    return signals;
}

} // namespace

StopFileWatcher::StopFileWatcher(std::string stopFile, std::function<void()> lastResort)
    : m_stopFile(std::move(stopFile))
    , m_lastResort(std::move(lastResort))
    , m_cause(notStopped)
{
    const sigset_t signals = endingSignals();
    ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    m_signals = ::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
    m_end = ::eventfd(0, EFD_CLOEXEC);
    lookForStopFile(); // a file that already exists stops at once
    m_thread = std::thread(&StopFileWatcher::watch, this);
}

StopFileWatcher::~StopFileWatcher()
{
    const std::uint64_t one = 1;
    (void)!::write(m_end, &one, sizeof one); // a fresh counter always accepts it
    m_thread.join();
    (void)::close(m_end);
    (void)::close(m_signals);
}

bool StopFileWatcher::stopped() const
{
    return m_cause != notStopped;
}

std::string StopFileWatcher::reason() const
{
    const int cause = m_cause;
    if (cause == notStopped) {
        return {};
    }
    if (cause == stopFileSeen) {
        return "The conversion was cancelled by its stop file.";
    }
    return "The conversion was ended by signal " + std::to_string(cause) + '.';
}

void StopFileWatcher::lookForStopFile()
{
    if (!m_stopFile.empty() && ::access(m_stopFile.c_str(), F_OK) == 0) {
        m_cause = stopFileSeen;
    }
}

bool StopFileWatcher::endsWithin(int milliseconds) const
{
    pollfd end = {m_end, POLLIN, 0};
    return ::poll(&end, 1, milliseconds) == 1;
}

void StopFileWatcher::watch()
{
    const int timeout = m_stopFile.empty() ? -1 : lookEveryMs;
    while (!stopped()) {
        std::array<pollfd, 2> events{{{m_end, POLLIN, 0}, {m_signals, POLLIN, 0}}};
        (void)::poll(events.data(), events.size(), timeout);
        if ((events[0].revents & POLLIN) != 0) {
            return;
        }
        signalfd_siginfo signal = {};
        if ((events[1].revents & POLLIN) != 0
            && ::read(m_signals, &signal, sizeof signal) == sizeof signal) {
            m_cause = static_cast<int>(signal.ssi_signo);
        } else {
            lookForStopFile();
        }
    }
    if (!endsWithin(patienceMs)) {
        m_lastResort();
    }
}

} // namespace sample
