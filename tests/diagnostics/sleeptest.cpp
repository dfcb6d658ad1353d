#include "diagnostics/sleep.h"

#include "jobs/progress.h"
#include "tests/support/messagecatcher.h"
#include "tests/support/testmain.h"

#include <QElapsedTimer>
#include <QRegularExpression>
#include <QTest>

#include <array>
#include <thread>

namespace {

constexpr int patienceMs = 5000; // what a busy machine may add

// The 36 characters after the label in a log line.
QString loggedId(const QString &line, const QString &label)
{
    const QRegularExpression pattern(
        QStringLiteral("^%1: \"([0-9a-f]{8}(-[0-9a-f]{4}){3}-[0-9a-f]{12})\"$").arg(label));
    return pattern.match(line).captured(1);
}

} // namespace

class SleepTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void shortSleepsAnswerAfterTheirTimeAndLogNothing();
    void tenSecondsCanBePolledDuringAndAfterTheSleep();
    void twoSleepersOverlapWithAnEntryEach();
};

void SleepTest::shortSleepsAnswerAfterTheirTimeAndLogNothing()
{
    const MessageCatcher catcher;
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(diagnostics::sleep2secs(), "Hello world, slept 2secs");
    QVERIFY(timer.elapsed() >= 2000);
    QVERIFY(timer.elapsed() < 2000 + patienceMs);
    QCOMPARE(catcher.messages(), QStringList());
}

void SleepTest::tenSecondsCanBePolledDuringAndAfterTheSleep()
{
    const MessageCatcher catcher;
    jobs::Registry registry;
    QByteArray answer;
    QElapsedTimer timer;
    timer.start();
    std::thread sleeper([&registry, &answer] { answer = diagnostics::sleep10secs(&registry); });

    const QString text = QStringLiteral("going to sleep for 10 secs");
    QString id;
    const bool polled = QTest::qWaitFor([&] {
        id = loggedId(catcher.messages().value(0), QStringLiteral("Sleep10-ReqID"));
        return !id.isEmpty() && jobs::progressInfo(&registry, id) == text;
    });
    const qint64 polledAt = timer.elapsed();
    sleeper.join();

    QVERIFY(polled);
    QVERIFY(polledAt < 10000);
    QVERIFY(timer.elapsed() >= 10000);
    QVERIFY(timer.elapsed() < 10000 + patienceMs);
    QCOMPARE(answer, QByteArray("Hello world, slept 10secs"));
    QCOMPARE(jobs::progressInfo(&registry, id), text);
    QCOMPARE(registry.size(), 1);
}

void SleepTest::twoSleepersOverlapWithAnEntryEach()
{
    const MessageCatcher catcher;
    jobs::Registry registry;
    std::array<QByteArray, 2> answers;
    QElapsedTimer timer;
    timer.start();
    std::thread first([&] { answers[0] = diagnostics::sleep20secs(&registry); });
    std::thread second([&] { answers[1] = diagnostics::sleep20secs(&registry); });
    first.join();
    second.join();

    QVERIFY(timer.elapsed() >= 20000);
    QVERIFY(timer.elapsed() < 20000 + patienceMs); // not one after the other
    QCOMPARE(answers[0], QByteArray("Hello world, slept 20secs"));
    QCOMPARE(answers[1], QByteArray("Hello world, slept 20secs"));
    QCOMPARE(registry.size(), 2);
    const QStringList lines = catcher.messages();
    QCOMPARE(lines.size(), 2);
    for (const QString &line : lines) {
        QCOMPARE(registry.value(loggedId(line, QStringLiteral("Sleep20-ReqID"))),
                 QStringLiteral("going to sleep for 20 secs"));
    }
}

VOND_TEST(SleepTest);
#include "sleeptest.moc"
