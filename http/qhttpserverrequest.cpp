#include "http/qhttpserverrequest.h"

QUrl QHttpServerRequest::url() const
{
    if (!m_target.startsWith('/')) { // absolute form, or the asterisk of OPTIONS
        QUrl absolute = QUrl::fromEncoded(m_target, QUrl::TolerantMode);
        if (absolute.path().isEmpty() && !absolute.host().isEmpty()) {
            absolute.setPath(QStringLiteral("/")); // the same (RFC 9110 section 4.2.3)
        }
        return absolute;
    }
    // With scheme and host in front, a path that begins with two slashes stays a path.
    const QByteArray host = value(QByteArrayLiteral("Host"));
    const QUrl url = QUrl::fromEncoded("http://" + host + m_target, QUrl::TolerantMode);
    if (!host.isEmpty() && url.isValid()) {
        return url;
    }
    // None, or one that QUrl makes nothing of, such as a port that is too large.
    return QUrl::fromEncoded("http://localhost" + m_target, QUrl::TolerantMode);
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
