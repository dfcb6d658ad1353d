// Sends or fetches one large body and times the whole exchange.
#include "bench/clients/httpclient.h"
#include "bench/clients/samples.h"
#include "bench/clients/words.h"

#include <algorithm>

namespace {

constexpr std::uint64_t sendStep = 1048576;

// Bytes that do not look like any known file type.
std::string block()
{
    std::string bytes(sendStep, '\0');
    std::uint32_t state = 1;
    for (char &byte : bytes) {
        state = state * 1664525U + 1013904223U;
        byte = static_cast<char>(state >> 24U);
    }
    return bytes;
}

int sendBody(bench::HttpClient *client, const std::string &head, std::uint64_t size)
{
    const std::string bytes = block();
    bool sent = client->send(head.data(), head.size());
    for (std::uint64_t done = 0; sent && done < size; done += sendStep) {
        sent = client->send(bytes.data(), std::min(sendStep, size - done));
    }
    return sent ? client->receive() : 0;
}

} // namespace

int main(int argc, char **argv)
{
    const bench::Words words(argc, argv, 4, "bench_transfer PORT GET|PUT|POST PATH BYTES");
    const std::string &method = words.text(1);
    const std::uint64_t size = words.number(3);
    const bool fetches = method == "GET";
    const std::string head = bench::requestHead(method, words.text(2), fetches ? 0 : size);

    const auto start = bench::Clock::now();
    bench::HttpClient client(words.port(0));
    const int status = fetches ? client.ask(head) : sendBody(&client, head, size);
    bench::Samples times;
    times.add(bench::Clock::now() - start);
    if (status < 200 || status > 299 || (fetches && client.bodySize() != size)) {
        bench::fail("status " + std::to_string(status) + ", " + std::to_string(client.bodySize())
                    + " bytes");
    }
    times.print(method + ' ' + std::to_string(size) + " bytes");
    return 0;
}
