#include "app/oldmemory.h"

#include <QDeadlineTimer>
#include <QEvent>
#include <QThread>

#include <algorithm>

#ifdef Q_OS_LINUX
#include <array>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <sys/mman.h>
#include <unistd.h>
#endif
#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace app {
namespace {

#ifdef __GLIBC__
constexpr int leastHeaps = 2;
#endif

#ifdef Q_OS_LINUX

constexpr std::uintptr_t pageBytes = 4096;
constexpr std::uintptr_t blockBytes = std::uintptr_t(2) * 1024 * 1024; // of a huge page
constexpr std::size_t pagesInBlock = blockBytes / pageBytes;

// A block that holds less stays as it is: the rest of it would become resident, too.
constexpr std::size_t pagesOfADenseBlock = pagesInBlock - pagesInBlock / 8;

// The C library maps the heaps of threads in pieces of 64 MiB, which may lie side by side. What is
// larger by far is something else: a large body, or a sanitizer's own.
constexpr std::uintptr_t largestMappedHeap = std::uintptr_t(512) * 1024 * 1024;

constexpr std::uintptr_t stepBytes = 8 * blockBytes; // a call costs some microseconds by itself
constexpr int longestLookMs = 10; // nobody is accepted meanwhile

#ifndef MADV_COLLAPSE
#define MADV_COLLAPSE 25 // since Linux 6.1; Debian 12's headers are older than its kernel
#endif

struct CloseFile
{
    void operator()(std::FILE *file) const
    {
        (void)std::fclose(file);
    }
};

bool isHeap(const MemoryRange &range,
            const char *permissions,
            unsigned long inode,
            const char *name)
{
    if (std::strcmp(permissions, "rw-p") != 0 || inode != 0) {
        return false;
    }
    return std::strcmp(name, "[heap]") == 0
        || (*name == '\0' && range.end - range.begin <= largestMappedHeap);
}

// True when so many pages of the block are there (Documentation/admin-guide/mm/pagemap.rst).
bool isDense(int pagemap, std::uintptr_t block)
{
    constexpr std::uint64_t presentBit = std::uint64_t(1) << 63U;
    std::array<std::uint64_t, pagesInBlock> pages = {};
    const auto offset = static_cast<off_t>(block / pageBytes * sizeof pages.front());
    if (::pread(pagemap, pages.data(), sizeof pages, offset) != sizeof pages) {
        return false;
    }
    std::size_t present = 0;
    for (const std::uint64_t page : pages) {
        present += (page & presentBit) != 0 ? 1 : 0;
    }
    return present >= pagesOfADenseBlock;
}

bool canGather()
{
    return ::madvise(nullptr, 0, MADV_COLLAPSE) == 0;
}

#else

bool canGather()
{
    return false;
}

#endif

} // namespace

void keepHeapsFew()
{
#ifdef __GLIBC__
    // Of its own accord the C library makes eight for each core, each with a last block that is not
    // full yet. Threads that run at the same time find one each with as many as there are cores.
    (void)mallopt(M_ARENA_MAX, std::max(QThread::idealThreadCount(), leastHeaps));
#endif
}

OldMemory::OldMemory(QObject *server)
    : QObject(server)
{
    // Asked to do nothing, the system says whether it knows what it is asked.
    if (canGather()) {
        server->installEventFilter(this);
    }
}

// A connection's thread object is a child of the server until it is deleted.
bool OldMemory::eventFilter(QObject * /*watched*/, QEvent *event)
{
    if (event->type() == QEvent::ChildRemoved && ++m_finished >= connectionsBetweenLooks) {
        m_finished = 0;
        look();
    }
    return false;
}

#ifdef Q_OS_LINUX

std::vector<MemoryRange> heaps()
{
    std::vector<MemoryRange> found;
    const std::unique_ptr<std::FILE, CloseFile> maps(std::fopen("/proc/self/maps", "re"));
    std::array<char, 512> line = {};
    while (maps && std::fgets(line.data(), line.size(), maps.get()) != nullptr) {
        MemoryRange range;
        std::array<char, 5> permissions = {};
        unsigned long inode = 0;
        std::array<char, 64> name = {};
        if (std::sscanf(line.data(), // NOLINT(cert-err34-c): the system writes what it says it does
                        "%" SCNxPTR "-%" SCNxPTR " %4s %*x %*s %lu %63s",
                        &range.begin,
                        &range.end,
                        permissions.data(),
                        &inode,
                        name.data())
                >= 4
            && isHeap(range, permissions.data(), inode, name.data())) {
            found.push_back(range);
        }
    }
    return found;
}

std::vector<MemoryRange> denseBlocks(const MemoryRange &heap)
{
    std::vector<MemoryRange> dense;
    const std::uintptr_t first = (heap.begin + blockBytes - 1) / blockBytes * blockBytes;
    if (first + blockBytes > heap.end) {
        return dense;
    }
    const int pagemap = ::open("/proc/self/pagemap", O_RDONLY | O_CLOEXEC);
    if (pagemap < 0) {
        return dense;
    }
    for (std::uintptr_t block = first; block + blockBytes <= heap.end; block += blockBytes) {
        if (!isDense(pagemap, block)) {
            continue;
        }
        if (!dense.empty() && dense.back().end == block) {
            dense.back().end += blockBytes;
        } else {
            dense.push_back({block, block + blockBytes});
        }
    }
    (void)::close(pagemap);
    return dense;
}

void OldMemory::look()
{
    const QDeadlineTimer enough(longestLookMs);
    for (const MemoryRange &heap : heaps()) {
        if (heap.end <= m_next) {
            continue;
        }
        for (const MemoryRange &blocks : denseBlocks({std::max(heap.begin, m_next), heap.end})) {
            for (std::uintptr_t at = blocks.begin; at < blocks.end; at += stepBytes) {
                // What lies in huge pages already stays as it is; what cannot be moved now waits.
                (void)::madvise(reinterpret_cast<void *>(at), // NOLINT: an address it is
                                std::min(stepBytes, blocks.end - at),
                                MADV_COLLAPSE);
                if (enough.hasExpired()) {
                    m_next = at + stepBytes;
                    return;
                }
            }
        }
    }
    m_next = 0;
}

#else

std::vector<MemoryRange> heaps()
{
    return {};
}

std::vector<MemoryRange> denseBlocks(const MemoryRange & /*heap*/)
{
    return {};
}

void OldMemory::look() { }

#endif

} // namespace app
