// A server on cpp-httplib as in its own documentation: its pool of eight threads, files below a
// folder, streamed bodies. Its limits (five requests on a connection, a backlog of five) are
// raised.
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <httplib.h>
#include <limits>
#include <string>
#include <sys/socket.h>

int main(int argc, char **argv)
{
    if (argc != 3) {
        (void)std::fprintf(stderr, "usage: peer_httplib PORT FOLDER\n");
        return EXIT_FAILURE;
    }
    const std::string folder = argv[2];
    httplib::Server server;
    server.set_tcp_nodelay(true);
    server.set_keep_alive_max_count(std::numeric_limits<std::size_t>::max()); // default: 5 requests
    server.set_payload_max_length(std::numeric_limits<std::size_t>::max());
    server.Get("/", [](const httplib::Request &, httplib::Response &response) {
        response.set_content("vondServer: Hello world", "text/plain");
    });
    server.set_mount_point("/files", folder);
    server.Put("/upload/(.*)",
               [&folder](const httplib::Request &request,
                         httplib::Response &response,
                         const httplib::ContentReader &content) {
                   std::ofstream file(folder + '/' + request.matches[1].str(), std::ios::binary);
                   content([&file](const char *data, std::size_t size) {
                       return !file.write(data, static_cast<std::streamsize>(size)).fail();
                   });
                   response.set_content("{\"ok\": true}", "application/json");
               });
    int listening = -1;
    server.set_socket_options([&listening](int socket) {
        const int on = 1;
        (void)::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
        listening = socket;
    });
    const int port = std::atoi(argv[1]); // NOLINT(cert-err34-c): 0 cannot be listened on
    if (!server.bind_to_port("127.0.0.1", port) || ::listen(listening, SOMAXCONN) != 0) {
        return EXIT_FAILURE;
    }
    return server.listen_after_bind() ? EXIT_SUCCESS : EXIT_FAILURE;
}
