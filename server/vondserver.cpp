#include "server/vondserver.h"

#include "server/vondrequestthread.h"

VondServer::VondServer(QString vondPath, QObject *parent)
    : QTcpServer(parent)
    , m_vondPath(std::move(vondPath))
{
}

// Deliberate: the connection is not queued as pending, so newConnection() is never emitted: the
// thread is the only one to know the socket.
void VondServer::incomingConnection(qintptr handle)
{
    auto *thread = new VondRequestThread(m_vondPath, &m_registry, static_cast<int>(handle), this);
    connect(thread, SIGNAL(finished()), thread, SLOT(deleteLater()), Qt::AutoConnection);
    thread->start(QThread::InheritPriority);
}
