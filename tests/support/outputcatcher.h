#pragma once

#include <QByteArray>

#include <cstdio>

// Catches what is written to standard output or standard error while it lives, at the level of the
// descriptor: streams, formatted prints and plain writes alike. What has not been taken when it
// ends is passed on, so that the text of a failed check is not swallowed.
class OutputCatcher
{
public:
    enum class Channel
    {
        Output,
        Error
    };

    explicit OutputCatcher(Channel channel);
    ~OutputCatcher();
    OutputCatcher(const OutputCatcher &) = delete;
    OutputCatcher &operator=(const OutputCatcher &) = delete;
    OutputCatcher(OutputCatcher &&) = delete;
    OutputCatcher &operator=(OutputCatcher &&) = delete;

    // Everything since the start or the last call.
    [[nodiscard]] QByteArray take();

private:
    int m_descriptor; // 1 or 2
    int m_before; // a copy of the original descriptor
    std::FILE *m_file; // unnamed, disappears with this process
    long m_taken = 0;
};
