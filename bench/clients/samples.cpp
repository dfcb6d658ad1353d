#include "bench/clients/samples.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace bench {

void Samples::add(Clock::duration time)
{
    m_times.push_back(time);
}

void Samples::add(const Samples &others)
{
    m_times.insert(m_times.end(), others.m_times.begin(), others.m_times.end());
}

double Samples::longest() const
{
    const auto found = std::max_element(m_times.begin(), m_times.end());
    return found == m_times.end() ? 0 : std::chrono::duration<double, std::micro>(*found).count();
}

double Samples::microsecondsAt(double share) const
{
    if (m_times.empty()) {
        return 0;
    }
    const double place = std::ceil(share * static_cast<double>(m_times.size())) - 1;
    const auto index = static_cast<std::size_t>(std::max(place, 0.0));
    return std::chrono::duration<double, std::micro>(m_times[index]).count();
}

void Samples::print(const std::string &name, const std::string &more)
{
    constexpr double middle = 0.5;
    constexpr double nearlyAll = 0.99;
    std::sort(m_times.begin(), m_times.end());
    (void)std::printf("%s: count %zu, median %.1f us, 99th percentile %.1f us, longest %.1f us%s\n",
                      name.c_str(),
                      m_times.size(),
                      microsecondsAt(middle),
                      microsecondsAt(nearlyAll),
                      microsecondsAt(1),
                      more.c_str());
}

} // namespace bench
