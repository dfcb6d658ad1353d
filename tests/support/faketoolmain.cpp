// A fake tool. The environment variable VOND_FAKETOOL names its behaviour; when that is not set,
// the configuration it is asked for does (the word after "-c"), so that two runs of one service can
// differ. VOND_FAKETOOL_NOTES names a file to which it writes its process id and its arguments,
// each terminated by a zero byte.
//
// Writes to a plain pipe merge when the reader is slow. If a behaviour has two chunks and the pipe
// may be plain, the fake tool waits until the first has been taken out.
#include "tests/support/toolpipe.h"

#include <cctype>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iostream>
#include <map>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#ifdef _WIN32
#include <windows.h>
#else
#include <dirent.h>
#include <poll.h>
#endif

using toolpipe::waitUntilTaken;
using toolpipe::writeAll;

namespace {

using Arguments = std::vector<std::string>;

constexpr unsigned longestLifeSeconds = 300; // none stays behind, whatever a test does
constexpr useconds_t lookAgainMicroseconds = 1000;

void out(const std::string &text)
{
    writeAll(STDOUT_FILENO, text);
}

void err(const std::string &text)
{
    writeAll(STDERR_FILENO, text);
}

void chunk(const std::string &text)
{
    out(text);
    waitUntilTaken();
}

bool exists(const std::string &path)
{
    struct stat info
    {
    };

    return ::stat(path.c_str(), &info) == 0;
}

void pause(unsigned long milliseconds)
{
    constexpr unsigned long microseconds = 1000;
    ::usleep(static_cast<useconds_t>(milliseconds * microseconds));
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

std::string stopFile(const Arguments &arguments)
{
    const std::string option = "--stopfile=";
    for (const std::string &argument : arguments) {
        if (argument.compare(0, option.size(), option) == 0) {
            return argument.substr(option.size());
        }
    }
    return {};
}

// The path after "-o", or the next name with a number if it already exists.
std::string freeOutput(const Arguments &arguments)
{
    const std::string wanted = after(arguments, "-o");
    const std::size_t dot = wanted.rfind('.');
    const std::size_t end = dot == std::string::npos || wanted.find('/', dot) != std::string::npos
        ? wanted.size()
        : dot;
    std::string path = wanted;
    for (int n = 1; exists(path); ++n) {
        path = wanted.substr(0, end) + "_" + std::to_string(n) + wanted.substr(end);
    }
    return path;
}

std::string writeOutput(const Arguments &arguments)
{
    const std::string path = freeOutput(arguments);
    std::ofstream(path, std::ios::binary) << "converted";
    return path;
}

[[noreturn]] void hang()
{
    constexpr unsigned aWhile = 1000;
    for (;;) {
        ::sleep(aWhile);
    }
}

// Windows has no alarm; a test that leaves its tool behind is looked for there.
void endLate()
{
#ifndef _WIN32
    ::alarm(longestLifeSeconds);
#endif
}

int progressThenAFile(const Arguments &arguments)
{
    chunk("Progress: 10%\n");
    chunk("Progress: 50%\n");
    chunk("Progress: 100%\n");
    chunk("Output file:  " + writeOutput(arguments) + " \n");
    return EXIT_SUCCESS;
}

int progressAtTheEnd(const Arguments &arguments)
{
    chunk("Loading ...\n");
    writeOutput(arguments);
    chunk("Progress: 100%\n");
    return EXIT_SUCCESS;
}

int anOutputFile(const Arguments &arguments)
{
    out("Output file:  " + writeOutput(arguments) + " \n");
    return EXIT_SUCCESS;
}

int aFileAndNoWords(const Arguments &arguments)
{
    writeOutput(arguments);
    return EXIT_SUCCESS;
}

int errorOnStandardError(const Arguments &)
{
    chunk("Progress: 10%\n");
    err("Error: cannot read the input\n");
    chunk("Die Datei kann nicht gelesen werden: \xc3\xa4\xc3\xb6\xc3\xbc\n");
    return EXIT_FAILURE;
}

int errorAboutTheLastArgument(const Arguments &arguments)
{
    out("done with some\n");
    const std::string last = arguments.empty() ? std::string() : arguments.back();
    err("Warning: " + last + "\nError: cannot write " + last + "\n");
    return EXIT_FAILURE;
}

int twoLinesInOneChunk(const Arguments &)
{
    chunk("Progress: 10%\nProgress: 11%\n");
    return EXIT_SUCCESS;
}

int untilTheStopFileIsThere(const Arguments &arguments)
{
    chunk("Progress: 42%\n");
    while (!exists(stopFile(arguments))) {
        ::usleep(lookAgainMicroseconds);
    }
    err("Error: stopped\n");
    chunk("The conversion was cancelled.\n");
    return EXIT_FAILURE;
}

// Its last progress and its last word, which the answer depends on, with so many ms in between.
int afterAPause(const Arguments &arguments, unsigned long milliseconds)
{
    out("Progress: 100%\n");
    pause(milliseconds);
    out("Output file:  " + after(arguments, "-o") + ".done\n");
    return EXIT_SUCCESS;
}

// Progress that says when it was written, in ms since 1970.
int theTime(const Arguments &)
{
    constexpr unsigned long betweenMs = 100;
    for (int i = 1; i <= 20; ++i) {
        pause(betweenMs);
        const auto now = std::chrono::system_clock::now().time_since_epoch();
        out("Progress: " + std::to_string(i) + "% "
            + std::to_string(std::chrono::duration_cast<std::chrono::milliseconds>(now).count())
            + "\n");
    }
    return EXIT_SUCCESS;
}

int printItsArguments(const Arguments &arguments)
{
    for (const std::string &argument : arguments) {
        out(argument + "\n");
    }
    return EXIT_SUCCESS;
}

int textAndStatusThree(const Arguments &)
{
    out("fake tool 1.0 \xe2\x82\xac\n");
    err("a warning\n");
    return 3;
}

int printNothing(const Arguments &)
{
    return EXIT_SUCCESS;
}

int bytesThatAreNoUtf8(const Arguments &)
{
    out("caf\xe9 \xff\n");
    return EXIT_SUCCESS;
}

int bytesWithAZero(const Arguments &)
{
    out(std::string("before\0after\n", 13));
    return EXIT_SUCCESS;
}

int muchOnBothChannels(const Arguments &)
{
    const std::string block(4096, 'x');
    for (int i = 0; i < 256; ++i) { // 1 MiB each, far more than a pipe holds
        out(block);
        err(block);
    }
    return EXIT_SUCCESS;
}

int hangAfterAWord(const Arguments &)
{
    chunk("partial\n");
    hang();
}

int dieByASignal(const Arguments &)
{
    chunk("half\n");
#ifdef _WIN32
    TerminateProcess(GetCurrentProcess(), EXIT_FAILURE);
#else
    static_cast<void>(std::raise(SIGKILL));
#endif
    return EXIT_FAILURE;
}

// Each argument is one write of that many bytes; after a "~" it is a pause of that many
// microseconds.
int writesOfTheseSizes(const Arguments &arguments)
{
    char letter = 'a';
    for (const std::string &argument : arguments) {
        if (argument.front() == '~') {
            ::usleep(static_cast<useconds_t>(std::stoul(argument.substr(1))));
        } else {
            out(std::string(std::stoul(argument), letter++));
        }
    }
    return EXIT_SUCCESS;
}

int aMillionBytesOneByOne(const Arguments &)
{
    for (int i = 0; i < 1000000; ++i) {
        out("x");
    }
    return EXIT_SUCCESS;
}

int printWithoutEnd(const Arguments &arguments)
{
    const std::string block(65536, 'x');
    for (;;) {
        arguments.empty() ? out(block) : err(block);
    }
}

int itsNameAndFolder(const Arguments &arguments)
{
    constexpr int longest = 4096;
    std::string folder(longest, '\0');
    out(arguments.back() + "\n" + ::getcwd(folder.data(), longest) + "\n");
    return EXIT_SUCCESS;
}

int closeItsOutputAndGoOn(const Arguments &)
{
    out("the last word\n");
    ::close(STDOUT_FILENO);
    ::close(STDERR_FILENO);
    ::usleep(100000);
    return EXIT_SUCCESS;
}

#ifndef _WIN32

int itsDescriptors(const Arguments &)
{
    std::string list;
    DIR *const folder = ::opendir("/proc/self/fd");
    while (const dirent *const entry = ::readdir(folder)) {
        const std::string name = entry->d_name;
        if (std::isdigit(static_cast<unsigned char>(name.front())) != 0
            && std::stoi(name) != ::dirfd(folder)) {
            list += name + " ";
        }
    }
    ::closedir(folder);
    out(list);
    return EXIT_SUCCESS;
}

int itsSignals(const Arguments &)
{
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind("SigBlk:", 0) == 0 || line.rfind("SigIgn:", 0) == 0) {
            out(line + "\n");
        }
    }
    return EXIT_SUCCESS;
}

