#pragma once

#include <QtGlobal>

#include <optional>

namespace base {

// What nobody reserves: standard streams, listening, the log, a settings file, tables of MIME
// types.
constexpr int descriptorsOfTheService = 32;

// Whether so many more fit under the limit.
[[nodiscard]] bool fits(qint64 limit, qint64 taken, int wanted);

// How many descriptors the process may have open now; the largest number when there is no limit.
[[nodiscard]] qint64 descriptorLimit();

// The number that the next descriptor gets: all below are open. Nothing when none can be had.
// Opens and closes a file to find out.
[[nodiscard]] std::optional<int> lowestFreeDescriptor();

// Reserves descriptors that a client or a run of the tool may need. We reserve rather than count,
// because another thread may be about to open some: a thread that cannot get the descriptor of its
// wake-up ends the whole process. Descriptors that are open and not reserved show in the number of
// the lowest free one. Any thread.
class DescriptorReservation
{
public:
    // `lowestFree`: the number that the next descriptor gets.
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

    // Releases what a granted reservation has beyond `count`.
    void reduceTo(int count);

private:
    int m_count; // 0 when it was not granted
};

} // namespace base
