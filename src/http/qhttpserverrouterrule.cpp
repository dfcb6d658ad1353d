#include "http/qhttpserverrouterrule.h"

#include <QHash>
#include <QMutex>
#include <QMutexLocker>

#include <string_view>

namespace {

constexpr std::u16string_view placeholderCharacters = u"<arg>";

QString placeholder()
{
    return QStringLiteral("<arg>");
}

// Escapes the literal pieces, makes each placeholder one segment, and anchors both ends.
QRegularExpression compiled(const QString &pathPattern)
{
    QStringList pieces = pathPattern.split(placeholder());
    for (QString &piece : pieces) {
        piece = QRegularExpression::escape(piece);
    }
    return QRegularExpression(
        QRegularExpression::anchoredPattern(pieces.join(QLatin1String("([^/]+)"))));
}

// Compiled once per process: every connection has its own table with the same patterns. Their
// number is that of the rows with a placeholder, so none is ever removed.
QRegularExpression expressionFor(const QString &pathPattern)
{
    static QMutex expressionMutex; // guards the hash; no other lock is taken under it
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
    // Called for every row of every connection's table, most of which have none; QString's own
    // searches are made for far longer texts.
    const std::u16string_view pattern(QStringView(m_pathPattern).utf16(),
                                      static_cast<std::size_t>(m_pathPattern.size()));
    int count = 0;
    std::size_t at = pattern.find(placeholderCharacters);
    while (at != std::u16string_view::npos) {
        ++count;
        at = pattern.find(placeholderCharacters, at + placeholderCharacters.size());
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
    // Comparing the text before the placeholder rules out most rows without running the expression.
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
