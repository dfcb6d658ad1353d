#include "http/qhttpserverresponse.h"

#include "base/errorline.h"
#include "base/wholefile.h"
#include "http/qhttpserverrequest.h"

#include <QDateTime>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMimeDatabase>

#include <algorithm>
#include <array>

namespace {

QByteArray plainTextType()
{
    return QByteArrayLiteral("text/plain; charset=utf-8");
}

// For responses without a body of their own.
QByteArray emptyType()
{
    return QByteArrayLiteral("application/x-empty");
}

// Passes the text on in pieces of UTF-8; a surrogate pair is never split.
template <typename Take>
void inPieces(const QString &text, Take take)
{
    constexpr int pieceSize = 1 << 20;
    for (int at = 0; at < text.size();) {
        int size = std::min(pieceSize, text.size() - at);
        if (at + size < text.size() && text.at(at + size - 1).isHighSurrogate()) {
            --size;
        }
        take(QString::fromRawData(text.constData() + at, size).toUtf8());
        at += size;
    }
}

// Qt's conversion first allocates three bytes for each character, which is more than an array can
// hold from 700 million characters on. Longer texts are measured first. Returns nothing, and writes
// a line for the operator, when the result itself is too long.
QByteArray utf8Bytes(const QString &text)
{
    if (text.size() <= base::longestPlainArray / 3) {
        return text.toUtf8();
    }
    qint64 size = 0;
    inPieces(text, [&size](const QByteArray &piece) { size += piece.size(); });
    if (size > base::longestPlainArray) {
        base::writeErrorLine("error: the text is too large to be answered");
        return {};
    }
    QByteArray bytes(static_cast<int>(size), Qt::Uninitialized);
    char *out = bytes.data();
    inPieces(text, [&out](const QByteArray &piece) {
        out = std::copy(piece.cbegin(), piece.cend(), out);
    });
    return bytes;
}

const char *reasonPhrase(QHttpServerResponse::StatusCode status)
{
    using StatusCode = QHttpServerResponse::StatusCode;
    switch (status) {
    case StatusCode::Ok:
        return "OK";
    case StatusCode::BadRequest:
        return "Bad Request";
    case StatusCode::NotFound:
        return "Not Found";
    case StatusCode::RequestTimeout:
        return "Request Timeout";
    case StatusCode::ContentTooLarge:
        return "Content Too Large";
    case StatusCode::ExpectationFailed:
        return "Expectation Failed";
    case StatusCode::RequestHeaderFieldsTooLarge:
        return "Request Header Fields Too Large";
    case StatusCode::NotImplemented:
        return "Not Implemented";
    case StatusCode::HttpVersionNotSupported:
        return "HTTP Version Not Supported";
    }
    return "";
}

// The number is below 100.
void appendTwoDigits(QByteArray &out, int number)
{
    out += static_cast<char>('0' + number / 10);
    out += static_cast<char>('0' + number % 10);
}

// The current time as IMF-fixdate (RFC 9110 section 5.6.7). Formatted by hand: the names are
// English in every locale, and snprintf() takes as long as the rest of a response's head.
void appendDateNow(QByteArray &out)
{
    static constexpr std::array<const char *, 7> days = {
        "Mon", "Tue", "Wed", "Thu", "Fri", "Sat", "Sun"};
    static constexpr std::array<const char *, 12> months = {
        "Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    const QDateTime now = QDateTime::currentDateTimeUtc();
    const QDate date = now.date();
    const QTime time = now.time();
    out += days.at(static_cast<std::size_t>(date.dayOfWeek() - 1));
    out += ", ";
    appendTwoDigits(out, date.day());
    out += ' ';
    out += months.at(static_cast<std::size_t>(date.month() - 1));
    out += ' ';
    appendTwoDigits(out, date.year() / 100);
    appendTwoDigits(out, date.year() % 100);
    out += ' ';
    appendTwoDigits(out, time.hour());
    out += ':';
    appendTwoDigits(out, time.minute());
    out += ':';
    appendTwoDigits(out, time.second());
    out += " GMT";
}

} // namespace

QHttpServerResponse::QHttpServerResponse(const char *text)
    : m_mimeType(plainTextType())
    , m_data(text)
{
}

QHttpServerResponse::QHttpServerResponse(const QString &text)
    : m_mimeType(plainTextType())
    , m_data(utf8Bytes(text))
{
}

QHttpServerResponse::QHttpServerResponse(QByteArray &&data)
    : m_mimeType(QMimeDatabase().mimeTypeForData(data).name().toLatin1())
    , m_data(std::move(data))
{
}

QHttpServerResponse::QHttpServerResponse(const QJsonObject &object)
    : m_mimeType(QByteArrayLiteral("application/json"))
    , m_data(QJsonDocument(object).toJson(QJsonDocument::Compact))
{
}

QHttpServerResponse::QHttpServerResponse(StatusCode status)
    : m_status(status)
    , m_mimeType(emptyType())
{
}

QHttpServerResponse::QHttpServerResponse(StatusCode status, const char *text)
    : m_status(status)
    , m_mimeType(plainTextType())
    , m_data(text)
{
}

namespace http {

Persistence persistenceOf(const QHttpServerRequest &request)
{
    if (!request.keepsAlive()) {
        return Persistence::Close;
    }
    return request.minorVersion() == 0 ? Persistence::KeepAliveAsked : Persistence::KeepAlive;
}

QByteArray responseHead(const QHttpServerResponse &response, Persistence persistence)
{
    constexpr int usualLength = 256; // one allocation for nearly every head
    QByteArray head;
    head.reserve(usualLength);
    head += "HTTP/1.1 ";
    head += QByteArray::number(static_cast<int>(response.statusCode()));
    head += ' ';
    head += reasonPhrase(response.statusCode());
    head += "\r\nDate: ";
    appendDateNow(head);
    head += "\r\nContent-Type: ";
    head += response.mimeType();
    head += "\r\nContent-Length: ";
    head += QByteArray::number(response.data().size());
    head += "\r\nX-Content-Type-Options: nosniff\r\n";
    if (persistence == Persistence::Close) {
        head += "Connection: close\r\n";
    } else if (persistence == Persistence::KeepAliveAsked) {
        head += "Connection: keep-alive\r\n";
    }
    head += "\r\n";
    return head;
}

} // namespace http
