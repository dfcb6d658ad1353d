#pragma once

#include "jobs/registry.h"

// Slow responses. Each blocks only the thread of its own connection.
namespace diagnostics {

[[nodiscard]] const char *sleep2secs();
[[nodiscard]] const char *sleep90secs();

// These two add an entry to the registry, so that there is something slow to poll. The entry stays.
[[nodiscard]] const char *sleep10secs(jobs::Registry *registry);
[[nodiscard]] const char *sleep20secs(jobs::Registry *registry);

// Adds the entry of a sleeper, with this text. Its ID appears only in the log, after the label.
void announceSleeper(jobs::Registry *registry, const char *label, const QString &text);

} // namespace diagnostics
