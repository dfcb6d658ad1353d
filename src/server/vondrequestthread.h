#pragma once

#include "jobs/registry.h"

#include <QTcpSocket>
#include <QThread>

class LingeringClients;
class RequestHdlr;

// The thread of one connection: binds the socket, creates the handler and runs the event loop until
// the client disconnects. The object itself lives in the main thread, is a child of the server and
// is deleted there when the thread has finished; what run() creates remains allocated
// (docs/architecture.md, "Lifetimes").
class VondRequestThread : public QThread
{
    Q_OBJECT

public:
    VondRequestThread(QString vondPath,
                      jobs::Registry *registry,
                      int socketDescriptor,
                      QObject *parent);

    // Sets who waits for the client to close its side after the last response; without this, the
    // thread waits itself. To be called before start().
    void setLingeringClients(LingeringClients *clients)
    {
        m_lingeringClients = clients;
    }

Q_SIGNALS:
    // The socket could not be made from the descriptor. Not connected in the service.
    void error(QTcpSocket::SocketError socketError);

protected:
    void run() override;

private:
    friend struct ConnectionProbe; // lets the tests look

    void serveWithoutLoop(QTcpSocket *socket);
    void releaseResources(QTcpSocket *socket);

    // Deliberate: narrower than the handle it is given; sign-extended when it is used.
    int m_socketDescriptor;
    RequestHdlr *m_requestHandler = nullptr; // set in run(); never deleted
    QString m_vondPath;
    jobs::Registry *m_registry; // owned by the server, shared by all connections
    LingeringClients *m_lingeringClients = nullptr; // owned by the server, too
};
