#pragma once

#include "jobs/registry.h"

#include <QByteArray>
#include <QString>

namespace jobs {

// What a polling client reads: the last progress text; empty when no such job is running.
[[nodiscard]] QString progressInfo(Registry *registry, const QString &id);

// Only shows that a path argument arrives.
[[nodiscard]] QString progressInf(const QString &argument);

// Registers a job that never runs and never ends, for trying out polling. Returns its ID.
[[nodiscard]] QString progressTest(Registry *registry);

// Takes one chunk of the tool's standard output, as read from the pipe: either progress of the job,
// or the tool's last message.
void takeOutputChunk(Registry *registry,
                     const QString &requestId,
                     const QByteArray &chunk,
                     QString &lastStdOutMsg);

} // namespace jobs
