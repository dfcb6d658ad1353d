#pragma once

#include <QtGlobal>

#include <optional>

namespace base {

// For what is never reserved: standard streams, the listening socket, the epoll and the timer of
// lingering clients, the watch for taken names, the log, a settings file, MIME type tables.
constexpr int descriptorsOfTheService = 32;

// Whether `wanted` more descriptors fit under the limit.
[[nodiscard]] bool fits(qint64 limit, qint64 taken, int wanted);

// How many descriptors the process may have open at present; the largest number when there is no
// limit.
[[nodiscard]] qint64 descriptorLimit();

// The number that the next descriptor will get: all lower ones are open. Nothing when none is free.
// Opens and closes a file to find out.
[[nodiscard]] std::optional<int> lowestFreeDescriptor();

// Reserves descriptors that a client or a run of the tool may need. We reserve rather than count,
// because another thread may be about to open some: a thread that cannot get its wake-up descriptor
// ends the whole process. The number of the lowest free descriptor accounts for those that are open
// but not reserved. Any thread.
class DescriptorReservation
{
public:
    // `lowestFree`: the number that the next descriptor will get.
    DescriptorReservation(int count, std::optional<int> lowestFree);
    // For descriptors that are open already, within somebody else's reservation that is about to
    // end: always granted.
    explicit DescriptorReservation(int countOfOpen);
    ~DescriptorReservation();
    DescriptorReservation(const DescriptorReservation &) = delete;
    DescriptorReservation &operator=(const DescriptorReservation &) = delete;
    DescriptorReservation(DescriptorReservation &&) = delete;
    DescriptorReservation &operator=(DescriptorReservation &&) = delete;

    [[nodiscard]] bool isGranted() const;

    // Releases what a granted reservation holds beyond `count`.
    void reduceTo(int count);

private:
    int m_count; // 0 when it was not granted
};

} // namespace base
