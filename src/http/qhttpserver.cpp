#include "http/qhttpserver.h"

#include "http/socketio.h"

void QHttpServer::sendResponse(const QHttpServerResponse &response,
                               const QHttpServerRequest &request,
                               QTcpSocket *socket)
{
    const bool withBody = request.method() != QHttpServerRequest::Method::Head;
    http::writeWhole(socket,
                     http::responseHead(response, http::persistenceOf(request)),
                     withBody ? response.data() : QByteArray());
}

bool QHttpServer::handleRequest(const QHttpServerRequest &request, QTcpSocket *socket)
{
    if (!m_router.handleRequest(request, socket)) {
        // Sent directly: a self-connection would stay allocated per server.
        Q_EMIT missingHandler(request, socket);
        sendResponse(QHttpServerResponse::StatusCode::NotFound, request, socket);
    }
    return true;
}
