#include "server/acceptbackoff.h"

#include "base/descriptorreservation.h"

#include <QAbstractEventDispatcher>
#include <QTcpServer>

#ifdef Q_OS_UNIX
#include <fcntl.h>
#endif

namespace {

constexpr int turnsBetweenLooks = 100; // a look costs two calls of the system
constexpr int pauseMs = 100;

// What a server that waited for a client, but not for long, remembers.
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
    // Qt keeps the first error of a listening socket only. Mostly that is EAGAIN, after which an
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
    if (!hasFailed() || !listenAnew()) {
        m_server->resumeAccepting();
    }
}

bool AcceptBackoff::hasFailed() const
{
    const QAbstractSocket::SocketError error = m_server->serverError();
    return error != QAbstractSocket::UnknownSocketError && error != nobodyWaits;
}

// Gives the server a fresh view of the socket that it listens on, without the failure that it would
// remember for ever. The socket itself, with the clients that wait there, stays open meanwhile.
bool AcceptBackoff::listenAnew()
{
#ifdef Q_OS_UNIX
    const int copy = ::fcntl(static_cast<int>(m_server->socketDescriptor()), F_DUPFD_CLOEXEC, 0);
    if (copy < 0) {
        return false; // there is none free yet
    }
    m_server->close();
    (void)m_server->setSocketDescriptor(copy); // a listening socket, which it was until now
    // The server's own error outlives this and is replaced by the outcome of looking for a client.
    // Should one be there, it is taken, and the next pause looks again.
    (void)m_server->waitForNewConnection(0);
    return true;
#else
    return false;
#endif
}
