#pragma once

#include <QByteArray>
#include <QFlags>
#include <QHostAddress>
#include <QPair>
#include <QUrl>
#include <QVector>

namespace http {
class RequestParser;
}

// One complete request as the client sent it: head and decoded body. A value; copies share their
// bytes. May be used in any thread, one at a time.
class QHttpServerRequest
{
public:
    enum class Method
    {
        Unknown = 0x00,
        Get = 0x01,
        Put = 0x02,
        Delete = 0x04,
        Post = 0x08,
        Head = 0x10,
        Options = 0x20,
        Patch = 0x40,
        All = Get | Put | Delete | Post | Head | Options | Patch,
    };
    Q_DECLARE_FLAGS(Methods, Method)

    // Names as sent, in the order of the lines; values without leading or trailing white space.
    using Headers = QVector<QPair<QByteArray, QByteArray>>;

    [[nodiscard]] Method method() const
    {
        return m_method;
    }

    // The target resolved against the Host field (RFC 9110 section 7.1). Malformed percent
    // encodings are taken literally; bytes from 0x80 up are UTF-8. A host that is missing, invalid
    // or longer than a host name can be becomes "localhost". Takes time proportional to the size of
    // the head.
    [[nodiscard]] QUrl url() const;

    // The path of url(), fully decoded.
    [[nodiscard]] QString decodedPath() const;

    [[nodiscard]] const Headers &headers() const
    {
        return m_headers;
    }

    // The value of the field `name`, in any letter case; repeated fields are joined with ", " (RFC
    // 9110 section 5.3). Empty when there is none.
    [[nodiscard]] QByteArray value(const QByteArray &name) const;

    // Without chunk framing. Empty when the request has none.
    [[nodiscard]] const QByteArray &body() const
    {
        return m_body;
    }

    // The peer of the connection; null until a connection has handed out the request.
    [[nodiscard]] const QHostAddress &remoteAddress() const
    {
        return m_remoteAddress;
    }

    void setRemoteAddress(const QHostAddress &address)
    {
        m_remoteAddress = address;
    }

    // 1 for HTTP/1.1, 0 for HTTP/1.0; no other version gets this far.
    [[nodiscard]] int minorVersion() const
    {
        return m_minorVersion;
    }

    // Whether the connection stays open after the response (RFC 9112 section 9.3).
    [[nodiscard]] bool keepsAlive() const
    {
        return m_keepsAlive;
    }

private:
    friend class http::RequestParser; // the only one that fills requests in

    Method m_method = Method::Unknown;
    QByteArray m_target;
    int m_minorVersion = 1;
    bool m_keepsAlive = false;
    Headers m_headers;
    QByteArray m_body;
    QHostAddress m_remoteAddress;
};

Q_DECLARE_OPERATORS_FOR_FLAGS(QHttpServerRequest::Methods)
