#include "server/acceptpause.h"

#include "tool/descriptorclaim.h"

#include <QAbstractEventDispatcher>
#include <QTcpServer>

namespace {

constexpr int turnsBetweenLooks = 100; // a look costs two calls of the system
constexpr int pauseMs = 100;

} // namespace

AcceptPause::AcceptPause(QTcpServer *server)
    : QObject(server)
    , m_server(server)
{
    connect(QAbstractEventDispatcher::instance(),
            SIGNAL(awake()),
            this,
            SLOT(handleAwake()),
            Qt::DirectConnection);
}

void AcceptPause::handleAwake()
{
    if (m_pause.isActive() || !m_server->isListening()) {
        return;
    }
    // The first failure of a listening socket is the one that Qt remembers. Mostly that was finding
    // nobody else waiting, which is no error: then the event loop turns and turns. When it was this
    // one, Qt has stopped accepting for good, and stops again after each client that comes.
    if (m_server->serverError() == QAbstractSocket::UnknownSocketError) {
        if (++m_turns < turnsBetweenLooks) {
            return;
        }
        m_turns = 0;
        if (tool::lowestFreeDescriptor()) {
            return;
        }
        m_server->pauseAccepting();
    }
    m_pause.start(pauseMs, this);
}

void AcceptPause::timerEvent(QTimerEvent *)
{
    m_pause.stop();
    m_server->resumeAccepting();
}
