#include "tests/support/rawclient.h"

#include <QHostAddress>
#include <QTest>

#ifdef Q_OS_WIN
#include <winsock2.h>
#else
#include <sys/socket.h>
#endif

namespace {

#ifdef Q_OS_WIN
using Descriptor = SOCKET;
constexpr int sending = SD_SEND;
#else
using Descriptor = int;
constexpr int sending = SHUT_WR;
#endif

} // namespace

int RawResponse::status() const
{
    return head.split(' ').value(1).toInt();
}

QByteArray RawResponse::value(const QByteArray &name) const
{
    const QList<QByteArray> lines = head.split('\n');
    for (const QByteArray &line : lines) {
        const int colon = line.indexOf(':');
        if (colon > 0 && line.left(colon).compare(name, Qt::CaseInsensitive) == 0) {
            return line.mid(colon + 1).trimmed();
        }
    }
    return {};
}

RawClient::RawClient(quint16 port)
{
    m_socket.connectToHost(QHostAddress(QHostAddress::LocalHost), port);
    if (!m_socket.waitForConnected(5000)) {
        qFatal("no connection to port %d", port);
    }
}

void RawClient::send(const QByteArray &bytes)
{
    m_socket.write(bytes);
    m_socket.flush();
}

void RawClient::halfClose()
{
    while (m_socket.bytesToWrite() > 0 && m_socket.waitForBytesWritten(5000)) { }
    ::shutdown(static_cast<Descriptor>(m_socket.socketDescriptor()), sending);
}

void RawClient::reset()
{
    const linger none = {1, 0};
    ::setsockopt(static_cast<Descriptor>(m_socket.socketDescriptor()),
                 SOL_SOCKET,
                 SO_LINGER,
                 reinterpret_cast<const char *>(&none),
                 sizeof none);
    m_socket.abort();
}

const QByteArray &RawClient::received()
{
    m_received += m_socket.readAll();
    return m_received;
}

QByteArray RawClient::take(int size)
{
    (void)QTest::qWaitFor([this, size] { return received().size() >= size; });
    const QByteArray taken = m_received.left(size);
    m_received.remove(0, taken.size());
    return taken;
}

std::optional<RawResponse> RawClient::takeResponse(bool toHead, int timeoutMs)
{
    RawResponse response;
    int end = -1;
    const bool whole = QTest::qWaitFor(
        [&] {
            if (end < 0) {
                end = received().indexOf("\r\n\r\n");
                if (end < 0) {
                    return false;
                }
                response.head = m_received.left(end);
            }
            const int length = toHead ? 0 : response.value("Content-Length").toInt();
            return received().size() >= end + 4 + length;
        },
        timeoutMs);
    if (!whole) {
        return std::nullopt;
    }
    const int length = toHead ? 0 : response.value("Content-Length").toInt();
    response.body = m_received.mid(end + 4, length);
    m_received.remove(0, end + 4 + length);
    return response;
}

QByteArray RawClient::takeBody()
{
    const auto response = takeResponse();
    return response ? response->body : QByteArray();
}

bool RawClient::waitForClose(int timeoutMs)
{
    return QTest::qWaitFor(
        [this] {
            (void)received(); // so that the end after the last bytes is seen
            return m_socket.state() == QAbstractSocket::UnconnectedState;
        },
        timeoutMs);
}
