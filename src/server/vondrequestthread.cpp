#include "server/vondrequestthread.h"

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
        connect(socket,
                SIGNAL(readyRead()),
                m_requestHandler,
                SLOT(handleReadyRead()),
                Qt::DirectConnection);
        connect(socket, SIGNAL(disconnected()), this, SLOT(quit()), Qt::AutoConnection);
        exec();
    } catch (const std::exception &e) {
        std::cerr << "Allocation failed, creating rqh: " << e.what() << '\n';
        quit();
    }
    releaseResources();
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
