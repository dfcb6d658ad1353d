#pragma once

#include <cstdlib>
#include <string>
#include <unistd.h>

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#else
#include <poll.h>
#include <sys/ioctl.h>
#endif

// How the fake tools write. They exit when nobody reads any more.
namespace toolpipe {

// Line ends stay what they are, and a write goes out whole, on Windows, too. At the start.
inline void useBytes()
{
#ifdef _WIN32
    static_cast<void>(_setmode(STDOUT_FILENO, _O_BINARY));
    static_cast<void>(_setmode(STDERR_FILENO, _O_BINARY));
#endif
}

inline void writeAll(int descriptor, const std::string &text)
{
    std::size_t done = 0;
    while (done < text.size()) {
#ifdef _WIN32
        const int count =
            _write(descriptor, text.data() + done, static_cast<unsigned>(text.size() - done));
#else
        const ssize_t count = ::write(descriptor, text.data() + done, text.size() - done);
#endif
        if (count < 0) {
            std::_Exit(EXIT_FAILURE);
        }
        done += static_cast<std::size_t>(count);
    }
}

// Waits until what was written to standard output has been read, so that the next text is a
// separate chunk. On Windows it is one in any case.
inline void waitUntilTaken()
{
#ifndef _WIN32
    constexpr useconds_t lookAgainMicroseconds = 1000;
    int waiting = 0;
    while (::ioctl(STDOUT_FILENO, FIONREAD, &waiting) == 0 && waiting > 0) {
        pollfd pipe{STDOUT_FILENO, POLLOUT, 0};
        if (::poll(&pipe, 1, 0) > 0 && (pipe.revents & POLLERR) != 0) {
            std::_Exit(EXIT_FAILURE); // the reader is gone
        }
        ::usleep(lookAgainMicroseconds);
    }
#endif
}

} // namespace toolpipe
