#include "jobs/registry.h"

#include "tests/support/inthreads.h"
#include "tests/support/messagecatcher.h"
#include "tests/support/testmain.h"

#include <QTest>

#include <atomic>

namespace {

const QString id = QStringLiteral("job 1");

} // namespace

class RegistryTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aRegisteredRequestReadsZeroPercent();
    void registeringAgainStartsOver();
    void theEmptyIdIsAnIdLikeAnyOther();
    void idsKeepTheirCaseAndTheirBlanks();
    void aTextForAnUnknownIdMakesTheEntry();
    void aTextIsKeptWholeAndLogsNothing();
    void anUnknownIdReadsEmptyAndLogsTheKnownOnes();
    void anEmptyTextLogsTheKnownIdsToo();
    void anEmptyRegistryLogsAnEmptyList();
    void aRemovedRequestIsGone();
    void removingAnUnknownRequestDoesNothing();
    void twoJobsOfOneIdShareTheEntryAndTheFirstToEndRemovesIt();
    void connectionsTakeTurns();
};

void RegistryTest::aRegisteredRequestReadsZeroPercent()
{
    jobs::Registry registry;
    jobs::registerRequest(&registry, id);
    QCOMPARE(jobs::progressText(&registry, id), QStringLiteral("Progress: 0%"));
}

void RegistryTest::registeringAgainStartsOver()
{
    jobs::Registry registry;
    jobs::registerRequest(&registry, id);
    jobs::setProgressText(&registry, id, QStringLiteral("Progress: 80%"));
    jobs::registerRequest(&registry, id);
    QCOMPARE(jobs::progressText(&registry, id), QStringLiteral("Progress: 0%"));
    QCOMPARE(registry.size(), 1);
}

void RegistryTest::theEmptyIdIsAnIdLikeAnyOther()
{
    jobs::Registry registry;
    jobs::registerRequest(&registry, QString());
    QCOMPARE(jobs::progressText(&registry, QStringLiteral("")), QStringLiteral("Progress: 0%"));
    jobs::removeRequest(&registry, QString());
    QVERIFY(registry.isEmpty());
}

void RegistryTest::idsKeepTheirCaseAndTheirBlanks()
{
    jobs::Registry registry;
    jobs::registerRequest(&registry, QStringLiteral("A"));
    jobs::registerRequest(&registry, QStringLiteral("a"));
    jobs::registerRequest(&registry, QStringLiteral(" a"));
    QCOMPARE(registry.size(), 3);
}

void RegistryTest::aTextForAnUnknownIdMakesTheEntry()
{
    jobs::Registry registry;
    jobs::setProgressText(&registry, id, QStringLiteral("Progress: 5%"));
    QCOMPARE(jobs::progressText(&registry, id), QStringLiteral("Progress: 5%"));
}

void RegistryTest::aTextIsKeptWholeAndLogsNothing()
{
    jobs::Registry registry;
    const QString text = QStringLiteral(" any text\r\nwith lines\n");
    jobs::setProgressText(&registry, id, text);
    const MessageCatcher catcher;
    QCOMPARE(jobs::progressText(&registry, id), text);
    QCOMPARE(catcher.messages(), QStringList());
}

void RegistryTest::anUnknownIdReadsEmptyAndLogsTheKnownOnes()
{
    jobs::Registry registry;
    jobs::registerRequest(&registry, QStringLiteral("b"));
    jobs::registerRequest(&registry, QStringLiteral("a"));
    const MessageCatcher catcher;
    QCOMPARE(jobs::progressText(&registry, id), QString());
    const QStringList lines{QStringLiteral("Requests: "), QStringLiteral(R"(("a", "b"))")};
    QCOMPARE(catcher.messages(), lines);
    QCOMPARE(registry.size(), 2); // reading creates no entry
}

void RegistryTest::anEmptyTextLogsTheKnownIdsToo()
{
    jobs::Registry registry;
    jobs::setProgressText(&registry, id, QString());
    const MessageCatcher catcher;
    QCOMPARE(jobs::progressText(&registry, id), QString());
    const QStringList lines{QStringLiteral("Requests: "), QStringLiteral(R"(("job 1"))")};
    QCOMPARE(catcher.messages(), lines);
}

void RegistryTest::anEmptyRegistryLogsAnEmptyList()
{
    jobs::Registry registry;
    const MessageCatcher catcher;
    QCOMPARE(jobs::progressText(&registry, id), QString());
    const QStringList lines{QStringLiteral("Requests: "), QStringLiteral("()")};
    QCOMPARE(catcher.messages(), lines);
}

void RegistryTest::aRemovedRequestIsGone()
{
    jobs::Registry registry;
    const MessageCatcher catcher;
    jobs::registerRequest(&registry, id);
    jobs::removeRequest(&registry, id);
    QVERIFY(registry.isEmpty());
    QCOMPARE(jobs::progressText(&registry, id), QString());
}

void RegistryTest::removingAnUnknownRequestDoesNothing()
{
    jobs::Registry registry;
    jobs::registerRequest(&registry, id);
    jobs::removeRequest(&registry, QStringLiteral("other"));
    QCOMPARE(registry.size(), 1);
}

void RegistryTest::twoJobsOfOneIdShareTheEntryAndTheFirstToEndRemovesIt()
{
    jobs::Registry registry;
    const MessageCatcher catcher;
    jobs::registerRequest(&registry, id);
    jobs::registerRequest(&registry, id);
    jobs::removeRequest(&registry, id);
    QCOMPARE(jobs::progressText(&registry, id), QString());
}

// Every thread has a job of its own and one that all share. Without the lock the map's tree breaks,
// or the thread sanitizer reports it.
void RegistryTest::connectionsTakeTurns()
{
    constexpr int threadCount = 4;
    constexpr int rounds = 500;
    jobs::Registry registry;
    const MessageCatcher catcher; // misses are logged under the lock
    const QString shared = QStringLiteral("shared");
    std::atomic<int> lost{0};
    const auto work = [&registry, &shared, &lost](int number) {
        const QString own = QString::number(number);
        for (int round = 0; round < rounds; ++round) {
            const QString text = QStringLiteral("Progress: %1%").arg(round);
            jobs::registerRequest(&registry, own);
            jobs::registerRequest(&registry, shared);
            jobs::setProgressText(&registry, own, text);
            jobs::setProgressText(&registry, shared, text);
            if (jobs::progressText(&registry, own) != text) {
                ++lost;
            }
            static_cast<void>(jobs::progressText(&registry, shared)); // may already be gone
            jobs::removeRequest(&registry, own);
            jobs::removeRequest(&registry, shared);
        }
    };
    inThreads(threadCount, work);
    QCOMPARE(lost.load(), 0);
    QVERIFY(registry.isEmpty());
}

VOND_TEST(RegistryTest);
#include "registrytest.moc"
