#pragma once

#include "jobs/registry.h"

#include <QTcpServer>

class LingeringClients;

// Accepts clients and gives each connection a thread of its own. Owns the conversion registry.
// Lives in the main thread.
class VondServer : public QTcpServer
{
    Q_OBJECT

public:
    // `vondPath` is the tool's executable, used as given.
    explicit VondServer(QString vondPath, QObject *parent = nullptr);

protected:
    void incomingConnection(qintptr handle) override;

private:
    friend struct ConnectionProbe; // lets the tests look

    void serve(qintptr handle);

    QString m_vondPath;
    jobs::Registry
        m_registry; // shared by all connections; locked by the functions of jobs/registry.h
    LingeringClients *m_lingeringClients; // a child
};
