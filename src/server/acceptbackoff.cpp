#include "server/acceptbackoff.h"

#include "base/descriptorreservation.h"

#include <QAbstractEventDispatcher>
#include <QTcpServer>

#ifdef Q_OS_UNIX
#include <fcntl.h>
#endif

namespace {

constexpr int turnsBetweenLooks = 100; // a check costs two system calls
constexpr int pauseMs = 100;

// The error that the server reports when waiting for a client has timed out.
constexpr QAbstractSocket::SocketError nobodyWaits = QAbstractSocket::SocketTimeoutError;

} // namespace

AcceptBackoff::AcceptBackoff(QTcpServer *server)
    : QObject(server)
    , m_server(server)
{
    connect(QAbstractEventDispatcher::instance(),
            SIGNAL(awake()),
            this,
            SLOT(handleAwake()),
            Qt::DirectConnection);
}

void AcceptBackoff::handleAwake()
{
    if (m_pause.isActive() || !m_server->isListening()) {
        return;
    }
    // Qt keeps the first error of a listening socket only. That is usually EAGAIN, after which an
    // EMFILE goes unnoticed and the event loop spins. If EMFILE came first, Qt has paused for good,
    // and pauses again after each client.
    if (!hasFailed()) {
        if (++m_turns < turnsBetweenLooks) {
            return;
        }
        m_turns = 0;
        if (base::lowestFreeDescriptor()) {
            return;
        }
        m_server->pauseAccepting();
    }
    m_pause.start(pauseMs, this);
}

void AcceptBackoff::timerEvent(QTimerEvent *)
{
    m_pause.stop();
    if (!hasFailed() || !listenAgain()) {
        m_server->resumeAccepting();
    }
}

bool AcceptBackoff::hasFailed() const
{
    const QAbstractSocket::SocketError error = m_server->serverError();
    return error != QAbstractSocket::UnknownSocketError && error != nobodyWaits;
}

// Makes the server forget the error of the socket that it listens on, by giving it a copy of the
// descriptor. The socket itself stays open, and so do the clients in its queue.
bool AcceptBackoff::listenAgain()
{
#ifdef Q_OS_UNIX
    const int copy = ::fcntl(static_cast<int>(m_server->socketDescriptor()), F_DUPFD_CLOEXEC, 0);
    if (copy < 0) {
        return false; // no free descriptor yet
    }
    m_server->close();
    (void)m_server->setSocketDescriptor(copy); // it is already listening
    // The server keeps its own error until it looks for a client. If there is one, it is accepted,
    // and the error is checked again at the next pause.
    (void)m_server->waitForNewConnection(0);
    return true;
#else
    return false;
#endif
}
