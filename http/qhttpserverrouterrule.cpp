#include "http/qhttpserverrouterrule.h"

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
    return m_pathPattern.count(placeholder());
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
    // A pattern is compiled when the text before its placeholder fits, so that building and
    // walking the table costs no compilation, on any connection.
    if (!decodedPath.startsWith(m_pathPattern.leftRef(literalLength))) {
        return false;
    }
    const QRegularExpressionMatch match = compiled(m_pathPattern).match(decodedPath);
    if (!match.hasMatch()) {
        return false;
    }
    m_handler(match, request, socket);
    return true;
}
