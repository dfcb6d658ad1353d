#pragma once

#include "http/qabstracthttpserver.h"
#include "http/qhttpserverresponse.h"
#include "http/qhttpserverrouter.h"

// An HTTP server with a route table. A request that no route takes is told by missingHandler() and
// then answered 404.
class QHttpServer : public QAbstractHttpServer
{
    Q_OBJECT

public:
    using QAbstractHttpServer::QAbstractHttpServer;

    // Stays the server's.
    [[nodiscard]] QHttpServerRouter *router()
    {
        return &m_router;
    }

    // Adds a route whose answer is what the view returns. The view takes a QString for each
    // "<arg>" of the path and, where it wants it, the request. Rows are tried in the order of
    // these calls. False when path and view do not fit.
    template <typename View>
    bool route(const QString &path, QHttpServerRequest::Methods methods, View view)
    {
        auto handler = [view = std::move(view)](const QRegularExpressionMatch &match,
                                                const QHttpServerRequest &request,
                                                QTcpSocket *socket) {
            sendResponse(http::ViewTraits<View>::call(view, match, request), request, socket);
        };
        return m_router.addRule<View>(QHttpServerRouterRule(path, methods, std::move(handler)));
    }

    template <typename View>
    bool route(const QString &path, View view)
    {
        return route(path, QHttpServerRequest::Method::All, std::move(view));
    }

    // Writes the answer and returns when the system has taken its last byte, or the client has
    // gone. The body of an answer to HEAD is left out (RFC 9110 section 9.3.2).
    static void sendResponse(const QHttpServerResponse &response,
                             const QHttpServerRequest &request,
                             QTcpSocket *socket);

protected:
    bool handleRequest(const QHttpServerRequest &request, QTcpSocket *socket) override;

private:
    QHttpServerRouter m_router;
};
