#include "base/room.h"

#include <cstdlib>
#include <new>

namespace base {

void ensureRoom()
{
    // Many times what is needed, and less than what is mapped by itself (app/freedmemory.cpp): once
    // it has been free, it stays within the heap.
    constexpr std::size_t bytes = 65536;
    void *volatile const room = std::malloc(bytes); // NOLINT(*-no-malloc): `new` may be left out
    if (room == nullptr) {
        throw std::bad_alloc();
    }
    std::free(room); // NOLINT(*-no-malloc)
}

} // namespace base
