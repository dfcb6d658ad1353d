#include "tests/support/outputcatcher.h"

#include <iostream>
#include <unistd.h>

namespace {

// Reads from there; the position, which belongs to the writers, is the end again afterwards.
qint64 readAt(int file, char *data, qint64 size, long offset)
{
#ifdef Q_OS_WIN
    static_cast<void>(::lseek(file, offset, SEEK_SET));
    const qint64 count = ::read(file, data, static_cast<unsigned>(size));
    static_cast<void>(::lseek(file, 0, SEEK_END));
    return count;
#else
    return ::pread(file, data, static_cast<size_t>(size), offset);
#endif
}

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
        && ::write(m_descriptor, untaken.constData(), static_cast<unsigned>(untaken.size())) < 0) {
        std::perror("OutputCatcher");
    }
}

QByteArray OutputCatcher::take()
{
    flushAll();
    QByteArray bytes(int(::lseek(::fileno(m_file), 0, SEEK_END) - m_taken), '\0');
    if (readAt(::fileno(m_file), bytes.data(), bytes.size(), m_taken) != bytes.size()) {
        failLoudly("OutputCatcher");
    }
    m_taken += bytes.size();
    return bytes;
}
