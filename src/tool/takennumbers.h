#pragma once

#include <QByteArray>
#include <QtGlobal>

#include <cstddef>
#include <optional>

namespace tool {

// The names "start" + number + "end" in one folder, in the system's encoding.
struct NumberedNames
{
    QByteArray folder; // with a slash at the end; empty for the current one
    QByteArray start;
    QByteArray end;

    // The number in the middle of the name; nothing for a name of another kind or with leading
    // zeros.
    [[nodiscard]] std::optional<std::size_t> numberIn(const char *name) const;
};

// Lower numbers are not remembered: checking so few is quick.
constexpr std::size_t leastRemembered = 64;

// Remembers which numbers are taken, for the whole process, so that it need not check all of them
// again. The system reports every file that is removed, by whomever (inotify(7)); where it does
// not, as on a network file system, nothing is remembered. Any thread.
class TakenNumbers
{
public:
    // Begins a search. Removals are noticed from now on.
    explicit TakenNumbers(const NumberedNames &names);

    // All numbers from leastRemembered up to this one, exclusive, are taken.
    [[nodiscard]] std::size_t firstUnknown() const
    {
        return m_firstUnknown;
    }

    // Remembers what the search has found: every number from leastRemembered up to this one,
    // exclusive, is taken.
    void remember(std::size_t firstFree) const;

private:
    QByteArray m_key; // empty where nothing can be remembered
    std::size_t m_firstUnknown = leastRemembered;
    quint64 m_lastLoss = 0; // as it was when the search began
};

} // namespace tool
