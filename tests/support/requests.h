#pragma once

#include <QByteArray>

// Requests of clients, and a whole exchange on a connection of its own.
namespace requests {

[[nodiscard]] QByteArray get(const QByteArray &target);
[[nodiscard]] QByteArray post(const QByteArray &target, const QByteArray &body);

// The body of a response with status 200; "no answer" when there is none within the time.
[[nodiscard]] QByteArray ask(quint16 port, const QByteArray &request, int timeoutMs = 30000);

} // namespace requests
