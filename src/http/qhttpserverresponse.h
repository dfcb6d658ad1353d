#pragma once

#include <QByteArray>
#include <QString>

class QHttpServerRequest;
class QJsonObject;

// What a view answers: status, content type, body. A value.
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

    // Not explicit: a view's result becomes the response by itself.
    QHttpServerResponse(const char *text); // UTF-8
    // A text whose UTF-8 has 2 GiB or more is answered with nothing, which the operator is told.
    QHttpServerResponse(const QString &text);
    QHttpServerResponse(QByteArray &&data); // content type derived from the bytes
    QHttpServerResponse(const QJsonObject &object);

    // An empty body; or, for answers of the layer itself, a short text.
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

// What becomes of the connection after an answer, and what the answer says of it.
enum class Persistence
{
    KeepAlive, // what HTTP/1.1 does unasked: nothing is said
    KeepAliveAsked, // HTTP/1.0 asked for it and is told so
    Close,
};

[[nodiscard]] Persistence persistenceOf(const QHttpServerRequest &request);

// Status line and header lines, up to and with the empty line (RFC 9112 sections 2 to 4).
[[nodiscard]] QByteArray responseHead(const QHttpServerResponse &response, Persistence persistence);

} // namespace http
