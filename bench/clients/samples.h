#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

namespace bench {

using Clock = std::chrono::steady_clock;

// Times of one case.
class Samples
{
public:
    void add(Clock::duration time);
    void add(const Samples &others);

    // One line: name, count, median, 99th percentile, longest, then any further text.
    void print(const std::string &name, const std::string &more = {});

    // Microseconds; 0 when there are none.
    [[nodiscard]] double longest() const;

private:
    [[nodiscard]] double microsecondsAt(double share) const; // of the sorted times

    std::vector<Clock::duration> m_times;
};

} // namespace bench
