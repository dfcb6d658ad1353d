#pragma once

#include <string>

namespace sample {

// Standard output and standard error. A reader that interprets a pipe chunk by chunk gets every
// text as a separate chunk: each text waits until the reader has read the previous one.
class Console
{
public:
    // "Progress: N%". Skipped if it is not more than the last one, or if the reader still has one
    // to read; 100 is never skipped.
    void progress(int percent);

    // One text on standard output, with its line end.
    void print(const std::string &text);

    // One line on standard error that begins with "Error:".
    void error(const std::string &text);

private:
    int m_lastPercent = -1;
};

} // namespace sample
