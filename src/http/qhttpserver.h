#pragma once

#include "http/qabstracthttpserver.h"
#include "http/qhttpserverresponse.h"
#include "http/qhttpserverrouter.h"

// An HTTP server with a route table. For a request that matches no route it emits missingHandler()
// and then responds with 404.
class QHttpServer : public QAbstractHttpServer
{
    Q_OBJECT

public:
    using QAbstractHttpServer::QAbstractHttpServer;

    // Owned by the server.
    [[nodiscard]] QHttpServerRouter *router()
    {
        return &m_router;
    }

    // Adds a route that responds with what the view returns. The view takes a QString for each
    // "<arg>" in the path and, if it wants to, the request. Routes are tried in the order of these
    // calls. False when path and view do not match.
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

    // Writes the response and returns when the system has accepted its last byte, or the client has
    // gone. Leaves out the body in response to HEAD (RFC 9110 section 9.3.2).
    static void sendResponse(const QHttpServerResponse &response,
                             const QHttpServerRequest &request,
                             QTcpSocket *socket);

protected:
    bool handleRequest(const QHttpServerRequest &request, QTcpSocket *socket) override;

private:
    QHttpServerRouter m_router;
};
