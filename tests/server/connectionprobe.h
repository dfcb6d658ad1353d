#pragma once

#include "server/requesthdlr.h"
#include "server/vondrequestthread.h"
#include "server/vondserver.h"

// Gives tests access to the connection classes. Only while the connection's thread is idle.
struct ConnectionProbe
{
    static jobs::Registry *registry(VondServer *server)
    {
        return &server->m_registry;
    }

    static RequestHdlr *handler(const VondRequestThread *thread)
    {
        return thread->m_requestHandler;
    }

    static QTcpSocket *socket(const RequestHdlr *handler)
    {
        return handler->m_tcpSocket;
    }

    static QHttpServer *routeServer(const RequestHdlr *handler)
    {
        return handler->m_routeServer;
    }

    static const jobs::Registry *registry(const RequestHdlr *handler)
    {
        return handler->m_registry;
    }

    // The addresses of the members in their intended order.
    static QVector<const void *> members(const VondServer &server)
    {
        return {&server.m_vondPath, &server.m_registry};
    }

    static QVector<const void *> members(const VondRequestThread &thread)
    {
        return {&thread.m_socketDescriptor,
                &thread.m_requestHandler,
                &thread.m_vondPath,
                &thread.m_registry};
    }

    static QVector<const void *> members(const RequestHdlr &handler)
    {
        return {&handler.m_tcpSocket,
                &handler.m_routeServer,
                &handler.m_registry,
                &handler.m_process,
                &handler.m_vondPath,
                &handler.m_requestId,
                &handler.m_lastStdOutMsg};
    }

    static int descriptorSize(const VondRequestThread &thread)
    {
        return static_cast<int>(sizeof thread.m_socketDescriptor);
    }

    static QString requestId(const RequestHdlr &handler)
    {
        return handler.m_requestId;
    }

    static QString lastStdOutMsg(const RequestHdlr &handler)
    {
        return handler.m_lastStdOutMsg;
    }
};
