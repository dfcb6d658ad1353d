// The limit of a thread-per-connection design: nothing but that, and the same bytes as the response
// to any input.
#include <arpa/inet.h>
#include <cstdio>
#include <cstdlib>
#include <netinet/in.h>
#include <string_view>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace {

#define ANSWER(connection)                                                                         \
    "HTTP/1.1 200 OK\r\n"                                                                          \
    "Date: Fri, 01 Jan 2021 00:00:00 GMT\r\n"                                                      \
    "Content-Type: text/plain; charset=utf-8\r\n"                                                  \
    "Content-Length: 23\r\n"                                                                       \
    "X-Content-Type-Options: nosniff\r\n" connection "\r\n"                                        \
    "vondServer: Hello world"

constexpr std::string_view answer = ANSWER("");
constexpr std::string_view lastAnswer = ANSWER("Connection: close\r\n");

void serve(int descriptor)
{
    char request[16384]; // NOLINT(modernize-avoid-c-arrays): received into
    bool isLast = false;
    while (!isLast) {
        const ssize_t size = ::recv(descriptor, request, sizeof request, 0);
        if (size <= 0) {
            break;
        }
        const std::string_view text(request, static_cast<std::size_t>(size));
        isLast = text.find("Connection: close") != std::string_view::npos;
        const std::string_view reply = isLast ? lastAnswer : answer;
        (void)::send(descriptor, reply.data(), reply.size(), MSG_NOSIGNAL);
    }
    ::close(descriptor);
}

} // namespace

int main(int argc, char **argv)
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(argc > 1 ? std::atoi(argv[1]) : 0));
    const int listening = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int on = 1;
    (void)::setsockopt(listening, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (::bind(listening, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0
        || ::listen(listening, SOMAXCONN) != 0) {
        (void)std::fprintf(stderr, "usage: peer_threads PORT\n");
        return EXIT_FAILURE;
    }
    for (;;) {
        const int descriptor = ::accept4(listening, nullptr, nullptr, SOCK_CLOEXEC);
        if (descriptor >= 0) {
            std::thread(serve, descriptor).detach();
        }
    }
}