int itsStandardInput(const Arguments &)
{
    constexpr int longEnoughMs = 200;
    pollfd input{STDIN_FILENO, POLLIN, 0};
    out(::poll(&input, 1, longEnoughMs) == 0 ? "open and silent\n" : "closed, or not silent\n");
    return EXIT_SUCCESS;
}

// Exits, and leaves behind a process that holds the pipes open and may write to them.
int leaveAProcessBehind(const Arguments &arguments)
{
    out("the tool's last word\n");
    const pid_t left = ::fork();
    if (left == 0) {
        endLate();
        while (!arguments.empty()) {
            out("more, and still more\n");
        }
        hang();
    }
    std::ofstream(std::getenv("VOND_FAKETOOL_NOTES"), std::ios::binary) << left << '\0';
    return EXIT_SUCCESS;
}

#else

int itsStandardInput(const Arguments &)
{
    constexpr DWORD longEnoughMs = 200;
    Sleep(longEnoughMs);
    DWORD waiting = 0;
    const HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
    const bool isOpen = PeekNamedPipe(input, nullptr, 0, nullptr, &waiting, nullptr) != 0;
    out(isOpen && waiting == 0 ? "open and silent\n" : "closed, or not silent\n");
    return EXIT_SUCCESS;
}

int hasItThisEvent(const Arguments &arguments)
{
    const auto number = static_cast<std::uintptr_t>(std::stoull(arguments.back()));
    out(SetEvent(reinterpret_cast<HANDLE>(number)) != 0 ? "yes\n" : "no\n"); // NOLINT: a number
    return EXIT_SUCCESS;
}

