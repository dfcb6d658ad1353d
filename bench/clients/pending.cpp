// Sends all but the last byte of an upload, says so, and then waits until its standard input ends.
#include "bench/clients/httpclient.h"
#include "bench/clients/words.h"

#include <algorithm>
#include <cstdio>

int main(int argc, char **argv)
{
    constexpr std::uint64_t sendStep = 1048576;
    const bench::Words words(argc, argv, 3, "bench_pending PORT PATH BYTES");
    const std::uint64_t size = words.number(2);
    const std::string head = bench::requestHead("POST", words.text(1), size);
    const std::string block(sendStep, 'x');
    bench::HttpClient client(words.port(0));
    bool sent = client.send(head.data(), head.size());
    for (std::uint64_t left = size - 1; sent && left > 0; left -= std::min(sendStep, left)) {
        sent = client.send(block.data(), std::min(sendStep, left));
    }
    if (!sent) {
        bench::fail("the body was not taken");
    }
    (void)std::printf("the last byte is pending\n");
    (void)std::fflush(stdout);
    while (std::getchar() != EOF) { }
    return 0;
}
