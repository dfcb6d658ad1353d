// Sends requests and times each; a client sends the next one when the last was answered.
#include "bench/clients/httpclient.h"
#include "bench/clients/samples.h"
#include "bench/clients/words.h"

#include <atomic>
#include <fstream>
#include <iterator>
#include <memory>
#include <thread>

namespace {

struct Load
{
    std::uint16_t port = 0;
    std::string request;
    std::uint64_t count = 0; // of all clients together
    bool newConnections = false; // one for each request
};

struct Outcome
{
    bench::Samples times;
    std::uint64_t failures = 0;
};

void runClient(const Load &load, std::atomic<std::uint64_t> *begun, Outcome *outcome)
{
    std::unique_ptr<bench::HttpClient> client;
    while (begun->fetch_add(1) < load.count) {
        const auto start = bench::Clock::now();
        if (!client || load.newConnections || !client->isConnected()) {
            client = std::make_unique<bench::HttpClient>(load.port);
        }
        if (client->ask(load.request) == 200) {
            outcome->times.add(bench::Clock::now() - start);
        } else {
            ++outcome->failures;
        }
    }
}

std::string contentOf(const std::string &path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

} // namespace

int main(int argc, char **argv)
{
    bench::Words words(
        argc, argv, 4, "bench_requests PORT PATH CLIENTS COUNT [BODYFILE] [--new-connections]");
    const bool newConnections = words.takeFlag("--new-connections");
    const std::vector<std::string> bodyFile = words.from(4);
    const std::string body = bodyFile.empty() ? std::string() : contentOf(bodyFile.front());
    const Load load{words.port(0),
                    bench::requestHead(body.empty() ? "GET" : "POST", words.text(1), body.size())
                        + body,
                    words.number(3),
                    newConnections};

    std::atomic<std::uint64_t> begun{0};
    std::vector<Outcome> outcomes(words.number(2));
    std::vector<std::thread> threads;
    threads.reserve(outcomes.size());
    for (Outcome &outcome : outcomes) {
        threads.emplace_back(runClient, std::cref(load), &begun, &outcome);
    }
    Outcome all;
    for (std::size_t i = 0; i < threads.size(); ++i) {
        threads[i].join();
        all.times.add(outcomes[i].times);
        all.failures += outcomes[i].failures;
    }
    all.times.print(words.text(1), ", failed " + std::to_string(all.failures));
    return 0;
}
