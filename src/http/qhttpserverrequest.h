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

// One request as the client sent it, whole: head and decoded body. A value; copies share their
// bytes. May be used on any thread, by one at a time.
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

    // Names as they were written, in the order of the lines; values without blanks at their ends.
    using Headers = QVector<QPair<QByteArray, QByteArray>>;

    [[nodiscard]] Method method() const
    {
        return m_method;
    }

    // The target resolved against the Host field (RFC 9110 section 7.1). Percent encodings that are
    // none stand for themselves; bytes from 0x80 up are UTF-8. A host that is missing, invalid or
    // longer than a name can be is "localhost". Takes time in proportion to the request's head.
    [[nodiscard]] QUrl url() const;

    // The path of url(), fully decoded.
    [[nodiscard]] QString decodedPath() const;

    [[nodiscard]] const Headers &headers() const
    {
        return m_headers;
    }

    // The value of the field `name` in any letter case; the lines of a repeated field joined with
    // ", " (RFC 9110 section 5.3). Empty when there is none.
    [[nodiscard]] QByteArray value(const QByteArray &name) const;

    // Without chunk framing. Empty when the request has none.
    [[nodiscard]] const QByteArray &body() const
    {
        return m_body;
    }

    // The peer of the connection, null while no connection has handed the request out.
    [[nodiscard]] const QHostAddress &remoteAddress() const
    {
        return m_remoteAddress;
    }

    void setRemoteAddress(const QHostAddress &address)
    {
        m_remoteAddress = address;
    }

    // 1 for HTTP/1.1, 0 for HTTP/1.0; no other version comes this far.
    [[nodiscard]] int minorVersion() const
    {
        return m_minorVersion;
    }

    // Whether the connection stays open after the answer (RFC 9112 section 9.3).
    [[nodiscard]] bool keepsAlive() const
    {
        return m_keepsAlive;
    }

private:
    friend class http::RequestParser; // the only maker of filled requests

    Method m_method = Method::Unknown;
    QByteArray m_target;
    int m_minorVersion = 1;
    bool m_keepsAlive = false;
    Headers m_headers;
    QByteArray m_body;
    QHostAddress m_remoteAddress;
};

Q_DECLARE_OPERATORS_FOR_FLAGS(QHttpServerRequest::Methods)
