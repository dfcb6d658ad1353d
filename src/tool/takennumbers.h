#pragma once

#include <QByteArray>
#include <QtGlobal>

#include <cstddef>
#include <optional>

namespace tool {

// The names "start" + number + "end" of one folder, as the system spells them.
struct NumberedNames
{
    QByteArray folder; // with a slash at the end; empty for the current one
    QByteArray start;
    QByteArray end;

    // The number that the name has in the middle; nothing for a name of another kind, or with zeros
    // in front.
    [[nodiscard]] std::optional<std::size_t> numberIn(const char *name) const;
};

// Numbers below are not remembered: looking at so few is quick.
constexpr std::size_t leastRemembered = 64;

// What this process remembers of numbers that are taken, so that it need not look at all of them
// again. The system tells of each file that goes, whoever removes it (inotify(7)); what it does not
// tell of, on a file server say, is not remembered. Any thread.
class TakenNumbers
{
public:
    // Begins a search. What goes from now on is noticed.
    explicit TakenNumbers(const NumberedNames &names);

    // All numbers from the least one to below this one are taken.
    [[nodiscard]] std::size_t firstUnknown() const
    {
        return m_firstUnknown;
    }

    // Remembers what the search has found: something for each number from the least one to below
    // this one.
    void remember(std::size_t firstFree) const;

private:
    QByteArray m_key; // empty where nothing can be remembered
    std::size_t m_firstUnknown = leastRemembered;
    quint64 m_lastLoss = 0; // of these names, when the search began
};

} // namespace tool
