#pragma once

#include <QByteArray>
#include <QString>

class QHttpServerRequest;
class QJsonObject;

// What a view returns: status, content type, body. A value.
class QHttpServerResponse
{
public:
    enum class StatusCode
    { // RFC 9110 section 15
        Ok = 200,
        BadRequest = 400,
        NotFound = 404,
        RequestTimeout = 408,
        ContentTooLarge = 413,
        ExpectationFailed = 417,
        RequestHeaderFieldsTooLarge = 431,
        NotImplemented = 501,
        HttpVersionNotSupported = 505,
    };

    // Not explicit: a view's result converts to the response.
    QHttpServerResponse(const char *text); // UTF-8
    // A text of 2 GiB or more in UTF-8 gives an empty body and an error line for the operator.
    QHttpServerResponse(const QString &text);
    QHttpServerResponse(QByteArray &&data); // content type derived from the bytes
    QHttpServerResponse(const QJsonObject &object);

    // An empty body; or, for responses of the HTTP layer itself, a short text.
    QHttpServerResponse(StatusCode status);
    QHttpServerResponse(StatusCode status, const char *text);

    [[nodiscard]] StatusCode statusCode() const
    {
        return m_status;
    }

    [[nodiscard]] const QByteArray &mimeType() const
    {
        return m_mimeType;
    }

    [[nodiscard]] const QByteArray &data() const
    {
        return m_data;
    }

private:
    StatusCode m_status = StatusCode::Ok;
    QByteArray m_mimeType;
    QByteArray m_data;
};

namespace http {

// What happens to the connection after a response, and what the response says about it.
enum class Persistence
{
    KeepAlive, // the default of HTTP/1.1: says nothing
    KeepAliveAsked, // an HTTP/1.0 client asked for it: confirms it
    Close,
};

[[nodiscard]] Persistence persistenceOf(const QHttpServerRequest &request);

// Status line and header lines, including the empty line (RFC 9112 sections 2 to 4).
[[nodiscard]] QByteArray responseHead(const QHttpServerResponse &response, Persistence persistence);

} // namespace http
