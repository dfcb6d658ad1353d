#include "tests/support/refusedmemory.h"

#include "logging/filelogging.h"
#include "settings/keys.h"
#include "tests/support/ownfolders.h"

#include <QSettings>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <malloc.h>

// The C library's own functions, under the names it provides for programs that replace malloc().
// NOLINTBEGIN(readability-identifier-naming,bugprone-reserved-identifier)
extern "C" void *__libc_malloc(std::size_t size);
extern "C" void *__libc_calloc(std::size_t count, std::size_t size);
extern "C" void *__libc_realloc(void *block, std::size_t size);
extern "C" void *__libc_memalign(std::size_t alignment, std::size_t size);
extern "C" void __libc_free(void *block);

// NOLINTEND(readability-identifier-naming,bugprone-reserved-identifier)

namespace refusedmemory {
namespace {

struct State
{
    bool isOn;
    Mode mode;
    qint64 n;
    qint64 seen;
    qint64 refused;
    qint64 inUse; // bytes more than at the beginning
};

thread_local State state = {false, Mode::Once, 0, 0, 0, 0};

bool isDue(std::size_t size)
{
    switch (state.mode) {
    case Mode::Once:
        return state.seen == state.n;
    case Mode::FromThenOn:
        return state.seen >= state.n;
    case Mode::LargeOnes:
        return size >= static_cast<std::size_t>(state.n);
    case Mode::Beyond:
        return state.inUse + static_cast<qint64>(size) > state.n;
    }
    return false;
}

bool refuses(std::size_t size)
{
    if (!state.isOn) {
        return false;
    }
    const bool due = isDue(size);
    ++state.seen;
    if (due) {
        ++state.refused;
        errno = ENOMEM;
    }
    return due;
}

void *taken(void *block)
{
    if (state.isOn && block != nullptr) {
        state.inUse += static_cast<qint64>(::malloc_usable_size(block));
    }
    return block;
}

void given(void *block)
{
    if (state.isOn && block != nullptr) {
        state.inUse -= static_cast<qint64>(::malloc_usable_size(block));
    }
}

// Says what was running when memory that was refused ended the program.
[[noreturn]] void tellAndEnd()
{
    (void)end();
    (void)std::fprintf(stderr,
                       "the program ends: %s, mode %d, n = %lld\n",
                       running.tag,
                       static_cast<int>(running.mode),
                       static_cast<long long>(running.n));
    std::abort();
}

} // namespace

void begin(Mode mode, qint64 n)
{
    state = {true, mode, n, 0, 0, 0};
}

qint64 end()
{
    state.isOn = false;
    return state.refused;
}

Case running;

void prepare(const QString &workFolder, const QString &logFolder)
{
    useOwnSettings();
    setWorkFolder(workFolder);
    QSettings().setValue(settings::logFolderKey, logFolder);
    std::set_terminate(tellAndEnd);
    logging::startFileLogging();
}

Pause::Pause()
    : m_before(state.isOn)
{
    state.isOn = false;
}

Pause::~Pause()
{
    state.isOn = m_before;
}

} // namespace refusedmemory

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): the system's names are reserved
extern "C" void *malloc(std::size_t size)
{
    return refusedmemory::refuses(size) ? nullptr : refusedmemory::taken(__libc_malloc(size));
}

extern "C" void *calloc(std::size_t count, std::size_t size)
{
    return refusedmemory::refuses(count * size) ? nullptr
                                                : refusedmemory::taken(__libc_calloc(count, size));
}

extern "C" void *realloc(void *block, std::size_t size)
{
    if (refusedmemory::refuses(size)) {
        return nullptr;
    }
    refusedmemory::given(block);
    return refusedmemory::taken(__libc_realloc(block, size));
}

extern "C" void *aligned_alloc(std::size_t alignment, std::size_t size)
{
    return refusedmemory::refuses(size) ? nullptr
                                        : refusedmemory::taken(__libc_memalign(alignment, size));
}

extern "C" int posix_memalign(void **block, std::size_t alignment, std::size_t size)
{
    *block = aligned_alloc(alignment, size);
    return *block != nullptr ? 0 : ENOMEM;
}

extern "C" void free(void *block)
{
    refusedmemory::given(block);
    __libc_free(block);
}

// NOLINTEND(readability-inconsistent-declaration-parameter-name)