#endif

const std::map<std::string, std::function<int(const Arguments &)>> behaviours{
    {"its standard input", itsStandardInput},
    {"die by a signal", dieByASignal},
#ifdef _WIN32
    {"has it this event", hasItThisEvent},
#else
    {"its descriptors", itsDescriptors},
    {"its signals", itsSignals},
    {"leave a process behind", leaveAProcessBehind},
#endif
    {"progress, then a file", progressThenAFile},
    {"progress at the end", progressAtTheEnd},
    {"an output file", anOutputFile},
    {"a file and no words", aFileAndNoWords},
    {"error on standard error", errorOnStandardError},
    {"error about the last argument", errorAboutTheLastArgument},
    {"two lines in one chunk", twoLinesInOneChunk},
    {"until the stop file is there", untilTheStopFileIsThere},
    {"the time", theTime},
    {"print its arguments", printItsArguments},
    {"text and status three", textAndStatusThree},
    {"print nothing", printNothing},
    {"bytes that are no UTF-8", bytesThatAreNoUtf8},
    {"bytes with a zero", bytesWithAZero},
    {"much on both channels", muchOnBothChannels},
    {"hang after a word", hangAfterAWord},
    {"writes of these sizes", writesOfTheseSizes},
    {"a million bytes one by one", aMillionBytesOneByOne},
    {"print without end", printWithoutEnd},
    {"its name and folder", itsNameAndFolder},
    {"close its output and go on", closeItsOutputAndGoOn},
};

void takeNotes(const Arguments &arguments)
{
    const char *const path = std::getenv("VOND_FAKETOOL_NOTES");
    if (!path) {
        return;
    }
    std::ofstream notes(path, std::ios::binary);
    notes << ::getpid() << '\0';
    for (const std::string &argument : arguments) {
        notes << argument << '\0';
    }
}

} // namespace

int main(int argc, char *argv[])
{
    endLate();
    toolpipe::useBytes();
    Arguments arguments(argv + 1, argv + argc);
    takeNotes(arguments);
    const char *const named = std::getenv("VOND_FAKETOOL");
    const auto found = behaviours.find(named ? named : after(arguments, "-c"));
    if (named && named == std::string("its name and folder")) {
        arguments.emplace_back(argv[0]);
    }
    const std::string asked = after(arguments, "-c");
    const std::string pauseOf = "pause ";
    if (!named && asked.compare(0, pauseOf.size(), pauseOf) == 0) {
        return afterAPause(arguments, std::stoul(asked.substr(pauseOf.size())));
    }
    if (found == behaviours.end()) {
        err("fake tool: no such behaviour\n");
        return EXIT_FAILURE;
    }
    return found->second(arguments);
}
