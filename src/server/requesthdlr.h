#pragma once

#include "jobs/connectionjob.h"
#include "jobs/registry.h"

#include <QObject>
#include <QTcpSocket> // complete, so that the slots register their argument type

class QHttpServer;

// One client connection: gives its socket to an HTTP server of its own with the whole route table,
// and holds the state of this connection's conversions. Lives in the connection's thread and is
// never deleted (docs/architecture.md, "Lifetimes").
class RequestHdlr : public QObject
{
    Q_OBJECT

public:
    RequestHdlr(QTcpSocket *tcpSocket, jobs::Registry *registry, QString vondPath);

    // Frees the conversion texts, socket buffers and routes of a finished connection, and closes
    // the socket if it is still open. No request may follow. The socket object, the handler and its
    // HTTP server remain allocated.
    void releaseResources();

    // Whether the connection only waits for the client to close its side.
    [[nodiscard]] bool isLingering() const;

public Q_SLOTS: // found by index and by name: keep the order
    // The first bytes have arrived.
    void handleReadyRead();
    void sendServerAnswer(QTcpSocket *tcpSocket);
    // Writes a fixed response to the socket. Not used by the service; callable through the
    // meta-object.
    void sendServerOkAnswer(QTcpSocket *tcpSocket);
    // The tool of the running conversion has printed something.
    void handleVondProgress();

private:
    friend struct ConnectionProbe; // lets the tests look

    void registerRoutes(QHttpServer *server); // in routes.cpp: the whole route table
    jobs::ConnectionJob lendJob();

    QTcpSocket *m_tcpSocket;
    QHttpServer *m_routeServer = nullptr; // until sendServerAnswer() creates it
    jobs::Registry *m_registry; // owned by the server, shared by all connections
    tool::ChildProcess *m_process = nullptr; // until the first conversion starts
    QString m_vondPath;
    QString m_requestId;
    QString m_lastStdOutMsg; // the tool's last output other than progress
};
