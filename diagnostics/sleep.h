#pragma once

#include "jobs/registry.h"

// Slow answers. Each blocks the thread of its own connection and no other.
namespace diagnostics {

[[nodiscard]] const char *sleep2secs();
[[nodiscard]] const char *sleep90secs();

// These two leave an entry in the registry, so that there is something long to poll. The entry
// stays.
[[nodiscard]] const char *sleep10secs(jobs::Registry *registry);
[[nodiscard]] const char *sleep20secs(jobs::Registry *registry);

} // namespace diagnostics
