#pragma once

#include "base/descriptorreservation.h"

#include <QDeadlineTimer>
#include <QMutex>
#include <QObject>

#include <map>

class QTcpSocket;

// The clients that have received their last response but have not closed their side yet. Watches
// all of them in one place, so that their threads can end. A child of the server; lives in its
// thread. Linux only; elsewhere take() always fails.
class LingeringClients : public QObject
{
    Q_OBJECT

public:
    explicit LingeringClients(QObject *server);
    ~LingeringClients() override;
    LingeringClients(const LingeringClients &) = delete;
    LingeringClients &operator=(const LingeringClients &) = delete;
    LingeringClients(LingeringClients &&) = delete;
    LingeringClients &operator=(LingeringClients &&) = delete;

    // Discards further input from this socket's client until it closes its side, for http::lingerMs
    // at most, and then closes the connection. It duplicates the descriptor, so the caller can
    // close the socket. Does nothing and returns false when it cannot. Any thread.
    [[nodiscard]] bool take(const QTcpSocket &socket);

private Q_SLOTS:
    void handleActivity();

private:
    struct Client
    {
        // Within the connection's own reservation, which ends with its thread.
        base::DescriptorReservation reservation{1};
        QDeadlineTimer deadline;
    };

    [[nodiscard]] bool add(int descriptor);
    [[nodiscard]] bool listenTo(int descriptor) const;
    void wakeAt(const QDeadlineTimer &deadline);
    void closeLate();

    int m_poll = -1; // an epoll(7) instance for all clients and the timer
    int m_timer = -1;
    QMutex m_mutex; // guards the members below
    std::map<int, Client> m_clients; // by descriptor
    bool m_timerRuns = false;
};
