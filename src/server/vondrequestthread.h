#pragma once

#include "jobs/registry.h"

#include <QTcpSocket>
#include <QThread>

class LingeringClients;
class RequestHdlr;

// The thread of one connection: binds the socket, makes the handler, runs the event loop until the
// client has gone. The object itself lives in the main thread, is a child of the server and is
// deleted there when the thread has finished; what run() creates stays (docs/architecture.md,
// "Lifetimes").
class VondRequestThread : public QThread
{
    Q_OBJECT

public:
    VondRequestThread(QString vondPath,
                      jobs::Registry *registry,
                      int socketDescriptor,
                      QObject *parent);

    // Who waits for the client's end when the last answer is out. Before the start; without it the
    // thread does that itself.
    void setLingeringClients(LingeringClients *clients)
    {
        m_lingeringClients = clients;
    }

Q_SIGNALS:
    // The descriptor could not be made a socket. Nobody listens in the service.
    void error(QTcpSocket::SocketError socketError);

protected:
    void run() override;

private:
    friend struct ConnectionProbe; // lets the tests look

    void serveWithoutLoop(QTcpSocket *socket);
    void releaseResources(QTcpSocket *socket);

    // Deliberate: narrower than the handle it is given; widened with its sign when it is used.
    int m_socketDescriptor;
    RequestHdlr *m_requestHandler = nullptr; // set in run(); never deleted
    QString m_vondPath;
    jobs::Registry *m_registry; // the server's, shared by all connections
    LingeringClients *m_lingeringClients = nullptr; // the server's, like that
};
