#include "http/qhttpserverrouter.h"

#include <algorithm>

bool QHttpServerRouter::handleRequest(const QHttpServerRequest &request, QTcpSocket *socket) const
{
    // Fully decoded: an encoded slash becomes a slash, so no segment contains one.
    const QString path = request.decodedPath();
    return std::any_of(m_rules.cbegin(), m_rules.cend(), [&](const auto &rule) {
        return rule.exec(path, request, socket);
    });
}
