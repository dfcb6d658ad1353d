#include "http/qhttpserverrequest.h"

#include <algorithm>

namespace {

// The longest name of a host (RFC 1035 section 2.3.4) and a port. QUrl takes quadratic time to
// normalise a name, so it never sees a longer one.
constexpr int longestAuthority = 255 + 6;

// "http://localhost" and the target, for an authority that QUrl cannot parse or should not see.
QUrl withoutAuthority(const QByteArray &target)
{
    return QUrl::fromEncoded("http://localhost" + target, QUrl::TolerantMode);
}

QUrl fromAbsoluteForm(const QByteArray &target)
{
    const int authority = target.indexOf("://") + 3;
    const auto end = std::find_if(target.cbegin() + authority, target.cend(), [](char c) {
        return c == '/' || c == '?' || c == '#';
    });
    const auto length = static_cast<int>(end - (target.cbegin() + authority));
    QUrl url = length > longestAuthority ? withoutAuthority(target.mid(authority + length))
                                         : QUrl::fromEncoded(target, QUrl::TolerantMode);
    if (url.path().isEmpty() && !url.host().isEmpty()) {
        url.setPath(QStringLiteral("/")); // equivalent (RFC 9110 section 4.2.3)
    }
    return url;
}

} // namespace

QUrl QHttpServerRequest::url() const
{
    if (m_target == "*") { // of OPTIONS
        return QUrl::fromEncoded(m_target, QUrl::TolerantMode);
    }
    if (!m_target.startsWith('/')) {
        return fromAbsoluteForm(m_target);
    }
    // With scheme and host in front, a path that begins with two slashes remains a path.
    const QByteArray host = value(QByteArrayLiteral("Host"));
    if (!host.isEmpty() && host.size() <= longestAuthority) {
        const QUrl url = QUrl::fromEncoded("http://" + host + m_target, QUrl::TolerantMode);
        if (url.isValid()) { // invalid if the port is too large, for example
            return url;
        }
    }
    return withoutAuthority(m_target);
}

QString QHttpServerRequest::decodedPath() const
{
    // Most targets are just a path without encoded bytes.
    const bool isPlain =
        m_target.startsWith('/') && std::all_of(m_target.cbegin(), m_target.cend(), [](char c) {
            return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9')
                || c == '/' || c == '-' || c == '.' || c == '_' || c == '~';
        });
    return isPlain ? QString::fromLatin1(m_target) : url().path(QUrl::FullyDecoded);
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
