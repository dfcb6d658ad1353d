#include "commands/queries.h"
#include "tests/support/messagecatcher.h"
#include "tests/support/standin.h"
#include "tests/support/testmain.h"

#include <QElapsedTimer>
#include <QtTest>

class HangingToolTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theAnswerComesAfterThirtySecondsAndTheToolIsGone();
};

void HangingToolTest::theAnswerComesAfterThirtySecondsAndTheToolIsGone()
{
    standin::behave("hang after a word");
    const MessageCatcher catcher; // Qt tells that it ends a running process
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(commands::version(standin::path()), QStringLiteral("partial\n"));
    QVERIFY(timer.elapsed() >= 30000);
    QVERIFY(timer.elapsed() < 35000);
    QVERIFY(standin::processId() > 0);
    QVERIFY(!standin::isAlive(standin::processId()));
}

VOND_TEST(HangingToolTest);
#include "hangingtooltest.moc"
