#include "app/descriptorlimit.h"

#include <QObject>
#include <QTest>

#include <sys/resource.h>

class DescriptorLimitTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theSoftLimitBecomesTheHardOne();
    void raisingItAgainChangesNothing();
};

void DescriptorLimitTest::theSoftLimitBecomesTheHardOne()
{
    rlimit limit = {};
    QCOMPARE(::getrlimit(RLIMIT_NOFILE, &limit), 0);
    const rlim_t hard = limit.rlim_max;
    limit.rlim_cur = 64;
    QCOMPARE(::setrlimit(RLIMIT_NOFILE, &limit), 0);

    app::raiseDescriptorLimit();

    QCOMPARE(::getrlimit(RLIMIT_NOFILE, &limit), 0);
    QCOMPARE(limit.rlim_cur, hard);
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

QTEST_APPLESS_MAIN(DescriptorLimitTest)
#include "descriptorlimittest.moc"
