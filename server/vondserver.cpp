#include "server/vondserver.h"

#include "server/vondrequestthread.h"

VondServer::VondServer(QString vondPath, QObject *parent)
    : QTcpServer(parent)
    , m_vondPath(std::move(vondPath))
{
    // Deliberate: newConnection() is never emitted, for there is never a pending connection to
    // take; Qt by itself emits it after every incomingConnection().
    blockSignals(true);
}

void VondServer::incomingConnection(qintptr handle)
{
    auto *thread = new VondRequestThread(m_vondPath, &m_registry, static_cast<int>(handle), this);
    connect(thread, SIGNAL(finished()), thread, SLOT(deleteLater()), Qt::AutoConnection);
    thread->start(QThread::InheritPriority);
}
