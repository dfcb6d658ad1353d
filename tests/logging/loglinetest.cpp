#include "logging/logline.h"

#include "tests/support/testmain.h"

#include <QDateTime>
#include <QObject>
#include <QTest>

#include <set>
#include <thread>

class LogLineTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aLineIsTimeThreadAndMessage_data();
    void aLineIsTimeThreadAndMessage();
    void everyRunningThreadHasItsOwnNumber();
    void aThreadKeepsItsNumber();
};

void LogLineTest::aLineIsTimeThreadAndMessage_data()
{
    QTest::addColumn<QDateTime>("time");
    QTest::addColumn<quint32>("thread");
    QTest::addColumn<QString>("message");
    QTest::addColumn<QString>("line");

    const QDateTime morning(QDate(2026, 11, 16), QTime(5, 15, 1, 123));
    QTest::newRow("the start message") << morning << 4242U << "Server starting ..."
                                       << "16-11-2026 05:15:01:123 [T]:4242: Server starting ...";
    QTest::newRow("day before month, every number of time at full width, 24 hours")
        << QDateTime(QDate(2027, 2, 1), QTime(23, 4, 5, 6)) << 4242U << "x"
        << "01-02-2027 23:04:05:006 [T]:4242: x";
    QTest::newRow("the largest thread number is unsigned")
        << morning << 4294967295U << "x"
        << "16-11-2026 05:15:01:123 [T]:4294967295: x";
    QTest::newRow("a small thread number is not filled up") << morning << 7U << "x"
                                                            << "16-11-2026 05:15:01:123 [T]:7: x";
    QTest::newRow("place markers in the message stay as they are")
        << morning << 7U << "%1 %2 %3 100%"
        << "16-11-2026 05:15:01:123 [T]:7: %1 %2 %3 100%";
    QTest::newRow("an empty message leaves the blank") << morning << 7U << ""
                                                       << "16-11-2026 05:15:01:123 [T]:7: ";
}

void LogLineTest::aLineIsTimeThreadAndMessage()
{
    QFETCH(const QDateTime, time);
    QFETCH(const quint32, thread);
    QFETCH(const QString, message);
    QFETCH(const QString, line);

    QCOMPARE(logging::logLine(time, thread, message), line);
}

void LogLineTest::everyRunningThreadHasItsOwnNumber()
{
    std::set<quint32> numbers = {logging::currentThreadNumber()};
    quint32 first = 0;
    std::thread outer([&] {
        first = logging::currentThreadNumber();
        quint32 second = 0;
        std::thread([&] { second = logging::currentThreadNumber(); }).join();
        numbers.insert(second);
    });
    outer.join();
    numbers.insert(first);

    QCOMPARE(numbers.size(), std::size_t(3));
}

void LogLineTest::aThreadKeepsItsNumber()
{
    const quint32 number = logging::currentThreadNumber();

    QCOMPARE(logging::currentThreadNumber(), number);
}

VOND_TEST_WITHOUT_APPLICATION(LogLineTest);
#include "loglinetest.moc"
