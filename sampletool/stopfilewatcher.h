#pragma once

#include <atomic>
#include <functional>
#include <string>
#include <thread>

namespace sample {

// Watches for the stop file and for termination signals, in a separate thread. Must be created
// before any other thread: the signals stay blocked in the creating thread and in all later ones.
class StopFileWatcher
{
public:
    // The last resort runs in the watching thread if a stop is not obeyed within half a second.
    StopFileWatcher(std::string stopFile, std::function<void()> lastResort);
    ~StopFileWatcher();
    StopFileWatcher(const StopFileWatcher &) = delete;
    StopFileWatcher &operator=(const StopFileWatcher &) = delete;

    // Any thread may call these.
    [[nodiscard]] bool stopped() const;
    [[nodiscard]] std::string reason() const; // a whole sentence; empty when not stopped

private:
    void watch();
    [[nodiscard]] bool endsWithin(int milliseconds) const;
    void lookForStopFile();

    std::string m_stopFile; // empty: none
    std::function<void()> m_lastResort;
    std::atomic<int> m_cause; // see stopfilewatcher.cpp
    int m_signals = -1; // descriptor that receives the signals
    int m_end = -1; // descriptor that the destructor writes to
    std::thread m_thread;
};

} // namespace sample
