#include "http/qhttpserver.h"

#include "http/wire.h"

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
        // Not by a connection to the own signal, which each of the servers would keep for good.
        Q_EMIT missingHandler(request, socket);
        sendResponse(QHttpServerResponse::StatusCode::NotFound, request, socket);
    }
    return true;
}
