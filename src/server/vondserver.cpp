#include "server/vondserver.h"

#include "base/room.h"
#include "base/signalandslot.h"
#include "server/acceptbackoff.h"
#include "server/clientreservation.h"
#include "server/lingeringclients.h"
#include "server/vondrequestthread.h"

#include <memory>
#include <new>

namespace {

// The deepest JSON that Qt reads takes some 300 KiB, and a thread checker a megabyte for itself.
// The C library keeps some 40 MiB of stacks for the next threads: with the usual 8 MiB each, nearly
// every connection maps a new one.
constexpr uint threadStackBytes = 2 * 1024 * 1024;

} // namespace

VondServer::VondServer(QString vondPath, QObject *parent)
    : QTcpServer(parent)
    , m_vondPath(std::move(vondPath))
    , m_lingeringClients(new LingeringClients(this))
{
    // Deliberate: newConnection() is never emitted, for there is never a pending connection to
    // take; Qt by itself emits it after every incomingConnection().
    blockSignals(true);
    new AcceptBackoff(this);
}

void VondServer::incomingConnection(qintptr handle)
{
    try {
        base::ensureRoom();
        serve(handle);
    } catch (const std::bad_alloc &) {
        server::rejectClient(handle, "no memory is left");
    }
}

// What is thrown leaves the descriptor to the caller.
void VondServer::serve(qintptr handle)
{
    auto claim = ClientReservation::make(handle);
    if (!claim) {
        server::rejectClient(handle, "too few descriptors are left");
        return;
    }
    auto thread = std::make_unique<VondRequestThread>(
        m_vondPath, &m_registry, static_cast<int>(handle), this);
    claim.release()->setParent(thread.get());
    static const auto end = base::SignalAndSlot::of<VondRequestThread, VondRequestThread>(
        SIGNAL(finished()), SLOT(deleteLater()));
    end.connect(thread.get(), thread.get(), Qt::AutoConnection);
    thread->setLingeringClients(m_lingeringClients);
    thread->setStackSize(threadStackBytes);
    thread->start(QThread::InheritPriority);
    if (!thread->isRunning() && !thread->isFinished()) { // it never began, so nobody has the socket
        server::rejectClient(handle, "no thread can be started");
        return;
    }
    static_cast<void>(thread.release()); // deletes itself, see above
}
