// Opens connections and holds them until its standard input ends. With a path, each requests it
// once and gets its response before it goes idle.
#include "bench/clients/httpclient.h"
#include "bench/clients/words.h"

#include <cstdio>
#include <memory>

int main(int argc, char **argv)
{
    const bench::Words words(argc, argv, 2, "bench_idle PORT COUNT [PATH]");
    bench::raiseDescriptorLimit();
    const std::vector<std::string> path = words.from(2);
    std::vector<std::unique_ptr<bench::HttpClient>> clients;
    for (std::uint64_t i = 0; i < words.number(1); ++i) {
        auto client = std::make_unique<bench::HttpClient>(words.port(0));
        const bool answered =
            path.empty() || client->ask(bench::requestHead("GET", path.front())) == 200;
        if (!client->isConnected() || !answered) {
            bench::fail("connection " + std::to_string(i + 1) + " was not served");
        }
        clients.push_back(std::move(client));
    }
    (void)std::printf("%zu connections are idle\n", clients.size());
    (void)std::fflush(stdout);
    while (std::getchar() != EOF) { }
    return 0;
}
