#include "base/signalandslot.h"

#include "tests/support/testmain.h"

#include <QTest>
#include <QTimer>

namespace {

base::SignalAndSlot timeoutToStop()
{
    return base::SignalAndSlot::of<QTimer, QTimer>(SIGNAL(timeout()), SLOT(stop()));
}

// Whether the timer is stopped by the sender's signal.
bool stops(QTimer &sender, QTimer &receiver)
{
    constexpr int longMs = 100000;
    receiver.start(longMs);
    QMetaObject::invokeMethod(&sender, "timeout", Qt::DirectConnection, QGenericArgument());
    return !receiver.isActive();
}

} // namespace

class SignalAndSlotTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void theSignalReachesTheSlotUntilDisconnected()
    {
        QTimer sender;
        QTimer receiver;
        QVERIFY(!stops(sender, receiver));
        timeoutToStop().connect(&sender, &receiver, Qt::DirectConnection);
        QVERIFY(stops(sender, receiver));
        timeoutToStop().disconnect(&sender, &receiver);
        QVERIFY(!stops(sender, receiver));
    }

    void aConnectionBySignatureIsTheSame()
    {
        QTimer sender;
        QTimer receiver;
        timeoutToStop().connect(&sender, &receiver, Qt::AutoConnection);
        QVERIFY(disconnect(&sender, SIGNAL(timeout()), &receiver, SLOT(stop())));
        QVERIFY(!stops(sender, receiver));
        connect(&sender, SIGNAL(timeout()), &receiver, SLOT(stop()));
        timeoutToStop().disconnect(&sender, &receiver);
        QVERIFY(!stops(sender, receiver));
    }

    void inheritedSignalsAndSlotsAreFound()
    {
        const auto end =
            base::SignalAndSlot::of<QTimer, QTimer>(SIGNAL(destroyed()), SLOT(deleteLater()));
        auto *const sender = new QTimer;
        auto *const receiver = new QTimer(this);
        int gone = 0;
        connect(receiver, &QObject::destroyed, this, [&gone] { ++gone; });
        end.connect(sender, receiver, Qt::DirectConnection);
        delete sender;
        QTRY_COMPARE(gone, 1);
    }
};

VOND_TEST(SignalAndSlotTest);

#include "signalandslottest.moc"
