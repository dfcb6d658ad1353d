#pragma once

#include <QByteArray>
#include <QTcpSocket>

#include <optional>

// One HTTP answer, read off a socket by its Content-Length.
struct RawResponse
{
    QByteArray head; // status line and fields, without the empty line
    QByteArray body;

    [[nodiscard]] int status() const;
    // The field's value; null when there is none.
    [[nodiscard]] QByteArray value(const QByteArray &name) const;
};

// A client that sends bytes as they are given and shows the bytes that come back. Waiting runs the
// event loop of the test's thread.
class RawClient
{
public:
    explicit RawClient(quint16 port);

    void send(const QByteArray &bytes);
    // No more will be sent; answers can still be read.
    void halfClose();
    // Ends the connection without the usual farewell, so that the other side gets a reset.
    void reset();

    // Everything that has come and was not taken yet.
    [[nodiscard]] const QByteArray &received();
    // Waits for that many bytes and takes them; fewer when they do not come.
    QByteArray take(int size);
    // Waits for a whole answer and takes it. `toHead`: an answer to HEAD, which has no body.
    std::optional<RawResponse> takeResponse(bool toHead = false, int timeoutMs = 5000);
    // Takes a whole answer for its body alone; a null one when none comes.
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
