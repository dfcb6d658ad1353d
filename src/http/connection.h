#pragma once

#include "http/requestparser.h"

#include <QBasicTimer>
#include <QObject>

class QAbstractHttpServer;
class QHttpServerResponse;
class QTcpSocket;

namespace http {

// The longest time from first byte to last for a request head, for a line of chunk framing, and for
// the last chunk with its trailers.
constexpr int framingTimeoutMs = 60000;

// How long to keep reading after the last response from a client that does not close its side.
constexpr int lingerMs = 5000;

// HTTP on one socket. A child of the server; lives in the socket's thread, and when the socket
// disconnects, frees the socket's buffers and deletes itself.
class Connection : public QObject
{
    Q_OBJECT

public:
    Connection(QAbstractHttpServer *server, QTcpSocket *socket);

    // Whether the last response has been sent and only the client's end of input is awaited.
    [[nodiscard]] bool isLingering() const
    {
        return m_state == State::Lingering;
    }

public Q_SLOTS:
    // Reads what has arrived and answers every complete request, in order. Closes the socket before
    // it rethrows an exception from a view, or std::bad_alloc.
    void handleSocketReadable();
    void handleDisconnected();

protected:
    void timerEvent(QTimerEvent *event) override;

private:
    enum class State
    {
        Serving,
        Lingering, // the last response is sent; further input is discarded
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
    QTcpSocket *m_socket; // owned by the caller
    State m_state = State::Serving;
    std::unique_ptr<RequestParser> m_parser; // null once nothing more is parsed
    QBasicTimer m_framingTimer;
    qint64 m_watchedFraming = 0; // the piece that the timer covers, see RequestParser
    QBasicTimer m_lingerTimer;
};

} // namespace http
