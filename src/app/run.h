#pragma once

namespace app {

// The whole program: common start, then a settings command or serving. Returns the exit status. The
// arguments must remain valid until it returns.
[[nodiscard]] int run(int &argc, char **argv);

} // namespace app
