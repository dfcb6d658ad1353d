#include "http/connection.h"

#include "base/signalandslot.h"
#include "http/qabstracthttpserver.h"
#include "http/qhttpserverresponse.h"
#include "http/socketio.h"

#include <QTcpSocket>
#include <QTimerEvent>

#include <array>

namespace http {
namespace {

// The C library keeps 16 KiB of a stack for the next thread; beyond that, a thread pays a page
// fault for each 4 KiB. Parsing and answering a request from a buffer of this size stays below.
constexpr std::size_t readStep = 4096;

using StatusCode = QHttpServerResponse::StatusCode;

// The layer's own responses to bytes that are not a request for a route.
QHttpServerResponse rejection(RequestParser::Result result)
{
    switch (result) {
    case RequestParser::Result::HeadTooLarge:
        return {StatusCode::RequestHeaderFieldsTooLarge, "Request head too large"};
    case RequestParser::Result::BodyTooLarge:
        return {StatusCode::ContentTooLarge, "Request body too large"};
    case RequestParser::Result::MethodUnknown:
        return {StatusCode::NotImplemented, "Method not supported"};
    case RequestParser::Result::CodingUnknown:
        return {StatusCode::NotImplemented, "Transfer coding not supported"};
    case RequestParser::Result::VersionUnknown:
        return {StatusCode::HttpVersionNotSupported, "HTTP version not supported"};
    case RequestParser::Result::ExpectationUnknown:
        return {StatusCode::ExpectationFailed, "Expectation not supported"};
    case RequestParser::Result::Malformed:
    case RequestParser::Result::NeedsMore: // no rejections, never passed in
    case RequestParser::Result::Complete:
        break;
    }
    return {StatusCode::BadRequest, "Malformed request"};
}

} // namespace

Connection::Connection(QAbstractHttpServer *server, QTcpSocket *socket)
    : QObject(server)
    , m_server(server)
    , m_socket(socket)
    , m_parser(std::make_unique<RequestParser>())
{
    // Responses are sent whole; waiting for more data to send would only delay them.
    m_socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    static const auto input = base::SignalAndSlot::of<QTcpSocket, Connection>(
        SIGNAL(readyRead()), SLOT(handleSocketReadable()));
    static const auto end = base::SignalAndSlot::of<QTcpSocket, Connection>(
        SIGNAL(disconnected()), SLOT(handleDisconnected()));
    input.connect(m_socket, this, Qt::DirectConnection);
    end.connect(m_socket, this, Qt::DirectConnection);
}

// An exception from a view, or for lack of memory, ends the connection: whoever catches it is left
// with neither the descriptor nor a partial request.
template <typename Work>
void Connection::closingOnFailure(Work work)
{
    try {
        work();
    } catch (...) {
        releaseResources();
        m_socket->abort();
        throw;
    }
}

void Connection::handleSocketReadable()
{
    closingOnFailure([this] {
        readInput();
        if (m_state == State::Serving) {
            sendContinueIfDue();
        }
        if (m_state == State::Serving) { // the client may have gone during the interim response
            watchFraming();
        }
    });
}

void Connection::readInput()
{
    std::array<char, readStep> buffer; // NOLINT(cppcoreguidelines-pro-type-member-init): read into
    while (m_state != State::Gone) {
        qint64 size = 0;
        char *const body = m_state == State::Serving ? m_parser->bodySpace(&size) : nullptr;
        if (body != nullptr) {
            size = m_socket->read(body, size);
        } else {
            size = m_socket->read(buffer.data(), buffer.size());
        }
        if (size <= 0) {
            return;
        }
        if (body != nullptr) {
            act(m_parser->bodyWritten(size));
            readBodyDirectly();
        } else {
            takeBytes(buffer.data(), size);
        }
    }
}

// Reads the rest of a body that did not arrive at once, bypassing the socket's buffer. Detecting
// the end of the input, or of the connection, is left to the socket.
void Connection::readBodyDirectly()
{
    while (m_state == State::Serving && m_socket->bytesAvailable() == 0) {
        qint64 room = 0;
        char *const body = m_parser->bodySpace(&room);
        const qint64 size = body != nullptr ? receive(m_socket, body, room) : 0;
        if (size == 0) {
            return;
        }
        act(m_parser->bodyWritten(size));
    }
}

void Connection::takeBytes(const char *data, qint64 size)
{
    qint64 taken = 0;
    while (m_state == State::Serving && taken < size) {
        qint64 consumed = 0;
        const RequestParser::Result result = m_parser->parse(data + taken, size - taken, &consumed);
        taken += consumed;
        act(result);
    }
}

void Connection::act(RequestParser::Result result)
{
    if (result == RequestParser::Result::Complete) {
        answer();
    } else if (result != RequestParser::Result::NeedsMore) {
        reject(result);
    }
}

void Connection::answer()
{
    m_framingTimer.stop();
    QHttpServerRequest request = m_parser->takeRequest();
    request.setRemoteAddress(m_socket->peerAddress());
    if (!m_server->handleRequest(request, m_socket)) {
        Q_EMIT m_server->missingHandler(request, m_socket);
    }
    if (!request.keepsAlive() && m_state != State::Gone) {
        linger();
    }
}

void Connection::reject(RequestParser::Result result)
{
    rejectWith(rejection(result));
}

void Connection::rejectWith(const QHttpServerResponse &response)
{
    m_framingTimer.stop();
    const bool withBody = m_parser->method() != QHttpServerRequest::Method::Head;
    writeWhole(m_socket,
               responseHead(response, Persistence::Close),
               withBody ? response.data() : QByteArray());
    if (m_state != State::Gone) {
        linger();
    }
}

// Closing a socket with unread input, or before more arrives, sends a reset, which can destroy a
// response that the client has not read yet. So input is read until the client closes its side as
// well.
void Connection::linger()
{
    m_state = State::Lingering;
    m_parser.reset();
    shutdownWriting(m_socket);
    m_lingerTimer.start(lingerMs, this);
}

void Connection::sendContinueIfDue()
{
    if (m_parser->takeContinue()) {
        writeWhole(m_socket, QByteArrayLiteral("HTTP/1.1 100 Continue\r\n\r\n"), QByteArray());
    }
}

// The time runs from the first byte of a head, or of a line of chunk framing, whatever arrives
// meanwhile.
void Connection::watchFraming()
{
    const qint64 framing = m_parser->unfinishedFraming();
    if (framing == 0) {
        m_framingTimer.stop();
    } else if (framing != m_watchedFraming || !m_framingTimer.isActive()) {
        m_framingTimer.start(framingTimeoutMs, this);
    }
    m_watchedFraming = framing;
}

void Connection::timerEvent(QTimerEvent *event)
{
    closingOnFailure([this, event] {
        if (event->timerId() == m_framingTimer.timerId()) {
            rejectWith({StatusCode::RequestTimeout,
                        m_parser->headBegun() ? "Request head not finished in time"
                                              : "Chunk framing not finished in time"});
        } else if (event->timerId() == m_lingerTimer.timerId()) {
            m_lingerTimer.stop();
            m_socket->abort();
        }
    });
}

void Connection::handleDisconnected()
{
    releaseResources();
    m_socket->close(); // frees the socket's own buffers, too
    deleteLater();
}

void Connection::releaseResources()
{
    m_state = State::Gone;
    m_framingTimer.stop();
    m_lingerTimer.stop();
    m_parser.reset();
}

} // namespace http
