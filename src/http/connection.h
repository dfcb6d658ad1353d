#pragma once

#include "http/requestparser.h"

#include <QBasicTimer>
#include <QObject>

class QAbstractHttpServer;
class QHttpServerResponse;
class QTcpSocket;

namespace http {

// How long a head may take from its first byte to its last, and a line of chunk framing, or the
// last chunk with its trailers, likewise.
constexpr int framingTimeoutMs = 60000;

// How long a client that has had its last answer is listened to when it does not close its side.
constexpr int lingerMs = 5000;

// One socket's HTTP dialogue. A child of the server; lives in the socket's thread, empties the
// socket's buffers and deletes itself when the socket has disconnected.
class Connection : public QObject
{
    Q_OBJECT

public:
    Connection(QAbstractHttpServer *server, QTcpSocket *socket);

    // Whether the last answer is out, and what is left is to wait for the client's end.
    [[nodiscard]] bool isLingering() const
    {
        return m_state == State::Lingering;
    }

public Q_SLOTS:
    // Reads what has come and answers every request that is whole, in order. Closes the socket
    // before an exception, of a view or for want of memory, leaves it.
    void handleSocketReadable();
    void handleDisconnected();

protected:
    void timerEvent(QTimerEvent *event) override;

private:
    enum class State
    {
        Serving,
        Lingering, // answered for the last time; what still comes is thrown away
        Gone,
    };

    template <typename Work>
    void closingOnFailure(Work work);
    void readInput();
    void readBodyDirectly();
    void takeBytes(const char *data, qint64 size);
    void act(RequestParser::Result result);
    void answer();
    void reject(RequestParser::Result result);
    void rejectWith(const QHttpServerResponse &response);
    void linger();
    void sendContinueIfDue();
    void watchFraming();
    void releaseResources();

    QAbstractHttpServer *m_server; // the parent
    QTcpSocket *m_socket; // the caller's
    State m_state = State::Serving;
    std::unique_ptr<RequestParser> m_parser; // none when nothing more is parsed
    QBasicTimer m_framingTimer;
    qint64 m_watchedFraming = 0; // what the timer counts for, see the parser
    QBasicTimer m_lingerTimer;
};

} // namespace http
