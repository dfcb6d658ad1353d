#include "http/qhttpserver.h"

#include "http/wire.h"

QHttpServer::QHttpServer(QObject *parent)
    : QAbstractHttpServer(parent)
{
    connect(this,
            SIGNAL(missingHandler(QHttpServerRequest, QTcpSocket *)),
            this,
            SLOT(sendNotFound(QHttpServerRequest, QTcpSocket *)),
            Qt::DirectConnection);
}

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
    return m_router.handleRequest(request, socket);
}

void QHttpServer::sendNotFound(const QHttpServerRequest &request, QTcpSocket *socket)
{
    sendResponse(QHttpServerResponse::StatusCode::NotFound, request, socket);
}
