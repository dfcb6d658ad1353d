#include "app/oldmemory.h"

#include <QFile>
#include <QObject>
#include <QTest>

#include <algorithm>
#include <cstring>
#include <sys/mman.h>

namespace {

constexpr std::size_t block = std::size_t(2) * 1024 * 1024;
constexpr std::size_t page = 4096;
constexpr std::size_t blocks = 4;

// Small pages of this process' own, which begin where a huge page could.
class Region
{
public:
    explicit Region(bool mayMove = false)
        : m_mapped(::mmap(nullptr,
                          (blocks + 1) * block,
                          PROT_READ | PROT_WRITE,
                          MAP_PRIVATE | MAP_ANONYMOUS,
                          -1,
                          0))
    {
        const auto address = reinterpret_cast<std::uintptr_t>(m_mapped);
        m_begin = (address + block - 1) / block * block;
        if (!mayMove) {
            (void)::madvise(m_mapped, (blocks + 1) * block, MADV_NOHUGEPAGE);
        }
    }

    ~Region()
    {
        (void)::munmap(m_mapped, (blocks + 1) * block);
    }
    Q_DISABLE_COPY_MOVE(Region)

    [[nodiscard]] std::uintptr_t begin() const
    {
        return m_begin;
    }

    [[nodiscard]] app::MemoryRange range() const
    {
        return {m_begin, m_begin + blocks * block};
    }

    [[nodiscard]] char *at(std::size_t offset) const
    {
        return static_cast<char *>(m_mapped)
            + (m_begin - reinterpret_cast<std::uintptr_t>(m_mapped)) + offset;
    }

    void fill(std::size_t offset, std::size_t size) const
    {
        for (std::size_t i = 0; i < size; i += page) {
            *at(offset + i) = static_cast<char>(i / page % 100 + 1);
        }
    }

private:
    void *m_mapped;
    std::uintptr_t m_begin = 0;
};

// KiB of the mapping at `address` that lie in huge pages.
int inHugePages(std::uintptr_t address)
{
    QFile file(QStringLiteral("/proc/self/smaps"));
    if (!file.open(QIODevice::ReadOnly)) {
        return -1;
    }
    bool found = false;
    for (const QByteArray &line : file.readAll().split('\n')) {
        const QByteArray first = line.left(line.indexOf(' '));
        if (first.contains('-')) {
            const auto begin = first.left(first.indexOf('-')).toULongLong(nullptr, 16);
            const auto end = first.mid(first.indexOf('-') + 1).toULongLong(nullptr, 16);
            found = begin <= address && address < end;
        } else if (found && first == "AnonHugePages:") {
            return line.simplified().split(' ').at(1).toInt();
        }
    }
    return -1;
}

// Whether moving memory into huge pages is up to the program: the system can do it when asked, and
// does not do it of its own accord.
bool isUpToTheProgram()
{
    constexpr int collapse = 25; // MADV_COLLAPSE
    QFile file(QStringLiteral("/sys/kernel/mm/transparent_hugepage/enabled"));
    return ::madvise(nullptr, 0, collapse) == 0 && file.open(QIODevice::ReadOnly)
        && !file.readAll().contains("[always]");
}

void finishConnections(QObject *server, int count)
{
    for (int i = 0; i < count; ++i) {
        delete new QObject(server);
    }
}

} // namespace

class OldMemoryTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aBlockIsDenseWhenNearlyAllOfItIsInUse();
    void denseNeighboursAreOneRange();
    void aHeapShorterThanABlockHasNone();
    void heapsHoldWhatIsAllocatedAndNoFiles();
    void whatFinishedConnectionsLeaveMovesIntoHugePagesAndStaysTheSame();
    void fewerFinishedConnectionsMoveNothing();
};

void OldMemoryTest::aBlockIsDenseWhenNearlyAllOfItIsInUse()
{
    const Region region;
    region.fill(0, block / 2);
    region.fill(block, block - block / 16);
    region.fill(2 * block, block - block / 4);

    // A page that the system is moving at this moment does not count.
    QTRY_COMPARE(app::denseBlocks(region.range()).size(), std::size_t(1));
    const auto dense = app::denseBlocks(region.range());
    QCOMPARE(dense.size(), std::size_t(1));
    QCOMPARE(dense.front().begin, region.begin() + block);
    QCOMPARE(dense.front().end, region.begin() + 2 * block);
}

void OldMemoryTest::denseNeighboursAreOneRange()
{
    const Region region;
    region.fill(0, block);
    region.fill(2 * block, 2 * block);

    QTRY_COMPARE(app::denseBlocks(region.range()).size(), std::size_t(2));
    const auto dense = app::denseBlocks(region.range());
    QCOMPARE(dense.size(), std::size_t(2));
    QCOMPARE(dense.front().end, region.begin() + block);
    QCOMPARE(dense.back().begin, region.begin() + 2 * block);
    QCOMPARE(dense.back().end, region.begin() + 4 * block);
}

void OldMemoryTest::aHeapShorterThanABlockHasNone()
{
    const Region region;
    region.fill(0, 2 * block);

    QVERIFY(app::denseBlocks({region.begin() + page, region.begin() + 2 * block - page}).empty());
    QVERIFY(app::denseBlocks({region.begin(), region.begin() + block - page}).empty());
}

void OldMemoryTest::heapsHoldWhatIsAllocatedAndNoFiles()
{
    const auto own = std::make_unique<int>(0);
    QFile file(QCoreApplication::applicationFilePath());
    QVERIFY(file.open(QIODevice::ReadOnly));
    const uchar *const mapped = file.map(0, page, QFileDevice::MapPrivateOption);
    QVERIFY(mapped != nullptr);

    const auto heaps = app::heaps();
    const auto holds = [&heaps](const void *address) {
        const auto wanted = reinterpret_cast<std::uintptr_t>(address);
        return std::any_of(heaps.cbegin(), heaps.cend(), [wanted](const auto &heap) {
            return heap.begin <= wanted && wanted < heap.end;
        });
    };

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) // their heaps are huge mappings
    QVERIFY(holds(own.get()));
#endif
    QVERIFY(!holds(mapped));
}

void OldMemoryTest::whatFinishedConnectionsLeaveMovesIntoHugePagesAndStaysTheSame()
{
    if (!isUpToTheProgram()) {
        QSKIP("this system never moves memory into huge pages (Linux can from 6.1 on), or always");
    }
    const Region region(true);
    region.fill(0, block);
    QByteArray before(region.at(0), block);
    QCOMPARE(inHugePages(region.begin()), 0);
    QObject server;
    new app::OldMemory(&server);

    // A look ends when it has taken too long, and the next goes on from there.
    QTRY_VERIFY_WITH_TIMEOUT((finishConnections(&server, app::OldMemory::connectionsBetweenLooks),
                              inHugePages(region.begin()) >= static_cast<int>(block / 1024)),
                             30000);

    QCOMPARE(std::memcmp(region.at(0), before.constData(), block), 0);
}

void OldMemoryTest::fewerFinishedConnectionsMoveNothing()
{
    if (!isUpToTheProgram()) {
        QSKIP("this system never moves memory into huge pages (Linux can from 6.1 on), or always");
    }
    const Region region(true);
    region.fill(0, block);
    QObject server;
    new app::OldMemory(&server);

    finishConnections(&server, app::OldMemory::connectionsBetweenLooks - 1);

    QCOMPARE(inHugePages(region.begin()), 0);
}

QTEST_GUILESS_MAIN(OldMemoryTest)
#include "oldmemorytest.moc"
