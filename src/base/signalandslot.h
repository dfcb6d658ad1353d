#pragma once

#include <QMetaMethod>
#include <QMetaObject>
#include <QObject>

namespace base {

// A signal of one class and a slot of another, looked up once: for connections that are made over
// and over. Those by signature look both up each time, and those by QMetaMethod compare their
// signatures; together they took a tenth of a connection's time. What this connects is otherwise
// the same as what QObject::connect() with SIGNAL() and SLOT() does, and can be disconnected like
// that.
class SignalAndSlot
{
public:
    // The signatures as SIGNAL() and SLOT() write them, in normal form.
    template <typename Sender, typename Receiver>
    [[nodiscard]] static SignalAndSlot of(const char *signal, const char *slot)
    {
        return {indexOf(Sender::staticMetaObject, signal),
                indexOf(Receiver::staticMetaObject, slot)};
    }

    void connect(const QObject *sender, const QObject *receiver, Qt::ConnectionType type) const
    {
        QMetaObject::connect(sender, m_signal, receiver, m_slot, type);
    }

    void disconnect(const QObject *sender, const QObject *receiver) const
    {
        QMetaObject::disconnect(sender, m_signal, receiver, m_slot);
    }

private:
    SignalAndSlot(int signal, int slot)
        : m_signal(signal)
        , m_slot(slot)
    {
    }

    static int indexOf(const QMetaObject &meta, const char *signature)
    {
        const int index = meta.indexOfMethod(signature + 1); // a digit says which of the two it is
        Q_ASSERT_X(index >= 0, "SignalAndSlot", signature);
        return index;
    }

    int m_signal;
    int m_slot;
};

} // namespace base
