#pragma once

#include "jobs/registry.h"

#include <QByteArray>
#include <QString>

namespace jobs {

// What a client reads while it polls: the last progress text, or empty when no such job runs.
[[nodiscard]] QString progressInfo(Registry *registry, const QString &id);

// Shows that a path argument arrives; nothing else.
[[nodiscard]] QString progressInf(const QString &argument);

// Registers a job that never runs and never ends, for trying to poll; answers its ID.
[[nodiscard]] QString progressTest(Registry *registry);

// One chunk of the tool's standard output, as it came out of the pipe: either progress of the job,
// or the last thing the tool said.
void takeOutputChunk(Registry *registry,
                     const QString &requestId,
                     const QByteArray &chunk,
                     QString &lastStdOutMsg);

} // namespace jobs
