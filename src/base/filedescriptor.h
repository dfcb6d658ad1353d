#pragma once

#include <unistd.h>
#include <utility>

namespace base {

// Owns an open file descriptor and closes it. -1 means none.
class FileDescriptor
{
public:
    FileDescriptor() = default;

    explicit FileDescriptor(int descriptor)
        : m_descriptor(descriptor)
    {
    }

    ~FileDescriptor()
    {
        close();
    }

    FileDescriptor(const FileDescriptor &) = delete;
    FileDescriptor &operator=(const FileDescriptor &) = delete;

    FileDescriptor(FileDescriptor &&other) noexcept
        : m_descriptor(std::exchange(other.m_descriptor, -1))
    {
    }

    FileDescriptor &operator=(FileDescriptor &&other) noexcept
    {
        close();
        m_descriptor = std::exchange(other.m_descriptor, -1);
        return *this;
    }

    [[nodiscard]] int get() const
    {
        return m_descriptor;
    }

    [[nodiscard]] bool isOpen() const
    {
        return m_descriptor >= 0;
    }

    void close()
    {
        if (isOpen()) {
            // Not repeated after EINTR: on Linux the descriptor is closed in any case.
            (void)::close(std::exchange(m_descriptor, -1));
        }
    }

private:
    int m_descriptor = -1;
};

} // namespace base
