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

// Far more than a request takes (JSON is read without recursion); a thread sanitizer needs a
// megabyte of it. The C library caches some 40 MiB of stacks for later threads: at the usual 8 MiB
// each, nearly every connection would map a new one.
//
// Windows would commit the whole size for each thread at once. 0 is the size that is written in the
// program, which is the same and committed page by page.
#ifdef Q_OS_WIN
constexpr uint threadStackBytes = 0;
#else
constexpr uint threadStackBytes = 2 * 1024 * 1024;
#endif

} // namespace

VondServer::VondServer(QString vondPath, QObject *parent)
    : QTcpServer(parent)
    , m_vondPath(std::move(vondPath))
    , m_lingeringClients(new LingeringClients(this))
{
    // Deliberate: newConnection() is never emitted, because there is never a pending connection to
    // take; Qt would emit it after every incomingConnection().
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

// When this throws, the caller still owns the descriptor.
void VondServer::serve(qintptr handle)
{
    auto reservation = ClientReservation::make(handle);
    if (!reservation) {
        server::rejectClient(handle, "too few descriptors are left");
        return;
    }
    auto thread = std::make_unique<VondRequestThread>(
        m_vondPath, &m_registry, static_cast<int>(handle), this);
    reservation.release()->setParent(thread.get());
    static const auto end = base::SignalAndSlot::of<VondRequestThread, VondRequestThread>(
        SIGNAL(finished()), SLOT(deleteLater()));
    end.connect(thread.get(), thread.get(), Qt::AutoConnection);
    thread->setLingeringClients(m_lingeringClients);
    thread->setStackSize(threadStackBytes);
    thread->start(QThread::InheritPriority);
    if (!thread->isRunning() && !thread->isFinished()) { // never started: nobody owns the socket
        server::rejectClient(handle, "no thread can be started");
        return;
    }
    static_cast<void>(thread.release()); // deletes itself, see above
}
