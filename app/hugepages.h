#pragma once

namespace app {

// Makes large blocks of memory come in huge pages: a page fault for each 2 MiB of a body instead of
// each 4 KiB, which is half of the time that large bodies take.
//
// Where huge pages are given to those who ask, the C library asks for them when an environment
// variable tells it to before main() begins, so the program starts itself once more, as the same
// process. Returns when that has happened, is not needed, or is not possible; then everything works
// as well, only slower. Call it first of all; `argv` is main()'s.
void useHugePages(char **argv);

} // namespace app
