#include "tests/support/outputcatcher.h"

#include <iostream>
#include <unistd.h>

namespace {

void flushAll()
{
    std::cout.flush();
    std::cerr.flush();
    static_cast<void>(std::fflush(nullptr));
}

void failLoudly(const char *what)
{
    std::perror(what);
    std::abort();
}

} // namespace

OutputCatcher::OutputCatcher(Channel channel)
    : m_descriptor(channel == Channel::Output ? STDOUT_FILENO : STDERR_FILENO)
    , m_before(::dup(m_descriptor))
    , m_file(std::tmpfile())
{
    if (m_before < 0 || !m_file) {
        failLoudly("OutputCatcher");
    }
    flushAll();
    if (::dup2(::fileno(m_file), m_descriptor) < 0) {
        failLoudly("OutputCatcher");
    }
}

OutputCatcher::~OutputCatcher()
{
    const QByteArray untaken = take();
    ::dup2(m_before, m_descriptor);
    ::close(m_before);
    static_cast<void>(std::fclose(m_file));
    if (!untaken.isEmpty()
        && ::write(m_descriptor, untaken.constData(), size_t(untaken.size())) < 0) {
        std::perror("OutputCatcher");
    }
}

QByteArray OutputCatcher::take()
{
    flushAll();
    // pread: the position belongs to the writers, which share it through the descriptor.
    QByteArray bytes(int(::lseek(::fileno(m_file), 0, SEEK_END) - m_taken), '\0');
    const ssize_t count = ::pread(::fileno(m_file), bytes.data(), size_t(bytes.size()), m_taken);
    if (count != bytes.size()) {
        failLoudly("OutputCatcher");
    }
    m_taken += count;
    return bytes;
}
