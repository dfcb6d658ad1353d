#include "tests/support/testmain.h"

#include <QCoreApplication>
#include <QObject>
#include <QTest>

class VersionStampTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theBuildSaysTheVersion();
};

void VersionStampTest::theBuildSaysTheVersion()
{
    QCOMPARE(QCoreApplication::applicationVersion(), QStringLiteral("1.0.2.26"));
    QCOMPARE(QCoreApplication::applicationVersion(), QStringLiteral(EXPECTED_VERSION));
}

VOND_TEST(VersionStampTest);
#include "versionstamptest.moc"
