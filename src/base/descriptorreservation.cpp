#include "base/descriptorreservation.h"

#include <atomic>
#include <limits>

#ifdef Q_OS_UNIX
#include <cerrno>
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>
#endif

namespace base {

namespace {

std::atomic<int> reserved{0};

} // namespace

bool fits(qint64 limit, qint64 taken, int wanted)
{
    return taken + wanted + descriptorsOfTheService <= limit;
}

// Read each time: an administrator may change the limit of a running process.
qint64 descriptorLimit()
{
#ifdef Q_OS_UNIX
    rlimit limit = {};
    if (::getrlimit(RLIMIT_NOFILE, &limit) == 0
        && limit.rlim_cur <= static_cast<rlim_t>(std::numeric_limits<qint64>::max())) {
        return static_cast<qint64>(limit.rlim_cur);
    }
#endif
    return std::numeric_limits<qint64>::max();
}

std::optional<int> lowestFreeDescriptor()
{
    int descriptor = 0;
#ifdef Q_OS_UNIX
    descriptor = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    if (descriptor >= 0) {
        (void)::close(descriptor);
    } else if (errno == EMFILE || errno == ENFILE) { // the process's limit, the system's
        return std::nullopt;
    }
#endif
    return descriptor; // without that file nothing is known; assume the best
}

DescriptorReservation::DescriptorReservation(int count, std::optional<int> lowestFree)
    : m_count(count)
{
    // Added first and checked afterwards: of two simultaneous reservations that do not both fit,
    // neither is granted by mistake.
    const int before = reserved.fetch_add(count);
    const qint64 limit = descriptorLimit();
    if (!lowestFree || !fits(limit, before, count) || !fits(limit, *lowestFree, count)) {
        reserved.fetch_sub(count);
        m_count = 0;
    }
}

DescriptorReservation::DescriptorReservation(int countOfOpen)
    : m_count(countOfOpen)
{
    reserved.fetch_add(countOfOpen);
}

DescriptorReservation::~DescriptorReservation()
{
    reserved.fetch_sub(m_count);
}

void DescriptorReservation::reduceTo(int count)
{
    if (m_count > count) {
        reserved.fetch_sub(m_count - count);
        m_count = count;
    }
}

bool DescriptorReservation::isGranted() const
{
    return m_count > 0;
}

} // namespace base
