#pragma once

#include "base/descriptorreservation.h"

#include <QDeadlineTimer>
#include <QMutex>
#include <QObject>

#include <map>

class QTcpSocket;

// The clients that have had their last answer and have not closed their side yet. Listens to all of
// them at one place, so that a connection's thread need not stay for that. A child of the server,
// in its thread. Only on Linux; elsewhere it takes nobody.
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

    // Throws away what the client of this socket still sends until it closes its side, for
    // http::lingerMs at the most, and closes the connection then: through a descriptor of its own,
    // so that the caller can close the socket. False, and nothing done, when that cannot be had.
    // Any thread.
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

    int m_poll = -1; // an epoll(7) of all of them, and of the timer
    int m_timer = -1;
    QMutex m_mutex; // guards the rest
    std::map<int, Client> m_clients; // by descriptor
    bool m_timerRuns = false;
};
