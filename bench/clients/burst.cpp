// Many clients connect at the same moment; each sends one request and waits for its response.
#include "bench/clients/httpclient.h"
#include "bench/clients/samples.h"
#include "bench/clients/words.h"

#include <array>
#include <cerrno>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr int patienceMs = 30000; // without any response

struct Client
{
    int descriptor = -1;
    bool asked = false;
    bench::Clock::time_point start;
    bench::AnswerReader reader;
};

struct Outcome
{
    bench::Samples times;
    int failures = 0;
    int retries = 0; // connections with a retransmission, of the SYN or later
};

bool wasSentAgain(int descriptor)
{
    tcp_info info = {};
    socklen_t size = sizeof info;
    return ::getsockopt(descriptor, IPPROTO_TCP, TCP_INFO, &info, &size) == 0
        && info.tcpi_total_retrans > 0;
}

void connectAll(std::uint16_t port, int poll, std::vector<Client> *clients)
{
    const sockaddr_in server = bench::localAddress(port);
    for (Client &client : *clients) {
        client.descriptor = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0);
        if (client.descriptor < 0) {
            bench::fail("no descriptor left for a client");
        }
    }
    for (Client &client : *clients) {
        client.start = bench::Clock::now();
        // Still in progress when it returns; the poll shows the outcome.
        (void)::connect(
            client.descriptor, reinterpret_cast<const sockaddr *>(&server), sizeof server);
        epoll_event event = {};
        event.events = EPOLLOUT;
        event.data.ptr = &client;
        ::epoll_ctl(poll, EPOLL_CTL_ADD, client.descriptor, &event);
    }
}

// Whether the client has finished.
bool serve(Client *client, const std::string &request, int poll, Outcome *outcome)
{
    if (!client->asked) {
        client->asked = true;
        if (::send(client->descriptor, request.data(), request.size(), MSG_NOSIGNAL)
            != static_cast<ssize_t>(request.size())) {
            ++outcome->failures;
            return true;
        }
        epoll_event event = {};
        event.events = EPOLLIN;
        event.data.ptr = client;
        ::epoll_ctl(poll, EPOLL_CTL_MOD, client->descriptor, &event);
        return false;
    }
    const auto state = client->reader.read(client->descriptor);
    if (state == bench::AnswerReader::State::NeedsMore) {
        return false;
    }
    if (state == bench::AnswerReader::State::Complete && client->reader.status() == 200) {
        outcome->times.add(bench::Clock::now() - client->start);
        outcome->retries += wasSentAgain(client->descriptor) ? 1 : 0;
    } else {
        ++outcome->failures;
    }
    return true;
}

} // namespace

int main(int argc, char **argv)
{
    const bench::Words words(argc, argv, 3, "bench_burst PORT PATH CLIENTS");
    bench::raiseDescriptorLimit();
    const std::string request = bench::requestHead("GET", words.text(1));
    std::vector<Client> clients(words.number(2));
    const int poll = ::epoll_create1(0);
    Outcome outcome;
    connectAll(words.port(0), poll, &clients);
    std::size_t open = clients.size();
    std::array<epoll_event, 256> events = {};
    while (open > 0) {
        const int count = ::epoll_wait(poll, events.data(), events.size(), patienceMs);
        if (count == 0) {
            outcome.failures += static_cast<int>(open);
            break;
        }
        for (int i = 0; i < count; ++i) {
            auto *const client =
                static_cast<Client *>(events.at(static_cast<std::size_t>(i)).data.ptr);
            if (serve(client, request, poll, &outcome)) {
                ::close(client->descriptor);
                --open;
            }
        }
    }
    outcome.times.print("burst of " + words.text(2),
                        ", failed " + std::to_string(outcome.failures) + ", retried "
                            + std::to_string(outcome.retries));
    return 0;
}
