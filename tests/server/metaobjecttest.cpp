#include "tests/server/connectionprobe.h"
#include "tests/support/testmain.h"

#include <QMetaMethod>
#include <QTest>

#include <algorithm>

// The classes are found by name and their methods by index, as text: others rely on this.
class MetaObjectTest : public QObject
{
    Q_OBJECT

private:
    static QMetaMethod ownMethod(const QMetaObject &meta, int index)
    {
        return meta.method(meta.methodOffset() + index);
    }

    static int ownMethodCount(const QMetaObject &meta)
    {
        return meta.methodCount() - meta.methodOffset();
    }

private Q_SLOTS:

    void theServerHasItsNameAndNothingElse()
    {
        const QMetaObject &meta = VondServer::staticMetaObject;
        QCOMPARE(meta.className(), "VondServer");
        QCOMPARE(meta.superClass()->className(), "QTcpServer");
        QCOMPARE(ownMethodCount(meta), 0);
        QCOMPARE(meta.propertyCount() - meta.propertyOffset(), 0);
        QCOMPARE(meta.classInfoCount() - meta.classInfoOffset(), 0);
        QCOMPARE(meta.enumeratorCount() - meta.enumeratorOffset(), 0);

        VondServer server{QString()};
        QVERIFY(server.qt_metacast("VondServer") == &server);
        QVERIFY(server.qt_metacast("QTcpServer") != nullptr);
        QVERIFY(server.qt_metacast("Other") == nullptr);
    }

    void theThreadHasOneSignal()
    {
        const QMetaObject &meta = VondRequestThread::staticMetaObject;
        QCOMPARE(meta.className(), "VondRequestThread");
        QCOMPARE(meta.superClass()->className(), "QThread");
        QCOMPARE(ownMethodCount(meta), 1);
        const QMetaMethod error = ownMethod(meta, 0);
        QCOMPARE(error.methodType(), QMetaMethod::Signal);
        QCOMPARE(error.access(), QMetaMethod::Public);
        QCOMPARE(error.methodSignature(), QByteArray("error(QTcpSocket::SocketError)"));
        QCOMPARE(QByteArray(error.typeName()), QByteArray("void"));
        QCOMPARE(error.parameterTypes(), QList<QByteArray>{"QTcpSocket::SocketError"});
        QCOMPARE(error.parameterNames(), QList<QByteArray>{"socketError"});
        QCOMPARE(meta.propertyCount() - meta.propertyOffset(), 0);
    }

    void theThreadRegistersNoArgumentType()
    {
        jobs::Registry registry;
        VondRequestThread thread(QString(), &registry, -1, nullptr);
        int type = 7;
        int argument = 0;
        void *arguments[] = {&type, &argument};
        const int left = thread.qt_metacall(QMetaObject::RegisterMethodArgumentMetaType,
                                            VondRequestThread::staticMetaObject.methodOffset(),
                                            arguments);
        QCOMPARE(type, -1);
        QVERIFY(left < 0);
    }

    void theHandlerHasFourSlotsInTheirOrder()
    {
        const QMetaObject &meta = RequestHdlr::staticMetaObject;
        QCOMPARE(meta.className(), "RequestHdlr");
        QCOMPARE(meta.superClass()->className(), "QObject");
        const QList<QByteArray> signatures = {"handleReadyRead()",
                                              "sendServerAnswer(QTcpSocket*)",
                                              "sendServerOkAnswer(QTcpSocket*)",
                                              "handleVondProgress()"};
        QCOMPARE(ownMethodCount(meta), signatures.size());
        for (int i = 0; i < signatures.size(); ++i) {
            const QMetaMethod slot = ownMethod(meta, i);
            QCOMPARE(slot.methodSignature(), signatures.at(i));
            QCOMPARE(slot.methodType(), QMetaMethod::Slot);
            QCOMPARE(slot.access(), QMetaMethod::Public);
            QCOMPARE(QByteArray(slot.typeName()), QByteArray("void"));
        }
        for (const int i : {1, 2}) {
            QCOMPARE(ownMethod(meta, i).parameterTypes(), QList<QByteArray>{"QTcpSocket*"});
            QCOMPARE(ownMethod(meta, i).parameterNames(), QList<QByteArray>{"tcpSocket"});
        }
        QCOMPARE(meta.propertyCount() - meta.propertyOffset(), 0);
    }

    void theHandlerRegistersTheSocketTypeOfItsSlots()
    {
        QTcpSocket socket;
        jobs::Registry registry;
        RequestHdlr handler(&socket, &registry, QString());
        const auto typeOf = [&handler](int slot, int argument) {
            int type = 7;
            void *arguments[] = {&type, &argument};
            handler.qt_metacall(QMetaObject::RegisterMethodArgumentMetaType,
                                RequestHdlr::staticMetaObject.methodOffset() + slot,
                                arguments);
            return type;
        };
        const int registered = typeOf(1, 0); // on first use
        QVERIFY(registered > 0);
        QCOMPARE(registered, QMetaType::type("QTcpSocket*"));
        QVERIFY(QMetaType::typeFlags(registered).testFlag(QMetaType::PointerToQObject));
        QCOMPARE(typeOf(2, 0), registered);
        QCOMPARE(typeOf(0, 0), -1);
        QCOMPARE(typeOf(3, 0), -1);
        QCOMPARE(typeOf(1, 1), -1);
    }

    void membersAreInTheirOrder()
    {
        VondServer server{QString()};
        VondRequestThread thread(QString(), nullptr, -1, nullptr);
        RequestHdlr handler(nullptr, nullptr, QString());
        for (const QVector<const void *> &members : {ConnectionProbe::members(server),
                                                     ConnectionProbe::members(thread),
                                                     ConnectionProbe::members(handler)}) {
            QVERIFY(std::is_sorted(members.cbegin(), members.cend(), std::less<const void *>()));
        }
        QCOMPARE(ConnectionProbe::descriptorSize(thread), 4);
        QCOMPARE(ConnectionProbe::requestId(handler), QString());
        QCOMPARE(ConnectionProbe::lastStdOutMsg(handler), QString());
        QVERIFY(handler.parent() == nullptr);
    }
};

VOND_TEST(MetaObjectTest);
#include "metaobjecttest.moc"
