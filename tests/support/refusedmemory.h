#pragma once

#include <QString>
#include <QtGlobal>

#include <cstddef>

// Makes allocations of the calling thread fail, in a program that links this source: malloc() and
// its relatives, and with them `new` and all of Qt, then go through here. Not usable with a
// sanitizer, which has an allocator of its own.
namespace refusedmemory {

enum class Mode
{
    Once, // only the n-th allocation
    FromThenOn, // the n-th and all that follow
    LargeOnes, // each one of n bytes or more
    Beyond // each one beyond n bytes in use, as the system does
};

// Starts counting allocations and making them fail. Freeing always works. No nesting.
void begin(Mode mode, qint64 n);

// Stops. Returns how many allocations failed.
qint64 end();

// What is running, for the message of a program that ends because of it.
struct Case
{
    const char *tag = "";
    Mode mode = Mode::Once;
    qint64 n = 0;
};

extern Case running;

// For initTestCase(): settings of its own with these folders, a log that is written to a file, and
// words about what was running when a failed allocation ends the program.
void prepare(const QString &workFolder, const QString &logFolder);

// No allocation fails while it lives.
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
