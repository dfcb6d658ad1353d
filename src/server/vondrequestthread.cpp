#include "server/vondrequestthread.h"

#include "base/room.h"
#include "base/signalandslot.h"
#include "http/socketio.h"
#include "server/lingeringclients.h"
#include "server/requesthdlr.h"

#include <exception>
#include <iostream>
#include <memory>

#ifdef Q_OS_UNIX
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace {

#ifdef Q_OS_UNIX

// Whether both are the same open socket: a closed descriptor's number may already be in use again.
bool isSame(const struct stat &one, const struct stat &other)
{
    return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

// Ends a connection that ran out of memory while it was being set up. There is no way to ask
// whether the socket already owns the descriptor; if it does, deleting the socket closes it.
void closeUnbound(std::unique_ptr<QTcpSocket> socket, int descriptor)
{
    struct stat before = {};
    struct stat after = {};
    const bool isOpen = ::fstat(descriptor, &before) == 0;
    socket.reset();
    if (isOpen && ::fstat(descriptor, &after) == 0 && isSame(before, after)) {
        (void)::close(descriptor);
    }
}

#else

void closeUnbound(std::unique_ptr<QTcpSocket>, int) { }

#endif

} // namespace

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
    QTcpSocket *socket = nullptr; // stays allocated after the connection, see Lifetimes
    bool isBound = false;
    try {
        base::ensureRoom(); // running out of memory in the next lines would end the process
        socket = new QTcpSocket(nullptr);
        if (!socket->setSocketDescriptor(
                m_socketDescriptor, QAbstractSocket::ConnectedState, QIODevice::ReadWrite)) {
            Q_EMIT error(socket->error());
            return;
        }
        isBound = true;
        m_requestHandler = new RequestHdlr(socket, m_registry, m_vondPath); // stays allocated, too
        static const auto firstBytes = base::SignalAndSlot::of<QTcpSocket, RequestHdlr>(
            SIGNAL(readyRead()), SLOT(handleReadyRead()));
        static const auto end = base::SignalAndSlot::of<QTcpSocket, VondRequestThread>(
            SIGNAL(disconnected()), SLOT(quit()));
        firstBytes.connect(socket, m_requestHandler, Qt::DirectConnection);
        end.connect(socket, this, Qt::AutoConnection);
        serveWithoutLoop(socket);
        if (socket->state() != QAbstractSocket::UnconnectedState) {
            exec();
        }
    } catch (const std::exception &e) {
        std::cerr << "Allocation failed, creating rqh: " << e.what() << '\n';
        quit();
    }
    if (isBound) {
        releaseResources(socket);
    } else {
        closeUnbound(std::unique_ptr<QTcpSocket>(socket), m_socketDescriptor);
    }
}

// Most clients send their request at once, and many send no second one. Such a connection can be
// over before the event loop starts, which saves a turn of the main thread at its end.
void VondRequestThread::serveWithoutLoop(QTcpSocket *socket)
{
    constexpr int promptMs = 10;
    if (!http::hasInputWithin(socket, promptMs)) {
        return;
    }
    (void)socket->waitForReadyRead(0); // input is there; it is handled as in the event loop
    if (socket->state() == QAbstractSocket::ConnectedState && m_lingeringClients != nullptr
        && m_requestHandler->isLingering() && m_lingeringClients->take(*socket)) {
        socket->abort();
    }
}

void VondRequestThread::releaseResources(QTcpSocket *socket)
{
    try {
        if (m_requestHandler != nullptr) {
            m_requestHandler->releaseResources();
        } else {
            socket->abort();
        }
    } catch (const std::exception &) { // NOLINT(bugprone-empty-catch): the rest is leaked
    }
}
