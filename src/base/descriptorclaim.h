#pragma once

#include <QtGlobal>

#include <optional>

namespace base {

// What nobody claims: standard streams, listening, the log, a settings file, tables of MIME types.
constexpr int descriptorsOfTheService = 32;

// Whether so many more fit under the limit.
[[nodiscard]] bool fits(qint64 limit, qint64 taken, int wanted);

// How many descriptors the process may have open now; the largest number when there is no limit.
[[nodiscard]] qint64 descriptorLimit();

// The number that the next descriptor gets: all below are open. Nothing when none can be had.
[[nodiscard]] std::optional<int> lowestFreeDescriptor();

// A place in the account of descriptors that clients and tool runs may come to need. Keeping the
// account, not counting what is open, makes it hold for what others are about to open: a thread
// whose wake-up cannot be made ends the whole process, and a tool that starts in another thread
// could take the last one just then. What is open and in no account is seen by its number. Any
// thread.
class DescriptorClaim
{
public:
    // Whoever has just been given a descriptor knows the lowest free one and need not look for it.
    explicit DescriptorClaim(int count, std::optional<int> lowest = lowestFreeDescriptor());
    ~DescriptorClaim();
    DescriptorClaim(const DescriptorClaim &) = delete;
    DescriptorClaim &operator=(const DescriptorClaim &) = delete;
    DescriptorClaim(DescriptorClaim &&) = delete;
    DescriptorClaim &operator=(DescriptorClaim &&) = delete;

    [[nodiscard]] bool isGranted() const;

    // Gives back what a granted claim has beyond `count`.
    void reduceTo(int count);

private:
    int m_count; // 0 when it was not granted
};

} // namespace base
