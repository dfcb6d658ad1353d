#include "diagnostics/memtest.h"

#include "tests/support/messagecatcher.h"
#include "tests/support/testmain.h"

#include <QJsonObject>
#include <QTest>

class MemtestTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theSizeIsFixed();
    void aSizeThatFitsIsOkAndReportsTheFixedNumber();
    void aTextThatGoesIntoTheObjectLogsNothing();
    void aTextThatDoesNotGoIntoTheObjectIsLogged();
};

void MemtestTest::theSizeIsFixed()
{
    QCOMPARE(diagnostics::memtestBytes, 0x302006A0);
}

void MemtestTest::aSizeThatFitsIsOkAndReportsTheFixedNumber()
{
    const MessageCatcher catcher;
    QCOMPARE(diagnostics::memtest(10),
             QStringLiteral("vondServer: memtest ok with size:8.07405e+08"));
    QCOMPARE(catcher.messages(), QStringList{QStringLiteral("encoded image size: 16")});
}

void MemtestTest::aTextThatGoesIntoTheObjectLogsNothing()
{
    const MessageCatcher catcher;
    QJsonObject vehicle;
    diagnostics::insertImage(&vehicle, QJsonValue(QStringLiteral("QUJD")));
    QCOMPARE(vehicle.value(QLatin1String("imgData")).toString(), QStringLiteral("QUJD"));
    QCOMPARE(catcher.messages(), QStringList());
}

void MemtestTest::aTextThatDoesNotGoIntoTheObjectIsLogged()
{
    const MessageCatcher catcher;
    QJsonObject vehicle;
    diagnostics::insertImage(&vehicle,
                             QJsonValue(QJsonValue::Undefined)); // the array that is never freed
    QCOMPARE(catcher.messages(),
             QStringList{
                 QStringLiteral("Error: image too large for JSON object, must be less than 98MB")});
}

VOND_TEST(MemtestTest);
#include "memtesttest.moc"
