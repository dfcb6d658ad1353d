#pragma once

#include <cstdio>
#include <cstdlib>

// What must hold for every input. Not an assertion, because optimised builds check it, too.
inline void mustHold(bool condition, const char *what)
{
    if (!condition) {
        (void)std::fprintf(stderr, "does not hold: %s\n", what);
        std::abort();
    }
}
