#include "base/room.h"

#include <cstdlib>
#include <new>

namespace base {

void ensureRoom()
{
    // Many times what is needed, and less than the size that gets its own mapping
    // (app/freedmemory.cpp): once freed, it stays in the heap.
    constexpr std::size_t bytes = 65536;
    void *volatile const room = std::malloc(bytes); // NOLINT(*-no-malloc): not `new`: may be elided
    if (room == nullptr) {
        throw std::bad_alloc();
    }
    std::free(room); // NOLINT(*-no-malloc)
}

} // namespace base
