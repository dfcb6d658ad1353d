#include "app/descriptorlimit.h"

#include "tests/support/testmain.h"

#include <QObject>
#include <QTest>

#include <limits>
#include <sys/resource.h>

class DescriptorLimitTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theSoftLimitIsRaisedAsFarAsIsUseful_data();
    void theSoftLimitIsRaisedAsFarAsIsUseful();
    void theProcessGetsTheRaisedLimit();
    void raisingItAgainChangesNothing();
};

void DescriptorLimitTest::theSoftLimitIsRaisedAsFarAsIsUseful_data()
{
    QTest::addColumn<quint64>("soft");
    QTest::addColumn<quint64>("hard");
    QTest::addColumn<quint64>("raised");

    const quint64 most = 65536;
    const quint64 unlimited = std::numeric_limits<quint64>::max();
    QTest::newRow("less is allowed") << quint64(64) << quint64(1000) << quint64(1000);
    QTest::newRow("just as much is allowed") << quint64(64) << most << most;
    QTest::newRow("far more is allowed") << quint64(64) << quint64(1000000000) << most;
    QTest::newRow("no hard limit") << quint64(64) << unlimited << most;
    QTest::newRow("more is set already") << most + 1 << 2 * most << most + 1;
    QTest::newRow("no limit at all") << unlimited << unlimited << unlimited;
}

void DescriptorLimitTest::theSoftLimitIsRaisedAsFarAsIsUseful()
{
    QFETCH(quint64, soft);
    QFETCH(quint64, hard);
    QFETCH(quint64, raised);
    QCOMPARE(app::raisedDescriptorLimit(soft, hard), raised);
}

void DescriptorLimitTest::theProcessGetsTheRaisedLimit()
{
    rlimit limit = {};
    QCOMPARE(::getrlimit(RLIMIT_NOFILE, &limit), 0);
    const rlim_t hard = limit.rlim_max;
    limit.rlim_cur = 64;
    QCOMPARE(::setrlimit(RLIMIT_NOFILE, &limit), 0);

    app::raiseDescriptorLimit();

    QCOMPARE(::getrlimit(RLIMIT_NOFILE, &limit), 0);
    QCOMPARE(quint64(limit.rlim_cur), app::raisedDescriptorLimit(64, hard));
    QCOMPARE(limit.rlim_max, hard);
}

void DescriptorLimitTest::raisingItAgainChangesNothing()
{
    app::raiseDescriptorLimit();
    rlimit before = {};
    QCOMPARE(::getrlimit(RLIMIT_NOFILE, &before), 0);

    app::raiseDescriptorLimit();

    rlimit after = {};
    QCOMPARE(::getrlimit(RLIMIT_NOFILE, &after), 0);
    QCOMPARE(after.rlim_cur, before.rlim_cur);
    QCOMPARE(after.rlim_max, before.rlim_max);
}

VOND_TEST_WITHOUT_APPLICATION(DescriptorLimitTest);
#include "descriptorlimittest.moc"
