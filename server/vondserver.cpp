#include "server/vondserver.h"

#include "server/acceptpause.h"
#include "server/clientclaim.h"
#include "server/vondrequestthread.h"

VondServer::VondServer(QString vondPath, QObject *parent)
    : QTcpServer(parent)
    , m_vondPath(std::move(vondPath))
{
    // Deliberate: newConnection() is never emitted, for there is never a pending connection to
    // take; Qt by itself emits it after every incomingConnection().
    blockSignals(true);
    new AcceptPause(this);
}

void VondServer::incomingConnection(qintptr handle)
{
    auto claim = ClientClaim::make();
    if (!claim) {
        server::refuseClient(handle, "too few descriptors are left");
        return;
    }
    auto *thread = new VondRequestThread(m_vondPath, &m_registry, static_cast<int>(handle), this);
    claim.release()->setParent(thread);
    connect(thread, SIGNAL(finished()), thread, SLOT(deleteLater()), Qt::AutoConnection);
    thread->start(QThread::InheritPriority);
    if (!thread->isRunning() && !thread->isFinished()) { // it never began, so nobody has the socket
        server::refuseClient(handle, "no thread can be started");
        delete thread;
    }
}
