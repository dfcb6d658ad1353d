#pragma once

#include <QtGlobal>

#include <cstddef>

// Refuses memory to the calling thread, in a program that links the source of this: it then has
// malloc() and its kin, and with them `new` and all of Qt, pass through here. Not together with a
// sanitizer, which has an allocator of its own.
namespace refusedmemory {

enum class Mode
{
    Once, // the n-th allocation alone
    FromThenOn, // the n-th and all that follow
    LargeOnes, // each one of n bytes or more
    Beyond // each one beyond n bytes in use, as the system does
};

// Begins to count allocations and to refuse. Freeing always works. No nesting.
void begin(Mode mode, qint64 n);

// Ends it. How many allocations were refused.
qint64 end();

// What is running, for the words of a program that ends over it.
struct Case
{
    const char *tag = "";
    Mode mode = Mode::Once;
    qint64 n = 0;
};

extern Case running;

// For std::set_terminate(): says what was running when memory that was refused ended the program.
[[noreturn]] void tellAndEnd();

// Refuses nothing while it lives.
class Pause
{
public:
    Pause();
    ~Pause();
    Pause(const Pause &) = delete;
    Pause &operator=(const Pause &) = delete;
    Pause(Pause &&) = delete;
    Pause &operator=(Pause &&) = delete;

private:
    bool m_before;
};

} // namespace refusedmemory
