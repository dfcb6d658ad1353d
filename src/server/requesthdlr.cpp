#include "server/requesthdlr.h"

#include "base/debugline.h"
#include "base/signalandslot.h"
#include "http/qhttpserver.h"
#include "jobs/progress.h"

#include <QHostAddress>
#include <QStringBuilder>
#include <QTcpSocket>
#include <QThread>

#include <exception>
#include <iostream>
#include <new>

RequestHdlr::RequestHdlr(QTcpSocket *tcpSocket, jobs::Registry *registry, QString vondPath)
    : m_tcpSocket(tcpSocket)
    , m_registry(registry)
    , m_vondPath(std::move(vondPath))
{
}

// Reads nothing: the input stays on the socket for the HTTP server.
void RequestHdlr::handleReadyRead()
{
    // The same lines as through QDebug streams, which would take a tenth of a connection's time.
    base::writeDebugLine(QLatin1String("handling request from client: QHostAddress(\"")
                         % m_tcpSocket->peerAddress().toString() % QLatin1String("\")"));
    base::writeDebugLine(QLatin1String("descr: ")
                         % QString::number(m_tcpSocket->socketDescriptor()));
    static const auto firstBytes = base::SignalAndSlot::of<QTcpSocket, RequestHdlr>(
        SIGNAL(readyRead()), SLOT(handleReadyRead()));
    firstBytes.disconnect(m_tcpSocket, this);
    sendServerAnswer(m_tcpSocket);
}

void RequestHdlr::sendServerAnswer(QTcpSocket *tcpSocket)
{
    m_routeServer = new QHttpServer(nullptr); // stays allocated after the connection, see Lifetimes
    registerRoutes(m_routeServer);
    try {
        m_routeServer->newHttpConnection(tcpSocket);
    } catch (const std::exception &e) {
        std::cerr << "Request body allocation failed: " << e.what() << '\n';
        try {
            base::debugLine("Request body allocation failed: ", e.what(), '\n');
        } catch (const std::bad_alloc &) { // NOLINT(bugprone-empty-catch): printed above
        }
        tcpSocket->close();
        if (tcpSocket->state() == QAbstractSocket::UnconnectedState) {
            // disconnected() may be what ran out of memory.
            QThread::currentThread()->quit();
        }
    }
}

void RequestHdlr::sendServerOkAnswer(QTcpSocket *tcpSocket)
{
    const QByteArray body = QByteArrayLiteral("Hello world!");
    tcpSocket->write("HTTP/1.1 200 OK");
    tcpSocket->write("\r\n");
    tcpSocket->write("Content-Length: ");
    tcpSocket->write(QByteArray::number(body.size(), 10));
    tcpSocket->write("\r\n");
    tcpSocket->write("Connection: close");
    tcpSocket->write("\r\n");
    tcpSocket->write("Content-Type: text/html");
    tcpSocket->write("\r\n\r\n");
    tcpSocket->write(body);
    // Deliberate: flushed but not closed, whatever the response says.
    tcpSocket->flush();
}

void RequestHdlr::handleVondProgress()
{
    jobs::takeOutputChunk(
        m_registry, m_requestId, m_process->readAllStandardOutput(), m_lastStdOutMsg);
}

void RequestHdlr::releaseResources()
{
    // After a failure (no memory for the HTTP server, or for the socket's own reading) rather than
    // the end of the connection, the descriptor is still open.
    m_tcpSocket->abort();
    m_tcpSocket->close(); // frees its buffers; nobody else has, if no request ever came
    // The text of its last error, the end of the connection, would stay allocated. Opening it again
    // is the only way to clear that.
    (void)m_tcpSocket->open(QIODevice::ReadOnly);
    m_tcpSocket->close();
    if (m_routeServer != nullptr) {
        m_routeServer->router()->clear();
    }
    m_requestId = QString();
    m_lastStdOutMsg = QString();
}

bool RequestHdlr::isLingering() const
{
    return m_routeServer != nullptr && m_routeServer->isLingering();
}

jobs::ConnectionJob RequestHdlr::lendJob()
{
    return {this, m_process, m_requestId, m_lastStdOutMsg};
}
