#pragma once

#include <QByteArray>
#include <QTcpSocket>

#include <optional>

// One HTTP response, read from a socket by its Content-Length.
struct RawResponse
{
    QByteArray head; // status line and fields, without the empty line
    QByteArray body;

    [[nodiscard]] int status() const;
    // The field's value; null when there is none.
    [[nodiscard]] QByteArray value(const QByteArray &name) const;
};

// A client that sends bytes as given and returns the bytes that come back. Waiting runs the event
// loop of the test's thread.
class RawClient
{
public:
    explicit RawClient(quint16 port);

    void send(const QByteArray &bytes);
    // Closes the sending side; responses can still be read.
    void halfClose();
    // Aborts the connection, so that the other side gets a reset.
    void reset();

    // Everything that has arrived and has not been taken yet.
    [[nodiscard]] const QByteArray &received();
    // Waits for that many bytes and takes them; fewer if they do not arrive.
    QByteArray take(int size);
    // Waits for a whole response and takes it. `toHead`: a response to HEAD, which has no body.
    std::optional<RawResponse> takeResponse(bool toHead = false, int timeoutMs = 5000);
    // Takes a whole response and returns only its body; null when none arrives.
    QByteArray takeBody();
    // Whether the server closes the connection within the time.
    bool waitForClose(int timeoutMs = 5000);

    QTcpSocket &socket()
    {
        return m_socket;
    }

private:
    QTcpSocket m_socket;
    QByteArray m_received;
};
