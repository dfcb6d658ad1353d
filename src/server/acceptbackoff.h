#pragma once

#include <QBasicTimer>
#include <QObject>

class QTcpServer;

// Lets a server rest while the process, or the system, has no descriptor left, and go on then.
// Accepting fails while the client still waits, and Qt either tries again at once, for as long as
// that lasts, on a whole processor core, or never. A child of the server, in its thread.
class AcceptBackoff : public QObject
{
    Q_OBJECT

public:
    explicit AcceptBackoff(QTcpServer *server);

private Q_SLOTS:
    // Another turn of the event loop.
    void handleAwake();

protected:
    void timerEvent(QTimerEvent *event) override;

private:
    [[nodiscard]] bool hasFailed() const;
    [[nodiscard]] bool listenAnew();

    QTcpServer *m_server; // the parent
    int m_turns = 0; // since the last look
    QBasicTimer m_pause;
};
