#include "http/qhttpserverrequest.h"

QUrl QHttpServerRequest::url() const
{
    if (!m_target.startsWith('/')) { // absolute form, or the asterisk of OPTIONS
        return QUrl::fromEncoded(m_target, QUrl::TolerantMode);
    }
    // With scheme and host in front, a path that begins with two slashes stays a path.
    const QByteArray host = value(QByteArrayLiteral("Host"));
    return QUrl::fromEncoded("http://" + (host.isEmpty() ? QByteArrayLiteral("localhost") : host)
                                 + m_target,
                             QUrl::TolerantMode);
}

QByteArray QHttpServerRequest::value(const QByteArray &name) const
{
    QByteArray joined;
    bool found = false;
    for (const auto &header : m_headers) {
        if (header.first.compare(name, Qt::CaseInsensitive) != 0) {
            continue;
        }
        if (found) {
            joined += ", ";
        }
        joined += header.second;
        found = true;
    }
    return joined;
}
