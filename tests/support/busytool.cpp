// A fake tool for a busy day. It takes up to 300 ms, or exactly BUSYTOOL_MS, and its output
// identifies the request: the name of the stop file, and the bytes of the input and of a profile.
// Results of conversions never overwrite; results of arguments that end in "-o PATH" do, as with a
// tool that trusts the path it was given.
//
// Each text on standard output waits until the previous one has been taken out of the pipe, so that
// it is read separately.
#include "tests/support/toolpipe.h"

#include <algorithm>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

using Arguments = std::vector<std::string>;

#ifdef _WIN32
constexpr int asBytes = O_BINARY;
#else
constexpr int asBytes = 0;
constexpr unsigned longestLifeSeconds = 120;
#endif
constexpr useconds_t lookAgainMicroseconds = 2000;
constexpr unsigned longestWorkMicroseconds = 150000; // twice

void say(const std::string &text)
{
    toolpipe::writeAll(STDOUT_FILENO, text);
    toolpipe::waitUntilTaken();
}

// Half of the work.
void work()
{
    if (const char *const exactly = std::getenv("BUSYTOOL_MS")) {
        constexpr useconds_t microseconds = 1000;
        ::usleep(static_cast<useconds_t>(std::atoi(exactly)) * microseconds / 2);
        return;
    }
    static std::mt19937 chance(static_cast<unsigned>(::getpid()));
    ::usleep(std::uniform_int_distribution<useconds_t>(0, longestWorkMicroseconds)(chance));
}

std::string after(const Arguments &arguments, const std::string &option)
{
    for (std::size_t i = 0; i + 1 < arguments.size(); ++i) {
        if (arguments[i] == option) {
            return arguments[i + 1];
        }
    }
    return {};
}

std::string before(const Arguments &arguments, const std::string &option)
{
    for (std::size_t i = 1; i < arguments.size(); ++i) {
        if (arguments[i] == option) {
            return arguments[i - 1];
        }
    }
    return {};
}

std::string startingWith(const Arguments &arguments, const std::string &option)
{
    for (const std::string &argument : arguments) {
        if (argument.compare(0, option.size(), option) == 0) {
            return argument.substr(option.size());
        }
    }
    return {};
}

std::string contentOf(const std::string &path)
{
    if (path.empty()) {
        return {};
    }
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        toolpipe::writeAll(STDERR_FILENO, "Error: no such input: " + path + "\n");
        say("no input\n");
        std::_Exit(EXIT_FAILURE);
    }
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// The requested path, or the next one with a number if it exists by now.
std::string writeNew(const std::string &wanted, const std::string &content)
{
    const std::size_t dot = wanted.rfind('.');
    std::string path = wanted;
    int file = -1;
    for (int n = 1; file < 0 && n < 1000000; ++n) {
        file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | asBytes, 0666);
        if (file < 0) {
            path = wanted.substr(0, dot) + "_" + std::to_string(n) + wanted.substr(dot);
        }
    }
    toolpipe::writeAll(file, content);
    ::close(file);
    return path;
}

int convert(const Arguments &arguments)
{
    const std::string stopFile = startingWith(arguments, "--stopfile=");
    const std::string owner = stopFile.substr(stopFile.rfind('/') + 1) + "\n";
    // Otherwise its first text names the output, and so does the response of an inline conversion:
    // the path that it was given may be a result that outlived its input.
    const bool tellsProgress =
        std::find(arguments.begin(), arguments.end(), "--progress") != arguments.end();
    if (tellsProgress) {
        say("Progress: 1% " + owner);
    }
    work();
    const std::string content =
        contentOf(before(arguments, "-o")) + contentOf(after(arguments, "--profile"));
    while (after(arguments, "-c") == "UntilStopped") {
        if (::access(stopFile.c_str(), F_OK) == 0) {
            toolpipe::writeAll(STDERR_FILENO, "Error: stopped\n");
            say("stopped by " + owner);
            return EXIT_FAILURE;
        }
        ::usleep(lookAgainMicroseconds);
    }
    if (tellsProgress) {
        say("Progress: 50% " + owner);
    }
    work();
    say("Output file: " + writeNew(after(arguments, "-o"), owner + content) + "\n");
    return EXIT_SUCCESS;
}

int run(const Arguments &arguments)
{
    const std::string content = contentOf(before(arguments, "-o"));
    work();
    const std::string path = after(arguments, "-o");
    const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | asBytes, 0666);
    toolpipe::writeAll(file, content);
    ::close(file);
    work();
    say("wrote " + path + "\n");
    return EXIT_SUCCESS;
}

} // namespace

int main(int argc, char *argv[])
{
#ifndef _WIN32
    ::alarm(longestLifeSeconds);
#endif
    toolpipe::useBytes();
    const Arguments arguments(argv + 1, argv + argc);
    const std::string name = startingWith(arguments, "--name=");
    if (!name.empty()) {
        work();
        say("details of " + name + "\n");
        return EXIT_SUCCESS;
    }
    return after(arguments, "-c").empty() ? run(arguments) : convert(arguments);
}
