#pragma once

#include <cstdlib>
#include <poll.h>
#include <string>
#include <sys/ioctl.h>
#include <unistd.h>

// How the fake tools write. They exit when nobody reads any more.
namespace toolpipe {

inline void writeAll(int descriptor, const std::string &text)
{
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t count = ::write(descriptor, text.data() + done, text.size() - done);
        if (count < 0) {
            std::_Exit(EXIT_FAILURE);
        }
        done += static_cast<std::size_t>(count);
    }
}

// Waits until what was written to standard output has been read, so that the next text is a
// separate chunk.
inline void waitUntilTaken()
{
    constexpr useconds_t lookAgainMicroseconds = 1000;
    int waiting = 0;
    while (::ioctl(STDOUT_FILENO, FIONREAD, &waiting) == 0 && waiting > 0) {
        pollfd pipe{STDOUT_FILENO, POLLOUT, 0};
        if (::poll(&pipe, 1, 0) > 0 && (pipe.revents & POLLERR) != 0) {
            std::_Exit(EXIT_FAILURE); // the reader is gone
        }
        ::usleep(lookAgainMicroseconds);
    }
}

} // namespace toolpipe
