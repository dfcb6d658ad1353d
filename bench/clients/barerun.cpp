// Runs a program repeatedly, reads all its output, waits for its end, and times each run.
#include "bench/clients/samples.h"
#include "bench/clients/words.h"

#include <array>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using Pipe = std::array<int, 2>;

Pipe makePipe()
{
    Pipe ends = {};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        bench::fail("no pipe");
    }
    return ends;
}

void readBoth(int first, int second)
{
    std::array<pollfd, 2> open = {pollfd{first, POLLIN, 0}, pollfd{second, POLLIN, 0}};
    std::array<char, 65536> buffer = {};
    while (open[0].fd >= 0 || open[1].fd >= 0) {
        ::poll(open.data(), open.size(), -1);
        for (pollfd &one : open) {
            if (one.fd >= 0 && one.revents != 0
                && ::read(one.fd, buffer.data(), buffer.size()) <= 0) {
                one.fd = -1;
            }
        }
    }
}

void runOnce(const std::vector<char *> &arguments)
{
    const Pipe out = makePipe();
    const Pipe err = makePipe();
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions, err[1], STDERR_FILENO);
    pid_t child = 0;
    if (::posix_spawn(&child, arguments[0], &actions, nullptr, arguments.data(), environ) != 0) {
        bench::fail("the program cannot be started");
    }
    ::posix_spawn_file_actions_destroy(&actions);
    ::close(out[1]);
    ::close(err[1]);
    readBoth(out[0], err[0]);
    int status = 0;
    ::waitpid(child, &status, 0);
    ::close(out[0]);
    ::close(err[0]);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        bench::fail("the program failed");
    }
}

} // namespace

int main(int argc, char **argv)
{
    const bench::Words words(argc, argv, 2, "bench_barerun COUNT PROGRAM [ARGUMENT...]");
    std::vector<std::string> texts = words.from(1);
    std::vector<char *> arguments;
    arguments.reserve(texts.size() + 1);
    for (std::string &text : texts) {
        arguments.push_back(text.data());
    }
    arguments.push_back(nullptr);
    bench::Samples times;
    for (std::uint64_t i = 0; i < words.number(0); ++i) {
        const auto start = bench::Clock::now();
        runOnce(arguments);
        times.add(bench::Clock::now() - start);
    }
    times.print("bare run");
    return 0;
}
