#pragma once

#include <atomic>
#include <functional>
#include <string>
#include <thread>

namespace sample {

// Watches for the stop file and for the signals that end a process, from a thread of its own. Must
// be made before any other thread: the signals stay blocked in it and in all that follow.
class StopFileWatcher
{
public:
    // The last resort runs in the watching thread when a stop is not obeyed in half a second.
    StopFileWatcher(std::string stopFile, std::function<void()> lastResort);
    ~StopFileWatcher();
    StopFileWatcher(const StopFileWatcher &) = delete;
    StopFileWatcher &operator=(const StopFileWatcher &) = delete;

    // Any thread may ask these.
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
