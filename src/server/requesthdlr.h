#pragma once

#include "jobs/connectionjob.h"
#include "jobs/registry.h"

#include <QObject>
#include <QTcpSocket> // whole, so that the slots register their argument's type

class QHttpServer;

// One client connection: hands the socket to an HTTP server of its own with the whole route table
// and holds what a conversion of this connection needs. Lives in the connection's thread and is
// never deleted (docs/architecture.md, "Lifetimes").
class RequestHdlr : public QObject
{
    Q_OBJECT

public:
    RequestHdlr(QTcpSocket *tcpSocket, jobs::Registry *registry, QString vondPath);

    // Frees the conversion texts, socket buffers and routes of a finished connection, and closes a
    // socket that is still open. No request may come after it. The socket object, the handler and
    // its HTTP server stay.
    void releaseResources();

    // Whether all that the connection waits for is the client's end.
    [[nodiscard]] bool isLingering() const;

public Q_SLOTS: // found by index and by name: keep the order
    // The first bytes have come.
    void handleReadyRead();
    void sendServerAnswer(QTcpSocket *tcpSocket);
    // Puts a fixed answer on the socket. Not used by the service; reached through the meta-object.
    void sendServerOkAnswer(QTcpSocket *tcpSocket);
    // The tool of the running conversion has printed something.
    void handleVondProgress();

private:
    friend struct ConnectionProbe; // lets the tests look

    void registerRoutes(QHttpServer *server); // in routes.cpp: the whole route table
    jobs::ConnectionJob lendJob();

    QTcpSocket *m_tcpSocket;
    QHttpServer *m_routeServer = nullptr; // until sendServerAnswer() makes it
    jobs::Registry *m_registry; // the server's, shared by all connections
    tool::ChildProcess *m_process = nullptr; // until the first conversion starts
    QString m_vondPath;
    QString m_requestId;
    QString m_lastStdOutMsg; // the tool's last output that was no progress
};
