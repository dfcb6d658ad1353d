// Starts a server repeatedly and times each start up to its first response.
#include "bench/clients/httpclient.h"
#include "bench/clients/samples.h"
#include "bench/clients/words.h"

#include <csignal>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

constexpr auto glance = std::chrono::microseconds(200);
constexpr auto patience = std::chrono::seconds(20);

pid_t started(const std::vector<char *> &arguments)
{
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    for (const int channel : {STDOUT_FILENO, STDERR_FILENO}) {
        ::posix_spawn_file_actions_addopen(&actions, channel, "/dev/null", O_WRONLY, 0);
    }
    pid_t child = 0;
    if (::posix_spawnp(&child, arguments[0], &actions, nullptr, arguments.data(), environ) != 0) {
        bench::fail("the program cannot be started");
    }
    ::posix_spawn_file_actions_destroy(&actions);
    return child;
}

bool answers(std::uint16_t port, const std::string &request)
{
    const auto deadline = bench::Clock::now() + patience;
    while (bench::Clock::now() < deadline) {
        if (bench::HttpClient(port).ask(request) == 200) {
            return true;
        }
        std::this_thread::sleep_for(glance);
    }
    return false;
}

} // namespace

int main(int argc, char **argv)
{
    const bench::Words words(argc, argv, 4, "bench_startup PORT PATH COUNT PROGRAM [ARGUMENT...]");
    std::vector<std::string> texts = words.from(3);
    std::vector<char *> arguments;
    arguments.reserve(texts.size() + 1);
    for (std::string &text : texts) {
        arguments.push_back(text.data());
    }
    arguments.push_back(nullptr);
    const std::string request = bench::requestHead("GET", words.text(1));
    bench::Samples times;
    for (std::uint64_t i = 0; i < words.number(2); ++i) {
        const auto start = bench::Clock::now();
        const pid_t server = started(arguments);
        const bool answered = answers(words.port(0), request);
        times.add(bench::Clock::now() - start);
        ::kill(server, SIGTERM);
        ::waitpid(server, nullptr, 0);
        if (!answered) {
            bench::fail("the server does not answer");
        }
    }
    times.print("start");
    return 0;
}
