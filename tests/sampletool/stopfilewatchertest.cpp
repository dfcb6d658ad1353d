#include "sampletool/stopfilewatcher.h"

#include "tests/support/testmain.h"

#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <atomic>

class StopFileWatcherTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void withoutAStopFileNothingIsStopped();
    void theStopFileIsSeenSoon();
    void aStopFileThatIsThereAlreadyIsSeenAtOnce();
    void whoObeysInTimeIsSpared();
    void whoDoesNotObeyMeetsTheLastResort();

private:
    [[nodiscard]] std::string stopFile() const;
    void writeStopFile() const;
    void removeStopFile() const;

    QTemporaryDir m_folder;
};

namespace {

constexpr int soonMs = 500;
constexpr int withinMs = 1000;

} // namespace

std::string StopFileWatcherTest::stopFile() const
{
    return m_folder.filePath(QStringLiteral("stop.txt")).toStdString();
}

void StopFileWatcherTest::writeStopFile() const
{
    QFile file(QString::fromStdString(stopFile()));
    QVERIFY(file.open(QIODevice::WriteOnly));
}

void StopFileWatcherTest::removeStopFile() const
{
    QVERIFY(QFile::remove(QString::fromStdString(stopFile())));
}

void StopFileWatcherTest::withoutAStopFileNothingIsStopped()
{
    std::atomic<bool> called{false};
    {
        const sample::StopFileWatcher watch({}, [&called] { called = true; });
        QVERIFY(!watch.stopped());
        QCOMPARE(watch.reason(), std::string());
    }
    QVERIFY(!called);
}

void StopFileWatcherTest::theStopFileIsSeenSoon()
{
    const sample::StopFileWatcher watch(stopFile(), [] {});
    QVERIFY(!watch.stopped());
    writeStopFile();
    QTRY_VERIFY_WITH_TIMEOUT(watch.stopped(), soonMs);
    QCOMPARE(watch.reason(), std::string("The conversion was cancelled by its stop file."));
    removeStopFile();
    QVERIFY(watch.stopped());
}

void StopFileWatcherTest::aStopFileThatIsThereAlreadyIsSeenAtOnce()
{
    writeStopFile();
    {
        const sample::StopFileWatcher watch(stopFile(), [] {});
        QVERIFY(watch.stopped());
    }
    removeStopFile();
}

void StopFileWatcherTest::whoObeysInTimeIsSpared()
{
    std::atomic<bool> called{false};
    writeStopFile();
    {
        const sample::StopFileWatcher watch(stopFile(), [&called] { called = true; });
    }
    removeStopFile();
    QVERIFY(!called);
}

void StopFileWatcherTest::whoDoesNotObeyMeetsTheLastResort()
{
    std::atomic<bool> called{false};
    QElapsedTimer timer;
    const sample::StopFileWatcher watch(stopFile(), [&called] { called = true; });
    timer.start();
    writeStopFile();
    QTRY_VERIFY_WITH_TIMEOUT(called, withinMs);
    QVERIFY(timer.elapsed() < withinMs);
    removeStopFile();
}

VOND_TEST(StopFileWatcherTest);
#include "stopfilewatchertest.moc"
