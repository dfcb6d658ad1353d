#pragma once

#include <QObject>
#include <QtGlobal>

#include <cstdint>
#include <vector>

namespace app {

// Addresses, from the first byte to the one behind the last.
struct MemoryRange
{
    std::uintptr_t begin = 0;
    std::uintptr_t end = 0;
};

// Moves the memory of finished connections together into huge pages, in place.
//
// What a finished connection leaves behind stays until the process ends, and every run of the tool
// begins with a fork, which copies a page table entry for each 4 KiB of it. In huge pages it is one
// for each 2 MiB, and a run costs the same on the first day and on the hundredth.
//
// Watches a server, of which it becomes a child, and looks again each time so many of its
// connections have finished. Main thread. Does nothing on a system that cannot (Linux can from 6.1
// on).
class OldMemory : public QObject
{
    Q_OBJECT

public:
    static constexpr int connectionsBetweenLooks = 1000;

    explicit OldMemory(QObject *server);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void look();

    int m_finished = 0; // since the last look
    std::uintptr_t m_next = 0; // where the next look begins
};

// Lets threads share heaps, so that what stays behind lies close together. Call it at start, before
// there are threads.
void keepHeapsFew();

// The heaps of this process, in ascending order; empty where that cannot be found out.
std::vector<MemoryRange> heaps();

// The whole huge pages' worth of addresses in `heap` that are (nearly) all in use, neighbours as
// one range.
std::vector<MemoryRange> denseBlocks(const MemoryRange &heap);

} // namespace app
