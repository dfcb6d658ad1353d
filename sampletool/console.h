#pragma once

#include <string>

namespace sample {

// Standard output and standard error. A reader that judges what it reads from a pipe chunk by chunk
// gets every text as a chunk of its own: a text waits until the reader has taken the one before.
class Console
{
public:
    // "Progress: N%". Skipped when it is not more than the last one, or when the reader still has
    // one to take; 100 is never skipped.
    void progress(int percent);

    // One text on standard output, with its line end.
    void print(const std::string &text);

    // One line on standard error that begins with "Error:".
    void error(const std::string &text);

private:
    int m_lastPercent = -1;
};

} // namespace sample
