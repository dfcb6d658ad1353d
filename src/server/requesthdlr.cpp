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

// Reads nothing: what has come in waits on the socket for the HTTP server.
void RequestHdlr::handleReadyRead()
{
    // What a stream would write; that would take a tenth of a connection's time.
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
        } catch (const std::bad_alloc &) { // NOLINT(bugprone-empty-catch): told above
        }
        tcpSocket->close();
        if (tcpSocket->state() == QAbstractSocket::UnconnectedState) {
            // Its disconnected() may be what there was no memory for.
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
    // Deliberate: flushed but not closed, whatever the answer says.
    tcpSocket->flush();
}

void RequestHdlr::handleVondProgress()
{
    jobs::takeOutputChunk(
        m_registry, m_requestId, m_process->readAllStandardOutput(), m_lastStdOutMsg);
}

void RequestHdlr::releaseResources()
{
    // Where a failure, and not the connection's end, brought this about, the descriptor is still
    // there: no memory for the HTTP server, or for what the socket itself wanted to read.
    m_tcpSocket->abort();
    m_tcpSocket->close(); // and with it its buffers; nobody has where no request ever came
    // The text of its last error, the end of the connection, would stay. Only an open one forgets
    // it.
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
