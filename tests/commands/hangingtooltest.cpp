#include "commands/queries.h"
#include "tests/support/faketool.h"
#include "tests/support/messagecatcher.h"
#include "tests/support/testmain.h"

#include <QElapsedTimer>
#include <QTest>

class HangingToolTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theAnswerComesAfterThirtySecondsAndTheToolIsGone();
};

void HangingToolTest::theAnswerComesAfterThirtySecondsAndTheToolIsGone()
{
    faketool::behave("hang after a word");
    const MessageCatcher catcher; // Qt warns that it kills a running process
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(commands::version(faketool::path()), QStringLiteral("partial\n"));
    QVERIFY(timer.elapsed() >= 30000);
    QVERIFY(timer.elapsed() < 35000);
    QVERIFY(faketool::processId() > 0);
    QVERIFY(!faketool::isAlive(faketool::processId()));
}

VOND_TEST(HangingToolTest);
#include "hangingtooltest.moc"
