#include "tests/support/requests.h"

#include "tests/support/rawclient.h"

namespace requests {

QByteArray get(const QByteArray &target)
{
    return "GET " + target + " HTTP/1.1\r\nHost: a\r\n\r\n";
}

QByteArray post(const QByteArray &target, const QByteArray &body)
{
    return "POST " + target + " HTTP/1.1\r\nHost: a\r\nContent-Length: "
        + QByteArray::number(body.size()) + "\r\n\r\n" + body;
}

QByteArray ask(quint16 port, const QByteArray &request, int timeoutMs)
{
    RawClient client(port);
    client.send(request);
    const auto response = client.takeResponse(false, timeoutMs);
    return response && response->status() == 200 ? response->body : QByteArray("no answer");
}

} // namespace requests
