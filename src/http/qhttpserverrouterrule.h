#pragma once

#include "http/qhttpserverrequest.h"

#include <QRegularExpression>
#include <QString>

#include <functional>

class QTcpSocket;

// One row of the route table: which paths, which methods, and what answers them. To be used in its
// router's thread.
class QHttpServerRouterRule
{
public:
    // Answers the request on the socket. Each "<arg>" of the pattern is a capture of the match.
    using RouterHandler = std::function<void(
        const QRegularExpressionMatch &, const QHttpServerRequest &, QTcpSocket *)>;

    // "<arg>" in the pattern matches one path segment, everything else itself; the whole decoded
    // path must match. Without `methods` the rule matches every method.
    QHttpServerRouterRule(const QString &pathPattern, RouterHandler handler);
    QHttpServerRouterRule(const QString &pathPattern,
                          QHttpServerRequest::Methods methods,
                          RouterHandler handler);

    // The number of "<arg>" in the pattern.
    [[nodiscard]] int argumentCount() const;

    // True when the rule matched; the request has then been answered.
    [[nodiscard]] bool
    exec(const QString &decodedPath, const QHttpServerRequest &request, QTcpSocket *socket) const;

private:
    QString m_pathPattern;
    QHttpServerRequest::Methods m_methods;
    RouterHandler m_handler;
};
