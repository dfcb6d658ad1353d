#include "http/qhttpserverrouterrule.h"

#include <QHash>
#include <QMutex>
#include <QMutexLocker>

namespace {

QLatin1String placeholder()
{
    return QLatin1String("<arg>");
}

// Literal pieces escaped, each placeholder one segment, both ends anchored.
QRegularExpression compiled(const QString &pathPattern)
{
    QStringList pieces = pathPattern.split(placeholder());
    for (QString &piece : pieces) {
        piece = QRegularExpression::escape(piece);
    }
    return QRegularExpression(
        QRegularExpression::anchoredPattern(pieces.join(QLatin1String("([^/]+)"))));
}

// Compiled once in a process: every connection has a table of its own, with the same patterns.
// There are as many as rows with a placeholder, so nothing is ever removed.
QRegularExpression expressionFor(const QString &pathPattern)
{
    static QMutex expressionMutex; // guards the hash; nothing that locks is called under it
    static QHash<QString, QRegularExpression> expressions;
    const QMutexLocker lock(&expressionMutex);
    QRegularExpression &expression = expressions[pathPattern];
    if (expression.pattern().isEmpty()) {
        expression = compiled(pathPattern);
    }
    return expression;
}

} // namespace

QHttpServerRouterRule::QHttpServerRouterRule(const QString &pathPattern, RouterHandler handler)
    : QHttpServerRouterRule(pathPattern, QHttpServerRequest::Method::All, std::move(handler))
{
}

QHttpServerRouterRule::QHttpServerRouterRule(const QString &pathPattern,
                                             QHttpServerRequest::Methods methods,
                                             RouterHandler handler)
    : m_pathPattern(pathPattern)
    , m_methods(methods)
    , m_handler(std::move(handler))
{
}

int QHttpServerRouterRule::argumentCount() const
{
    // Asked for every row of every connection's table, most of which have none; QString::count()
    // prepares for far longer texts.
    int count = 0;
    for (int at = 0; at < m_pathPattern.size(); ++at) {
        if (m_pathPattern.at(at) == QLatin1Char('<')
            && m_pathPattern.midRef(at).startsWith(placeholder())) {
            ++count;
        }
    }
    return count;
}

bool QHttpServerRouterRule::exec(const QString &decodedPath,
                                 const QHttpServerRequest &request,
                                 QTcpSocket *socket) const
{
    if (!m_methods.testFlag(request.method())) {
        return false;
    }
    const int literalLength = m_pathPattern.indexOf(placeholder());
    if (literalLength < 0) {
        if (decodedPath != m_pathPattern) {
            return false;
        }
        m_handler(QRegularExpressionMatch(), request, socket);
        return true;
    }
    // Most rows are told apart by the text before their placeholder, without the expression.
    if (!decodedPath.startsWith(m_pathPattern.leftRef(literalLength))) {
        return false;
    }
    const QRegularExpressionMatch match = expressionFor(m_pathPattern).match(decodedPath);
    if (!match.hasMatch()) {
        return false;
    }
    m_handler(match, request, socket);
    return true;
}
