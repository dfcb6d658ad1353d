#pragma once

#include <QBasicTimer>
#include <QObject>

class QTcpServer;

// Pauses accepting while the process, or the system, is out of descriptors, and resumes it later.
// Without it, accepting fails while the client is still in the queue, and Qt either retries at
// once, keeping a core busy for as long as that lasts, or never again. A child of the server; lives
// in its thread.
class AcceptBackoff : public QObject
{
    Q_OBJECT

public:
    explicit AcceptBackoff(QTcpServer *server);

private Q_SLOTS:
    // The event loop has woken up.
    void handleAwake();

protected:
    void timerEvent(QTimerEvent *event) override;

private:
    [[nodiscard]] bool hasFailed() const;
    [[nodiscard]] bool listenAgain();

    QTcpServer *m_server; // the parent
    int m_turns = 0; // since the last check
    QBasicTimer m_pause;
};
