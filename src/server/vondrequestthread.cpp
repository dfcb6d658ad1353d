#include "server/vondrequestthread.h"

#include "base/methods.h"
#include "http/socketio.h"
#include "server/lingeringclients.h"
#include "server/requesthdlr.h"

#include <exception>
#include <iostream>

VondRequestThread::VondRequestThread(QString vondPath,
                                     jobs::Registry *registry,
                                     int socketDescriptor,
                                     QObject *parent)
    : QThread(parent)
    , m_socketDescriptor(socketDescriptor)
    , m_vondPath(std::move(vondPath))
    , m_registry(registry)
{
}

void VondRequestThread::run()
{
    auto *socket = new QTcpSocket(nullptr); // stays allocated after the connection, see Lifetimes
    if (!socket->setSocketDescriptor(
            m_socketDescriptor, QAbstractSocket::ConnectedState, QIODevice::ReadWrite)) {
        Q_EMIT error(socket->error());
        return;
    }
    try {
        m_requestHandler = new RequestHdlr(socket, m_registry, m_vondPath); // stays, too
        static const QMetaMethod readyRead = base::methodOf<QTcpSocket>(SIGNAL(readyRead()));
        static const QMetaMethod disconnected = base::methodOf<QTcpSocket>(SIGNAL(disconnected()));
        static const QMetaMethod handle = base::methodOf<RequestHdlr>(SLOT(handleReadyRead()));
        static const QMetaMethod end = base::methodOf<VondRequestThread>(SLOT(quit()));
        connect(socket, readyRead, m_requestHandler, handle, Qt::DirectConnection);
        connect(socket, disconnected, this, end, Qt::AutoConnection);
        serveWithoutLoop(socket);
        if (socket->state() != QAbstractSocket::UnconnectedState) {
            exec();
        }
    } catch (const std::exception &e) {
        std::cerr << "Allocation failed, creating rqh: " << e.what() << '\n';
        quit();
    }
    releaseResources();
}

// Most clients send their request at once, and many no second one. Such a connection can be over
// before the event loop begins, whose end takes a turn of the main thread.
void VondRequestThread::serveWithoutLoop(QTcpSocket *socket)
{
    constexpr int promptMs = 10;
    if (!http::hasInputWithin(socket, promptMs)) {
        return;
    }
    (void)socket->waitForReadyRead(0); // it is there: handled as in the event loop
    if (socket->state() == QAbstractSocket::ConnectedState && m_lingeringClients != nullptr
        && m_requestHandler->isLingering() && m_lingeringClients->take(*socket)) {
        socket->abort();
    }
}

void VondRequestThread::releaseResources()
{
    try {
        if (m_requestHandler != nullptr) {
            m_requestHandler->releaseResources();
        }
    } catch (const std::exception &) { // NOLINT(bugprone-empty-catch): what is left stays
    }
}
