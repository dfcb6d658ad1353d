#pragma once

#include "http/qhttpserverrequest.h"

#include <QRegularExpression>
#include <QString>

#include <functional>

class QTcpSocket;

// One row of the route table: which paths, which methods, and what answers them. Belongs to the
// thread of its router.
class QHttpServerRouterRule
{
public:
    // Answers the request on the socket. Each "<arg>" of the pattern is a capture of the match.
    using RouterHandler = std::function<void(
        const QRegularExpressionMatch &, const QHttpServerRequest &, QTcpSocket *)>;

    // "<arg>" in the pattern stands for one path segment, all else for itself; the whole decoded
    // path must match. Without methods the rule takes every one.
    QHttpServerRouterRule(const QString &pathPattern, RouterHandler handler);
    QHttpServerRouterRule(const QString &pathPattern,
                          QHttpServerRequest::Methods methods,
                          RouterHandler handler);

    // How many "<arg>" the pattern holds.
    [[nodiscard]] int argumentCount() const;

    // True when the rule matched; the request has then been answered.
    [[nodiscard]] bool
    exec(const QString &decodedPath, const QHttpServerRequest &request, QTcpSocket *socket) const;

private:
    QString m_pathPattern;
    QHttpServerRequest::Methods m_methods;
    RouterHandler m_handler;
};
