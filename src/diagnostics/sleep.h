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

// Makes the entry of a sleeper, with this text. Its ID is in the log only, behind the label.
void announceSleeper(jobs::Registry *registry, const char *label, const QString &text);

} // namespace diagnostics
